#pragma once

#include "GraphicsObjects.h"

#include <optional>

namespace WindowsApi {

struct Brush final : GraphicsObject {
    explicit Brush(std::optional<COLORREF> inColour) noexcept : colour(inColour) {}

    std::optional<COLORREF> colour; ///< empty paints nothing
};

} // namespace WindowsApi
