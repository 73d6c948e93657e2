#include "scale/RowKernels.h"

#include <algorithm>
#include <utility>

// The kernels hold vectors in arrays and structures, so their size must be known to the compiler.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "scale/RowKernels.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, kBlock>;
using Integers = hn::RebindToSigned<Floats>;
using Vector = hn::Vec<Floats>;

/// The rows are an index sequence so that the sum is unrolled and its weights stay in registers.
template <bool kAccumulate, std::size_t... k>
void SumOfRows(const float* const* rows, const float* weights, float* HWY_RESTRICT destination, std::size_t count,
               std::index_sequence<0, k...>) noexcept {
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const float* const HWY_RESTRICT row[] = {rows[0], rows[k]...};
    const Vector weight[] = {hn::Set(d, weights[0]), hn::Set(d, weights[k])...};
    for (std::size_t i = 0; i < count; i += lanes) {
        Vector sum = hn::Mul(weight[0], hn::Load(d, row[0] + i));
        ((sum = hn::MulAdd(weight[k], hn::Load(d, row[k] + i), sum)), ...);
        // Added last: one rounding at the size of the whole sum instead of one for each row.
        if constexpr (kAccumulate)
            sum = hn::Add(sum, hn::Load(d, destination + i));
        hn::Store(sum, d, destination + i);
    }
}

template <bool kAccumulate>
void SumOfSomeRows(const float* const* rows, const float* weights, int rowCount, float* destination,
                   std::size_t count) noexcept {
    static_assert(kRowsAtOnce == 8);
    switch (rowCount) {
    case 1:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<1>());
    case 2:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<2>());
    case 3:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<3>());
    case 4:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<4>());
    case 5:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<5>());
    case 6:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<6>());
    case 7:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<7>());
    default:
        return SumOfRows<kAccumulate>(rows, weights, destination, count, std::make_index_sequence<8>());
    }
}

void WeightedSum(const float* const* rows, const float* weights, int rowCount, float* destination, std::size_t count,
                 bool accumulate) noexcept {
    if (accumulate)
        SumOfSomeRows<true>(rows, weights, rowCount, destination, count);
    else
        SumOfSomeRows<false>(rows, weights, rowCount, destination, count);
}

/// A run of one vector's length, from which each lane takes the sample that its index names.
struct OneVector {
    using Index = decltype(hn::IndicesFromVec(Floats(), hn::Vec<Integers>()));
    static constexpr std::int32_t kVectors = 1;

    static Index MakeIndex(hn::Vec<Integers> sample) noexcept { return hn::IndicesFromVec(Floats(), sample); }
    explicit OneVector(const float* from) noexcept : mRun(hn::LoadU(Floats(), from)) {}
    Vector Pick(const Index& index) const noexcept { return hn::TableLookupLanes(mRun, index); }

private:
    Vector mRun;
};

/// The same with a run of two vectors' length.
#if HWY_TARGET <= HWY_AVX3
struct TwoVectors {
    using Index = hn::Vec<Integers>;
    static constexpr std::int32_t kVectors = 2;

    static Index MakeIndex(hn::Vec<Integers> sample) noexcept { return sample; }
    explicit TwoVectors(const float* from) noexcept
        : mFirst(hn::LoadU(Floats(), from)), mSecond(hn::LoadU(Floats(), from + hn::Lanes(Floats()))) {}
    Vector Pick(const Index& index) const noexcept {
        return Vector{_mm512_permutex2var_ps(mFirst.raw, index.raw, mSecond.raw)};
    }

private:
    Vector mFirst;
    Vector mSecond;
};
#else
struct TwoVectors {
    struct Index {
        OneVector::Index within;
        Vector isInSecond;
    };
    static constexpr std::int32_t kVectors = 2;

    static Index MakeIndex(hn::Vec<Integers> sample) noexcept {
        const auto last = hn::Set(Integers(), static_cast<std::int32_t>(hn::Lanes(Floats()) - 1));
        return {OneVector::MakeIndex(hn::And(sample, last)),
                hn::VecFromMask(Floats(), hn::RebindMask(Floats(), hn::Gt(sample, last)))};
    }
    explicit TwoVectors(const float* from) noexcept : mFirst(from), mSecond(from + hn::Lanes(Floats())) {}
    Vector Pick(const Index& index) const noexcept {
        return hn::IfVecThenElse(index.isInSecond, mSecond.Pick(index.within), mFirst.Pick(index.within));
    }

private:
    OneVector mFirst;
    OneVector mSecond;
};
#endif

/// Samples that lie together in the destination read one run of the source for a tap, and, where the run is longer than
/// their span, the same run for the next taps; then a tap is a shuffle and a multiplication.
template <class Run>
void ResampleByBlocks(const FilterTable& table, std::int32_t span, const float* const source[4],
                      float* const destination[4]) noexcept {
    const Floats d;
    const Integers di;
    const std::size_t lanes = hn::Lanes(d);
    const auto taps = static_cast<std::size_t>(table.taps);
    const auto tapsPerRun = static_cast<std::size_t>(Run::kVectors * static_cast<std::int32_t>(lanes) - span);
    const float* weights = table.weights.data();
    for (std::size_t block = 0; block < table.left.size(); block += kBlock, weights += taps * kBlock) {
        for (std::size_t part = 0; part < kBlock; part += lanes) {
            const std::int32_t* left = table.left.data() + block + part;
            const auto firstSamples = hn::Sub(hn::LoadU(di, left), hn::Set(di, left[0]));
            Vector sum0 = hn::Zero(d);
            Vector sum1 = sum0;
            Vector sum2 = sum0;
            Vector sum3 = sum0;
            for (std::size_t begin = 0; begin < taps; begin += tapsPerRun) {
                const std::size_t from = static_cast<std::size_t>(left[0]) + begin;
                const Run run0(source[0] + from);
                const Run run1(source[1] + from);
                const Run run2(source[2] + from);
                const Run run3(source[3] + from);
                const std::size_t end = std::min(taps, begin + tapsPerRun);
                auto samples = firstSamples;
                for (std::size_t t = begin; t < end; ++t) {
                    const Vector weight = hn::LoadU(d, weights + t * kBlock + part);
                    const typename Run::Index index = Run::MakeIndex(samples);
                    sum0 = hn::MulAdd(weight, run0.Pick(index), sum0);
                    sum1 = hn::MulAdd(weight, run1.Pick(index), sum1);
                    sum2 = hn::MulAdd(weight, run2.Pick(index), sum2);
                    sum3 = hn::MulAdd(weight, run3.Pick(index), sum3);
                    samples = hn::Add(samples, hn::Set(di, 1));
                }
            }
            hn::Store(sum0, d, destination[0] + block + part);
            hn::Store(sum1, d, destination[1] + block + part);
            hn::Store(sum2, d, destination[2] + block + part);
            hn::Store(sum3, d, destination[3] + block + part);
        }
    }
}

/// Adds up the groups of four lanes.
template <class D>
hn::Vec128<float> SumOfGroups(D d, hn::Vec<D> v) noexcept {
    if constexpr (hn::MaxLanes(d) > 4) {
        const hn::Half<D> half;
        return SumOfGroups(half, hn::Add(hn::LowerHalf(half, v), hn::UpperHalf(half, v)));
    } else {
        return v;
    }
}

/// Lane n of the result is the sum of the lanes of the n-th argument.
hn::Vec128<float> FourSums(Vector a, Vector b, Vector c, Vector e) noexcept {
    const Floats d;
    const hn::RepartitionToWide<Floats> pairs;
    const Vector ab = hn::Add(hn::InterleaveLower(d, a, b), hn::InterleaveUpper(d, a, b));
    const Vector ce = hn::Add(hn::InterleaveLower(d, c, e), hn::InterleaveUpper(d, c, e));
    const auto abPairs = hn::BitCast(pairs, ab);
    const auto cePairs = hn::BitCast(pairs, ce);
    const Vector lower = hn::BitCast(d, hn::InterleaveLower(pairs, abPairs, cePairs));
    const Vector upper = hn::BitCast(d, hn::InterleaveUpper(pairs, abPairs, cePairs));
    return SumOfGroups(d, hn::Add(lower, upper));
}

/// Taps that are added up before they join the total, so that the rounding errors of long filters do not pile up.
constexpr std::size_t kRun = 16 * kBlock;

/// Long filters: each destination sample is the inner product of two runs.
void ResampleByTaps(const FilterTable& table, const float* const source[4], float* const destination[4]) noexcept {
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t stride = table.weightStride;
    const auto taps = static_cast<std::size_t>(table.taps);
    for (std::size_t n = 0; n < table.left.size(); n += 4) {
        const float* weights = table.weights.data() + n * stride;
        for (int plane = 0; plane < 4; ++plane) {
            const float* run0 = source[plane] + table.left[n];
            const float* run1 = source[plane] + table.left[n + 1];
            const float* run2 = source[plane] + table.left[n + 2];
            const float* run3 = source[plane] + table.left[n + 3];
            Vector total0 = hn::Zero(d);
            Vector total1 = total0;
            Vector total2 = total0;
            Vector total3 = total0;
            for (std::size_t begin = 0; begin < taps; begin += kRun) {
                const std::size_t end = std::min(taps, begin + kRun);
                Vector sum0 = hn::Zero(d);
                Vector sum1 = sum0;
                Vector sum2 = sum0;
                Vector sum3 = sum0;
                for (std::size_t t = begin; t < end; t += lanes) {
                    sum0 = hn::MulAdd(hn::LoadU(d, weights + t), hn::LoadU(d, run0 + t), sum0);
                    sum1 = hn::MulAdd(hn::LoadU(d, weights + stride + t), hn::LoadU(d, run1 + t), sum1);
                    sum2 = hn::MulAdd(hn::LoadU(d, weights + 2 * stride + t), hn::LoadU(d, run2 + t), sum2);
                    sum3 = hn::MulAdd(hn::LoadU(d, weights + 3 * stride + t), hn::LoadU(d, run3 + t), sum3);
                }
                total0 = hn::Add(total0, sum0);
                total1 = hn::Add(total1, sum1);
                total2 = hn::Add(total2, sum2);
                total3 = hn::Add(total3, sum3);
            }
            hn::StoreU(FourSums(total0, total1, total2, total3), hn::Full128<float>(), destination[plane] + n);
        }
    }
}

void ResampleRow(const FilterTable& table, const float* const source[4], float* const destination[4]) noexcept {
    const auto lanes = static_cast<std::int32_t>(hn::Lanes(Floats()));
    const std::int32_t span = table.Span(lanes);
    switch (table.layout) {
    case FilterTable::Layout::SamplesTogether:
        // One vector is picked from faster, unless it must be loaded anew for nearly every tap.
        if (lanes - span >= std::min(table.taps, 4))
            ResampleByBlocks<OneVector>(table, span, source, destination);
        else
            ResampleByBlocks<TwoVectors>(table, span, source, destination);
        break;
    case FilterTable::Layout::TapsTogether:
        ResampleByTaps(table, source, destination);
        break;
    case FilterTable::Layout::WordsOfTaps:
    case FilterTable::Layout::WordsOfPairs:
        break; // for other kernels
    }
}

const RowKernels* Kernels() {
    static constexpr RowKernels kernels{WeightedSum, ResampleRow};
    return &kernels;
}

} // namespace PixelBlitter::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace PixelBlitter {

HWY_EXPORT(Kernels);

const RowKernels& RowKernelsForThisProcessor() noexcept {
    return *HWY_DYNAMIC_DISPATCH(Kernels)();
}

} // namespace PixelBlitter

#endif
