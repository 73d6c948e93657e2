#pragma once

#include "Directory.h"

namespace framebroker {

/// The sign that a client exists: a shared lock on the directory itself. Whoever gets the exclusive one knows that
/// nobody else is a client and removes the generation errors, which live until no client is left.
class Presence {
public:
    /// Becomes present, after removing the generation errors of former clients when nobody else is. Within an
    /// OperationScope.
    void Join(const Directory& directory);

    /// Tries again when somebody was removing errors at the time of Join.
    void Renew() noexcept;

    /// Ends the presence; the last to leave removes the generation errors. Within an OperationScope.
    void Leave(const Directory& directory);

    /// For the child of a fork, which shares its parent's lock: forgets it without dropping it.
    void Forget() noexcept;

private:
    FileDescriptor mDescriptor;
    bool mPresent = false;
};

} // namespace framebroker
