// The same kernels on every machine.
#include "PortableTarget.h"

#include "KernelTable-inl.h"

namespace PixelBlitter {

const Kernels& PortableKernels() noexcept {
    return *HWY_STATIC_DISPATCH(TableOfTarget)();
}

} // namespace PixelBlitter
