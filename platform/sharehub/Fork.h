#pragma once

/// What keeps a fork harmless. A forked child shares its parent's open files, and with them their locks. So no
/// operation may be under way, with a locked descriptor open, at the moment of a fork; and what the child inherited is
/// recognised by its generation and left alone.

#include <cstdint>

namespace framebroker {

/// The generation of this process: changes in the child of every fork.
std::uint64_t ForkGeneration() noexcept;

/// While one exists no fork begins. Every operation that opens a file of the directory holds one. Not to be nested.
class OperationScope {
public:
    OperationScope() noexcept;
    ~OperationScope();
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;
};

/// Called in the child of every fork, when no other thread exists and no operation is under way.
using ChildHook = void (*)() noexcept;
void SetChildHook(ChildHook hook) noexcept;

} // namespace framebroker
