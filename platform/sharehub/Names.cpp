#include "Names.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>

namespace framebroker {

namespace {

constexpr std::string_view kHomePrefix = "block-";
constexpr std::string_view kPrivatePrefix = "private-";
constexpr std::string_view kAliasListPrefix = "aliases-";
constexpr std::string_view kErrorPrefix = "error-";
constexpr std::string_view kPendingErrorPrefix = "pending-";

bool IsGuidText(std::string_view text) noexcept {
    Guid ignored;
    // The registry form in upper case would be a second name for the same Guid, and no name of ours.
    return text.size() == kGuidTextLength &&
           std::none_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'F'; }) &&
           Guid::FromString(text, ignored);
}

template <std::size_t N>
void FormOfInode(std::array<char, N>& out, std::string_view prefix, std::uint64_t inode) noexcept {
    std::snprintf(out.data(), N, "%s%016" PRIx64, prefix.data(), inode);
}

template <std::size_t N>
void FormNumbered(std::array<char, N>& out, std::string_view prefix) noexcept {
    static std::atomic<std::uint64_t> counter{0};
    std::snprintf(out.data(), N, "%s%ld-%" PRIu64, prefix.data(), static_cast<long>(::getpid()),
                  counter.fetch_add(1, std::memory_order_relaxed));
}

} // namespace

Name Name::OfGuid(const Guid& id) {
    return FromListing(id.ToString());
}

Name Name::OfError(const Guid& id) {
    Name name;
    std::snprintf(name.mText.data(), name.mText.size(), "%s%s", kErrorPrefix.data(), id.ToString().c_str());
    return name;
}

Name Name::OfHome(std::uint64_t inode) noexcept {
    Name name;
    FormOfInode(name.mText, kHomePrefix, inode);
    return name;
}

Name Name::OfAliasList(std::uint64_t inode) noexcept {
    Name name;
    FormOfInode(name.mText, kAliasListPrefix, inode);
    return name;
}

Name Name::NextPrivate() noexcept {
    Name name;
    FormNumbered(name.mText, kPrivatePrefix);
    return name;
}

Name Name::NextPendingError() noexcept {
    Name name;
    FormNumbered(name.mText, kPendingErrorPrefix);
    return name;
}

Name Name::FromListing(std::string_view text) noexcept {
    Name name;
    if (text.size() < name.mText.size()) {
        std::copy(text.begin(), text.end(), name.mText.begin());
    }
    return name;
}

NameKind KindOf(std::string_view text) noexcept {
    if (IsGuidText(text)) {
        return NameKind::BlockGuid;
    }
    if (text.starts_with(kHomePrefix)) {
        return NameKind::BlockHome;
    }
    if (text.starts_with(kPrivatePrefix)) {
        return NameKind::BlockPrivate;
    }
    if (text.starts_with(kAliasListPrefix)) {
        return NameKind::AliasList;
    }
    if (text.starts_with(kErrorPrefix) && IsGuidText(text.substr(kErrorPrefix.size()))) {
        return NameKind::Error;
    }
    return text.starts_with(kPendingErrorPrefix) ? NameKind::PendingError : NameKind::Foreign;
}

} // namespace framebroker
