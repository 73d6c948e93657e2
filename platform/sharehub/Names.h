#pragma once

/// The names that entries of the directory have. The library forms all of them itself; nothing that another process
/// wrote ever becomes part of one without having been read as a Guid first.
///
///   block-INODE               the home of a block: its name from when it is ready until its memory is given back
///   6f1c...-36 characters     a Guid in registry form: a name that the block was put under
///   private-PID-N             the name of a block for the moments in which it is made
///   aliases-INODE             the list of the Guids of a block that has more than one
///   error-GUID                a generation error: a symbolic link whose text is the code
///   pending-PID-N             a generation error about to replace an older one

#include "zyncore.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace framebroker {

using zyncore::utility::Guid;

/// Characters of a Guid in registry form, which ends the names that have one.
inline constexpr std::size_t kGuidTextLength = 36;

/// A name of bounded length that needs no memory of its own.
class Name {
public:
    Name() noexcept = default;

    static Name OfGuid(const Guid& id);
    static Name OfError(const Guid& id);
    static Name OfHome(std::uint64_t inode) noexcept;
    static Name OfAliasList(std::uint64_t inode) noexcept;
    /// Names that no other thread of this process forms; another process's leftovers may have them.
    static Name NextPrivate() noexcept;
    static Name NextPendingError() noexcept;

    const char* CStr() const noexcept { return mText.data(); }
    std::string_view Text() const noexcept { return mText.data(); }
    friend bool operator==(const Name& left, const Name& right) noexcept { return left.Text() == right.Text(); }

    /// Name of an entry that was listed. Empty when the text is longer than any name of ours.
    static Name FromListing(std::string_view text) noexcept;

private:
    std::array<char, 64> mText{};
};

enum class NameKind { BlockGuid, BlockHome, BlockPrivate, AliasList, Error, PendingError, Foreign };

NameKind KindOf(std::string_view text) noexcept;

/// True for the three kinds that name blocks.
inline bool NamesABlock(std::string_view text) noexcept {
    const NameKind kind = KindOf(text);
    return kind == NameKind::BlockGuid || kind == NameKind::BlockHome || kind == NameKind::BlockPrivate;
}

} // namespace framebroker
