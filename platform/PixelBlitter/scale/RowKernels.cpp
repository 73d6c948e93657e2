#include "scale/RowKernels.h"

#include <algorithm>

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

template <int kRows, bool kAccumulate>
void SumOfRows(const float* const* rows, const float* weights, float* HWY_RESTRICT destination,
               std::size_t count) noexcept {
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const float* row[kRows];
    Vector weight[kRows];
    for (int k = 0; k < kRows; ++k) {
        row[k] = rows[k];
        weight[k] = hn::Set(d, weights[k]);
    }
    for (std::size_t i = 0; i < count; i += lanes) {
        Vector sum = hn::Mul(weight[0], hn::Load(d, row[0] + i));
        for (int k = 1; k < kRows; ++k)
            sum = hn::MulAdd(weight[k], hn::Load(d, row[k] + i), sum);
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
        return SumOfRows<1, kAccumulate>(rows, weights, destination, count);
    case 2:
        return SumOfRows<2, kAccumulate>(rows, weights, destination, count);
    case 3:
        return SumOfRows<3, kAccumulate>(rows, weights, destination, count);
    case 4:
        return SumOfRows<4, kAccumulate>(rows, weights, destination, count);
    case 5:
        return SumOfRows<5, kAccumulate>(rows, weights, destination, count);
    case 6:
        return SumOfRows<6, kAccumulate>(rows, weights, destination, count);
    case 7:
        return SumOfRows<7, kAccumulate>(rows, weights, destination, count);
    default:
        return SumOfRows<8, kAccumulate>(rows, weights, destination, count);
    }
}

void WeightedSum(const float* const* rows, const float* weights, int rowCount, float* destination, std::size_t count,
                 bool accumulate) noexcept {
    if (accumulate)
        SumOfSomeRows<true>(rows, weights, rowCount, destination, count);
    else
        SumOfSomeRows<false>(rows, weights, rowCount, destination, count);
}

/// Picks each lane from the run of samples that begins at from. Lane n takes sample index[n]; all are below the
/// vector's length (PickerOfOne) or twice that (PickerOfTwo).
struct PickerOfOne {
    explicit PickerOfOne(hn::Vec<Integers> index) noexcept : mIndex(hn::IndicesFromVec(Floats(), index)) {}

    Vector operator()(const float* from) const noexcept {
        return hn::TableLookupLanes(hn::LoadU(Floats(), from), mIndex);
    }

private:
    decltype(hn::IndicesFromVec(Floats(), hn::Vec<Integers>())) mIndex;
};

#if HWY_TARGET <= HWY_AVX3
struct PickerOfTwo {
    explicit PickerOfTwo(hn::Vec<Integers> index) noexcept : mIndex(index) {}

    Vector operator()(const float* from) const noexcept {
        return Vector{_mm512_permutex2var_ps(_mm512_loadu_ps(from), mIndex.raw, _mm512_loadu_ps(from + 16))};
    }

private:
    hn::Vec<Integers> mIndex;
};
#else
struct PickerOfTwo {
    explicit PickerOfTwo(hn::Vec<Integers> index) noexcept
        : mIndex(hn::IndicesFromVec(
              Floats(), hn::And(index, hn::Set(Integers(), static_cast<std::int32_t>(hn::Lanes(Floats()) - 1))))),
          mFromSecond(hn::VecFromMask(
              Floats(), hn::RebindMask(Floats(), hn::Gt(index, hn::Set(Integers(), static_cast<std::int32_t>(
                                                                                       hn::Lanes(Floats()) - 1)))))) {}

    Vector operator()(const float* from) const noexcept {
        const Floats d;
        const Vector first = hn::TableLookupLanes(hn::LoadU(d, from), mIndex);
        const Vector second = hn::TableLookupLanes(hn::LoadU(d, from + hn::Lanes(d)), mIndex);
        return hn::IfVecThenElse(mFromSecond, second, first);
    }

private:
    decltype(hn::IndicesFromVec(Floats(), hn::Vec<Integers>())) mIndex;
    Vector mFromSecond;
};
#endif

/// Samples that lie together in the destination read runs of the source that fit Picker; tap t of all of them is one
/// load, one shuffle and one multiplication.
template <class Picker>
void ResampleByBlocks(const FilterTable& table, const float* const source[4], float* const destination[4]) noexcept {
    const Floats d;
    const Integers di;
    const std::size_t lanes = hn::Lanes(d);
    const auto taps = static_cast<std::size_t>(table.taps);
    const float* weights = table.weights.data();
    for (std::size_t block = 0; block < table.left.size(); block += kBlock, weights += taps * kBlock) {
        for (std::size_t part = 0; part < kBlock; part += lanes) {
            const std::int32_t* left = table.left.data() + block + part;
            const Picker pick(hn::Sub(hn::LoadU(di, left), hn::Set(di, left[0])));
            const float* plane0 = source[0] + left[0];
            const float* plane1 = source[1] + left[0];
            const float* plane2 = source[2] + left[0];
            const float* plane3 = source[3] + left[0];
            Vector sum0 = hn::Zero(d);
            Vector sum1 = sum0;
            Vector sum2 = sum0;
            Vector sum3 = sum0;
            for (std::size_t t = 0; t < taps; ++t) {
                const Vector weight = hn::LoadU(d, weights + t * kBlock + part);
                sum0 = hn::MulAdd(weight, pick(plane0 + t), sum0);
                sum1 = hn::MulAdd(weight, pick(plane1 + t), sum1);
                sum2 = hn::MulAdd(weight, pick(plane2 + t), sum2);
                sum3 = hn::MulAdd(weight, pick(plane3 + t), sum3);
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
    switch (table.layout) {
    case FilterTable::Layout::SamplesTogether:
        if (table.spanFitsOneVector)
            ResampleByBlocks<PickerOfOne>(table, source, destination);
        else
            ResampleByBlocks<PickerOfTwo>(table, source, destination);
        break;
    case FilterTable::Layout::TapsTogether:
        ResampleByTaps(table, source, destination);
        break;
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
