#pragma once

#include "ExitCodes.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace tool {

/// A file being written. Every failure throws Failure(WriteFailed) with the file's name.
class OutputFile {
public:
    explicit OutputFile(const std::string& path) : mPath(path), mFile(std::fopen(path.c_str(), "wb")) {
        if (!mFile) {
            Fail();
        }
    }

    void Write(const void* data, std::size_t sizeInBytes) {
        if (std::fwrite(data, 1, sizeInBytes, mFile.get()) != sizeInBytes) {
            Fail();
        }
    }

    /// Must be called after the last write: buffered bytes may still fail to reach the disk.
    void Close() {
        if (std::fclose(mFile.release()) != 0) {
            Fail();
        }
    }

private:
    [[noreturn]] void Fail() const { throw Failure(ExitCode::WriteFailed, mPath + ": " + std::strerror(errno)); }

    struct CloseFile {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };
    std::string mPath;
    std::unique_ptr<std::FILE, CloseFile> mFile;
};

} // namespace tool
