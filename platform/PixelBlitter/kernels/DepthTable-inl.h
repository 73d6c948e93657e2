// The depth kernels of one CPU target.
#if defined(PIXELBLITTER_DEPTH_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_DEPTH_TABLE_INL_H
#undef PIXELBLITTER_DEPTH_TABLE_INL_H
#else
#define PIXELBLITTER_DEPTH_TABLE_INL_H
#endif

#include "DepthKernels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const DepthKernels kDepthKernels;
const DepthKernels kDepthKernels{
    // Equal element types are a shuffle unless ranges differ, which they never do in the formats there are.
    .changeDepth = {{nullptr, ChangeDepth<BytesToWords>, ChangeDepth<Through<Element::Byte, Element::Float>>},
                    {ChangeDepth<WordsToBytes>, nullptr, ChangeDepth<Through<Element::Word, Element::Float>>},
                    {ChangeDepth<Through<Element::Float, Element::Byte>>,
                     ChangeDepth<Through<Element::Float, Element::Word>>, nullptr}},
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
