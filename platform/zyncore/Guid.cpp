#include "zyncore.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace zyncore::utility {
namespace {

/// Memory position of the n-th byte in reading order: the first three groups are little-endian words.
constexpr std::array<std::uint8_t, 16> kBytePosition{3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::size_t kTextLength = 36;

/// True where a hyphen stands before the n-th byte in reading order.
constexpr bool HyphenBefore(std::size_t byteInReadingOrder) {
    return byteInReadingOrder == 4 || byteInReadingOrder == 6 || byteInReadingOrder == 8 || byteInReadingOrder == 10;
}

/// Value of a hexadecimal digit, -1 for any other character. Independent of the locale.
constexpr int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

} // namespace

Guid Guid::Generate() {
    Guid guid;
    std::size_t filled = 0;
    while (filled < guid.mBytes.size()) {
        const ssize_t got = getrandom(guid.mBytes.data() + filled, guid.mBytes.size() - filled, 0);
        if (got >= 0) {
            filled += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
    }
    // RFC 4122, 4.4: version 4 in the top four bits of the third group, variant 10 in the top bits of the fourth.
    guid.mBytes[7] = static_cast<std::uint8_t>((guid.mBytes[7] & 0x0F) | 0x40);
    guid.mBytes[8] = static_cast<std::uint8_t>((guid.mBytes[8] & 0x3F) | 0x80);
    return guid;
}

bool Guid::FromString(std::string_view text, Guid& outGuid) noexcept {
    if (text.size() == kTextLength + 2 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, kTextLength);
    }
    if (text.size() != kTextLength) {
        return false;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t at = 0;
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        if (HyphenBefore(n) && text[at++] != '-') {
            return false;
        }
        const int high = DigitValue(text[at]);
        const int low = DigitValue(text[at + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes[kBytePosition[n]] = static_cast<std::uint8_t>(high * 16 + low);
        at += 2;
    }
    outGuid = FromBytes(bytes);
    return true;
}

std::string Guid::ToString() const {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(kTextLength);
    for (std::size_t n = 0; n < mBytes.size(); ++n) {
        if (HyphenBefore(n)) {
            text += '-';
        }
        const std::uint8_t byte = mBytes[kBytePosition[n]];
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

} // namespace zyncore::utility
