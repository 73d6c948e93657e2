// The depth kernels of one CPU target.
#if defined(PIXELBLITTER_DEPTH_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_DEPTH_TABLE_INL_H
#undef PIXELBLITTER_DEPTH_TABLE_INL_H
#else
#define PIXELBLITTER_DEPTH_TABLE_INL_H
#endif

#include "DepthKernels-inl.h"

namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const DepthKernels kDepthKernels;
const DepthKernels kDepthKernels{
    // Equal element types are a shuffle unless ranges differ, which they never do in the formats there are.
    .changeDepth = {{nullptr, ChangeDepth<BytesToWords>, ChangeDepth<Plain<Element::Byte, Element::Float>>},
                    {ChangeDepth<WordsToBytes>, nullptr, ChangeDepth<Plain<Element::Word, Element::Float>>},
                    {ChangeDepth<Plain<Element::Float, Element::Byte>>,
                     ChangeDepth<Plain<Element::Float, Element::Word>>, nullptr}},
    .takeSteps =
        {{ChangeDepth<Stepwise<Element::Byte, Element::Byte>>, ChangeDepth<Stepwise<Element::Byte, Element::Word>>,
          ChangeDepth<Stepwise<Element::Byte, Element::Float>>},
         {ChangeDepth<Stepwise<Element::Word, Element::Byte>>, ChangeDepth<Stepwise<Element::Word, Element::Word>>,
          ChangeDepth<Stepwise<Element::Word, Element::Float>>},
         {ChangeDepth<Stepwise<Element::Float, Element::Byte>>, ChangeDepth<Stepwise<Element::Float, Element::Word>>,
          ChangeDepth<ThroughFloats<ReorderedFloats, AnySteps, ElementsOf<Element::Float>>>}},
    .bytesToLinear = ChangeDepth<BytesToLinear>,
    .linearToBytes = ChangeDepth<LinearToBytes>,
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter

#endif
