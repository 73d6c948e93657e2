#include "kernels/PortableTarget.h"

#include "scale/PixelTable-inl.h"

namespace PixelBlitter {

const PixelKernels& PortablePixelKernels() noexcept {
    return *HWY_STATIC_DISPATCH(PixelTableOfTarget)();
}

} // namespace PixelBlitter
