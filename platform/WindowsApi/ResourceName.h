#pragma once

#include "WindowsApi_Resources.h"

#include <compare>
#include <string>

namespace WindowsApi {

/// What a resource or its type goes by: a text of upper-case letters or, where that is empty, a number.
struct ResourceName {
    std::u16string text;
    std::uint16_t number = 0;

    auto operator<=>(const ResourceName&) const = default;

    static ResourceName Of(LPCWSTR inName);
    static ResourceName Of(std::u16string inText);

    /// The name as Windows' functions pass it, good while this lives.
    LPCWSTR Get() const { return text.empty() ? MAKEINTRESOURCEW(number) : text.c_str(); }
};

} // namespace WindowsApi
