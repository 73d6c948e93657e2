// The same kernels in plain C++, compiled without any CPU extension.
// The library distrusts what g++ before 12.3 makes of this target; the build switches the vectoriser off for this file,
// which is what went wrong there, and the tests compare every kernel with the vector targets.
#define HWY_BROKEN_EMU128 0
#define HWY_COMPILE_ONLY_EMU128
#include "KernelTable-inl.h"

namespace PixelBlitter {

const Kernels& PortableKernels() noexcept {
    return *HWY_STATIC_DISPATCH(TableOfTarget)();
}

} // namespace PixelBlitter
