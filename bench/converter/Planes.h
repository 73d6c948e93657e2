#pragma once

/// Where the rows of a picture lie, as most libraries want to know it: the top row first.

#include "Job.h"

namespace converterbench {

struct Planes {
    std::uint8_t* data[4] = {};
    int stride[4] = {};

    /// Rows of ours run from the bottom, planar pictures (Y, U, V in 4:2:0) from the top.
    explicit Planes(const Image& image) {
        const int width = image.width, height = image.height;
        if (image.rowBytes == 0) {
            const int half = (width + 1) / 2;
            data[0] = image.data;
            data[1] = data[0] + std::ptrdiff_t{width} * height;
            data[2] = data[1] + std::ptrdiff_t{half} * ((height + 1) / 2);
            stride[0] = width;
            stride[1] = stride[2] = half;
            return;
        }
        data[0] = image.data + image.rowBytes * (height - 1);
        stride[0] = -static_cast<int>(image.rowBytes);
    }
};

} // namespace converterbench
