#include "GenerationErrors.h"

#include "BlockNames.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>

namespace framebroker {

namespace {

/// A sweep may take away the pending link of an error that replaces another; then it is made again.
constexpr int kReplaceAttempts = 16;

Result WriteLink(const Directory& directory, const Name& name, const char* text) noexcept {
    const int folder = directory.Descriptor();
    if (::symlinkat(text, folder, name.CStr()) == 0) {
        return kResult_Success;
    }
    for (int attempt = 0; errno == EEXIST || errno == ENOENT; ++attempt) {
        if (attempt == kReplaceAttempts) {
            return kResult_SystemError;
        }
        const Name pending = Name::NextPendingError();
        if (::symlinkat(text, folder, pending.CStr()) != 0) {
            continue;
        }
        if (::renameat(folder, pending.CStr(), folder, name.CStr()) == 0) {
            return kResult_Success;
        }
        const int error = errno;
        directory.Unlink(pending);
        errno = error;
    }
    return errno == EISDIR ? kResult_Damaged : ResultOfErrno();
}

} // namespace

Result PutGenerationError(const Directory& directory, const Guid& id, std::int32_t code) {
    const Name block = Name::OfGuid(id);
    if (RemoveIfDead(directory, block) == NameState::Alive) {
        return kResult_Success;
    }
    std::array<char, 16> text{};
    std::to_chars(text.data(), text.data() + text.size() - 1, code);
    const Result result = WriteLink(directory, Name::OfError(id), text.data());
    // Data put in the meantime has looked for an error to replace before ours was there.
    if (result == kResult_Success && RemoveIfDead(directory, block) == NameState::Alive) {
        RemoveGenerationError(directory, id);
    }
    return result;
}

std::optional<std::int32_t> ReadGenerationError(const Directory& directory, const Guid& id) {
    std::array<char, 16> text{};
    const ssize_t length = ::readlinkat(directory.Descriptor(), Name::OfError(id).CStr(), text.data(), text.size());
    std::int32_t code = 0;
    if (length <= 0) {
        return std::nullopt;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + length, code);
    if (error != std::errc() || end != text.data() + length) {
        return std::nullopt;
    }
    return code;
}

void RemoveGenerationError(const Directory& directory, const Guid& id) {
    directory.Unlink(Name::OfError(id));
}

void RemoveAllGenerationErrors(const Directory& directory) {
    directory.ForEachEntry([&](std::string_view text, ino_t) {
        const NameKind kind = KindOf(text);
        if (kind == NameKind::Error || kind == NameKind::PendingError) {
            directory.Unlink(Name::FromListing(text));
        }
    });
}

} // namespace framebroker
