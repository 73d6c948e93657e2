#include "ResourceName.h"

#include <algorithm>
#include <utility>

namespace WindowsApi {
namespace {

constexpr std::uint32_t kMostNumber = 0xFFFF;

char16_t UpperCase(char16_t letter) {
    return letter >= u'a' && letter <= u'z' ? static_cast<char16_t>(letter - u'a' + u'A') : letter;
}

/// "#42" as Windows' functions take it.
bool IsNumber(const std::u16string& text) {
    return text.size() >= 2 && text.size() <= 6 && text.front() == u'#' &&
           std::all_of(text.begin() + 1, text.end(), [](char16_t digit) { return digit >= u'0' && digit <= u'9'; });
}

} // namespace

ResourceName ResourceName::Of(std::u16string inText) {
    std::transform(inText.begin(), inText.end(), inText.begin(), UpperCase);
    return {std::move(inText), 0};
}

ResourceName ResourceName::Of(LPCWSTR inName) {
    if (IS_INTRESOURCE(inName)) {
        return {{}, static_cast<std::uint16_t>(reinterpret_cast<std::uintptr_t>(inName))};
    }
    const std::u16string text(inName);
    if (IsNumber(text)) {
        std::uint32_t number = 0;
        for (std::size_t i = 1; i < text.size(); ++i) {
            number = number * 10 + (text[i] - u'0');
        }
        if (number <= kMostNumber) {
            return {{}, static_cast<std::uint16_t>(number)};
        }
    }
    return Of(text);
}

} // namespace WindowsApi
