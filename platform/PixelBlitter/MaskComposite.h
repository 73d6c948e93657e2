#pragma once

/// One picture out of two, as the bits of a mask say.

#include "Picture.h"

namespace PixelBlitter {

/// Rows of bits, most significant first; those of row 0 begin at bit startBit of the first byte.
struct MaskArguments {
    const void* bits = nullptr;
    int rowBytes = 0;
    int startBit = 0;
};

/// destination = a where the bit is set, b elsewhere. The pictures have one size; nothing is checked yet.
PB_Result CompositeThroughMask(const PictureArguments& a, const PictureArguments& b, const MaskArguments& mask,
                               const PictureArguments& destination) noexcept;

/// The kernel for rows of a format that has rows.
SelectRow SelectKernelFor(const Kernels& kernels, const Format& format) noexcept;

/// Pixels that have one address in such a format: 1, 2 or 6.
int PixelsPerUnit(const Format& format) noexcept;

} // namespace PixelBlitter
