#pragma once

/// The suite's core library: identifiers, contract reports, trace, small-block memory and thread services.
///
/// Everything here works before any start call and after any stop call, on every thread, unless a declaration says
/// otherwise. Nothing here starts a thread that the caller can observe except the processor pool, which is created by
/// the first task that needs it.

#include "SymbolVisibility.h"

#include <boost/function.hpp>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#if defined(zyncore_EXPORTS)
#define ZYNCORE_API VF_SYMBOL_EXPORT
#else
#define ZYNCORE_API VF_SYMBOL_IMPORT
#endif

namespace zyncore::utility {

/// A 16-byte identifier (RFC 4122). The bytes lie in memory in the little-endian registry layout: the first group is a
/// little-endian 32-bit word, the second and third are little-endian 16-bit words, the rest are bytes in reading order.
/// A default-constructed Guid is all zeros and names nothing.
class Guid {
public:
    constexpr Guid() noexcept = default;

    /// The identifier whose registry form is {a-b-c-d0d1-d2d3d4d5d6d7}.
    constexpr Guid(std::uint32_t a, std::uint16_t b, std::uint16_t c, std::array<std::uint8_t, 8> d) noexcept
        : mBytes{static_cast<std::uint8_t>(a),
                 static_cast<std::uint8_t>(a >> 8),
                 static_cast<std::uint8_t>(a >> 16),
                 static_cast<std::uint8_t>(a >> 24),
                 static_cast<std::uint8_t>(b),
                 static_cast<std::uint8_t>(b >> 8),
                 static_cast<std::uint8_t>(c),
                 static_cast<std::uint8_t>(c >> 8),
                 d[0],
                 d[1],
                 d[2],
                 d[3],
                 d[4],
                 d[5],
                 d[6],
                 d[7]} {}

    /// The identifier with exactly these 16 bytes in memory.
    static constexpr Guid FromBytes(const std::array<std::uint8_t, 16>& bytes) noexcept {
        Guid guid;
        guid.mBytes = bytes;
        return guid;
    }

    /// A fresh random identifier (RFC 4122 version 4) from the system's random source.
    ZYNCORE_API static Guid Generate();

    /// Reads the registry form, with or without braces, in either letter case. Returns false and leaves outGuid alone
    /// for anything else.
    ZYNCORE_API static bool FromString(std::string_view text, Guid& outGuid) noexcept;

    /// The registry form in lower case without braces, 36 characters.
    ZYNCORE_API std::string ToString() const;

    constexpr const std::array<std::uint8_t, 16>& Bytes() const noexcept { return mBytes; }

    /// Order and equality of the 16 bytes as they lie in memory.
    friend constexpr auto operator<=>(const Guid&, const Guid&) noexcept = default; // NOLINT(modernize-use-nullptr)

private:
    std::array<std::uint8_t, 16> mBytes{};
};
static_assert(sizeof(Guid) == 16);

/// Memory for many small blocks of few sizes, such as map nodes. Blocks are taken from pools that are kept for the life
/// of the process. Safe on every thread.
class SmallBlockAllocator {
public:
    /// Returns sizeInBytes bytes aligned for any scalar type. Throws std::bad_alloc when memory is exhausted.
    ZYNCORE_API static void* Allocate(std::size_t sizeInBytes);

    /// Returns a block to its pool. sizeInBytes must be the size it was allocated with; a null block is ignored.
    ZYNCORE_API static void Dispose(void* block, std::size_t sizeInBytes) noexcept;
};
// NOLINTBEGIN(bugprone-sizeof-expression): a T may well be a pointer
/// Standard allocator over SmallBlockAllocator, for containers.
template <class T>
class SmallBlockStdAllocator {
public:
    using value_type = T;
    SmallBlockStdAllocator() noexcept = default;
    template <class U>
    SmallBlockStdAllocator(const SmallBlockStdAllocator<U>&) noexcept {}
    T* allocate(std::size_t count) { return static_cast<T*>(SmallBlockAllocator::Allocate(count * sizeof(T))); }
    void deallocate(T* block, std::size_t count) noexcept { SmallBlockAllocator::Dispose(block, count * sizeof(T)); }
    template <class U>
    bool operator==(const SmallBlockStdAllocator<U>&) const noexcept {
        return true;
    }
};
// NOLINTEND(bugprone-sizeof-expression)
} // namespace zyncore::utility

namespace zyncore::config {

/// A value that is filled into a message. Contract reports pass four empty ones.
class ReplacementValue {
public:
    ReplacementValue() = default;
    explicit ReplacementValue(std::string text) : mText(std::move(text)) {}
    const std::string& Text() const noexcept { return mText; }

private:
    std::string mText;
};

/// Called by ThrowError after the report has been recorded. May throw; the exception passes to the code whose check
/// failed. Arguments: error level, message, and the two numbers as given to ThrowError.
using ErrorHook = void (*)(int errorLevel, const char* message, std::uint32_t firstNumber, std::int32_t secondNumber);

/// Installs a hook and returns the one that was installed before (null at start). Null removes the hook.
ZYNCORE_API ErrorHook SetErrorHook(ErrorHook hook) noexcept;

/// Reports an error. Records it together with the condition that the calling thread last handed to
/// zyncore::debug::BreakAfterContractDialog, writes one line to the trace under the category "Contract", calls the
/// error hook if there is one, and returns (unless the hook throws).
///
/// message has the form "$$$/key/of/the/message=Text". inShow is recorded only.
ZYNCORE_API void ThrowError(int errorLevel, const char* message, std::uint32_t firstNumber, std::int32_t secondNumber,
                            bool inShow, const ReplacementValue& value0, const ReplacementValue& value1,
                            const ReplacementValue& value2, const ReplacementValue& value3);

} // namespace zyncore::config

namespace zyncore::debug {

/// Asked by every failed contract check before the error is reported. Answers true when the developer wants to break
/// into the debugger; without a hook the answer is false.
using ContractDialogHook = bool (*)(const char* condition, const char* source, int line);

/// Installs a hook and returns the one that was installed before (null at start). Null removes the hook.
ZYNCORE_API ContractDialogHook SetContractDialogHook(ContractDialogHook hook) noexcept;

/// Asks the dialog hook, then notes the failed condition for the ThrowError call that follows on this thread. A check
/// that fails inside the hook is a report of its own; when the hook throws nothing is noted. Null texts count as empty;
/// of each text the first 512 characters are kept.
ZYNCORE_API bool BreakAfterContractDialog(const char* condition, const char* source, int line);

/// True while a debugger is attached to this process.
ZYNCORE_API bool IsDebuggerAttached() noexcept;

/// Stops in the debugger (raises SIGTRAP). Call it only when IsDebuggerAttached says true.
ZYNCORE_API void BreakIntoDebugger() noexcept;

/// One reported error.
struct ContractRecord {
    std::uint64_t sequence = 0; ///< 1 for the first report of the process, then counting up without gaps
    std::string condition;      ///< condition text, empty when ThrowError was called without a contract dialog
    std::string source;         ///< source of the check, for example "Src/VideoFrameFactory"
    int line = 0;
    int errorLevel = 0;
    std::string message;
    std::uint32_t firstNumber = 0;
    std::int32_t secondNumber = 0;
    std::uint64_t threadID = 0; ///< zyncore::threads::GetCurrentThreadID of the reporting thread
};

/// Number of records that the ring keeps; older ones are overwritten.
inline constexpr std::size_t kContractRecordCapacity = 256;

/// Number of errors reported since the process started.
ZYNCORE_API std::uint64_t ContractReportCount() noexcept;

/// The records with sequence > afterSequence that the ring still holds, oldest first. Take ContractReportCount before
/// an operation and pass it here afterwards to read what the operation reported.
ZYNCORE_API std::vector<ContractRecord> ContractReportsAfter(std::uint64_t afterSequence);

/// Trace. A category is on or off as a whole at or below a level; a new category is off unless its first question says
/// otherwise, except "Contract", which is on.
///
/// Answers whether a line of this category and level would be written. For a category that is neither switched nor
/// asked about yet enabledByDefault decides, for all levels and from then on.
ZYNCORE_API bool TraceEnabled(const char* category, int level, bool enabledByDefault) noexcept;

/// Changes whenever a category was switched, so that a call site may keep an answer of TraceEnabled. Never 0 before the
/// first switch, so a kept count of 0 means "not asked yet".
ZYNCORE_API std::uint32_t TraceChangeCount() noexcept;

/// Switches a category: lines of maxLevel and below are written. A negative maxLevel switches it off.
ZYNCORE_API void SetTraceLevel(const char* category, int maxLevel);

/// Writes text as it stands to the sink. The caller forms the line and asks TraceEnabled first.
ZYNCORE_API void Trace(std::string_view text) noexcept;

/// Receives trace text, one call at a time, on the tracing thread. What a sink traces itself, and exceptions that leave
/// it, are dropped.
using TraceSink = void (*)(std::string_view text, void* context);

/// Replaces the sink. The default writes to standard error. Null restores the default. Returns when no thread is
/// inside the former sink any more (except the calling one, when a sink replaces itself).
ZYNCORE_API void SetTraceSink(TraceSink sink, void* context) noexcept;

} // namespace zyncore::debug

namespace zyncore::threads {

/// The system's identifier of the calling thread.
ZYNCORE_API std::uint64_t GetCurrentThreadID() noexcept;

/// Number of tasks that ExecuteCPUBoundTaskOnAllProcessors runs at the same time, at most: the processors this process
/// may use, by its affinity mask and its control group's processor quota (cgroup v2) at the first call.
ZYNCORE_API unsigned ProcessorCount() noexcept;

/// Runs task(n) for n = 0 .. count - 1, in any order, concurrently, the caller's thread included, and returns when all
/// have finished. A task that throws does not stop the others; the first exception is rethrown after all have run. May
/// be called from inside a task; a thread that waits in such an inner call runs tasks of that call only. Tasks must not
/// wait for one another: how many of them run at once is not promised.
ZYNCORE_API void ExecuteCPUBoundTaskOnAllProcessors(const boost::function<void(std::uint64_t)>& task,
                                                    std::uint64_t count);

/// Queues a call for the main thread. Returns at once. Calls run in the order they were queued, when the main thread
/// next calls RunMainThreadCalls; calls still queued when the process ends are dropped.
ZYNCORE_API void AsyncCallFromMainThread(const boost::function<void()>& call);

/// Runs the calls queued so far and returns how many ran; calls they queue themselves wait for the next time. The
/// host's main loop calls it on its main thread. A call that throws does not stop the others; the first exception is
/// rethrown at the end.
ZYNCORE_API std::size_t RunMainThreadCalls();

} // namespace zyncore::threads
