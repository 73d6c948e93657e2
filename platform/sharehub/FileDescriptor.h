#pragma once

#include <unistd.h>

#include <utility>

namespace framebroker {

/// Owns a file descriptor, or none.
class FileDescriptor {
public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int descriptor) noexcept : mDescriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            Close();
            mDescriptor = std::exchange(other.mDescriptor, -1);
        }
        return *this;
    }
    ~FileDescriptor() { Close(); }

    int Get() const noexcept { return mDescriptor; }
    explicit operator bool() const noexcept { return mDescriptor >= 0; }

    /// Hands the descriptor over to the caller.
    int Release() noexcept { return std::exchange(mDescriptor, -1); }

    void Close() noexcept {
        if (mDescriptor >= 0) {
            ::close(std::exchange(mDescriptor, -1));
        }
    }

private:
    int mDescriptor = -1;
};

} // namespace framebroker
