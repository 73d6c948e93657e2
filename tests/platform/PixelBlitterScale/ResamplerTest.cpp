#include "FailingAllocator.h"
#include "Pictures.h"
#include "TestHelpers.h"

#include "scale/RowKernels.h"

#include "zyncore.h"

#include <hwy/targets.h>

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace PixelBlitter;
using scaletest::Picture;
using Passes = ResampleOutline::Passes;

constexpr Filter kFilters[] = {Filter::Box, Filter::Bilinear, Filter::Bicubic, Filter::Lanczos3};

/// Single precision over two passes of sums that reach 1.7.
constexpr double kTolerance = 3e-6;

ResampleRequest Request(int sourceWidth, int sourceHeight, int width, int height, Filter filter, int bands = 0) {
    return {WholeAxis(sourceWidth, width), WholeAxis(sourceHeight, height), filter, bands};
}

Picture Resample(const Picture& source, const ResampleRequest& request) {
    Picture result(request.horizontal.destinationSize, request.vertical.destinationSize);
    const auto plan = ResamplePlan::Make(request);
    EXPECT_TRUE(plan);
    plan->Run(source, result);
    EXPECT_TRUE(result.EachSampleWrittenOnce());
    EXPECT_EQ(source.strayAccesses, 0);
    return result;
}

bool SameSamples(const Picture& a, const Picture& b) {
    return std::equal(std::begin(a.planes), std::end(a.planes), std::begin(b.planes));
}

class EveryFilter : public testing::TestWithParam<Filter> {};
INSTANTIATE_TEST_SUITE_P(Filters, EveryFilter, testing::ValuesIn(kFilters),
                         [](const auto& filter) { return FilterName(filter.param); });

TEST_P(EveryFilter, AgreesWithTheDoublePrecisionSumAtAwkwardSizesOnEveryVectorWidth) {
    constexpr int kSizes[] = {1, 2, 3, 5, 17, 130};
    std::vector<std::pair<int, int>> axes = {{33, 16}, {16, 33}, {129, 64}, {64, 21}, {300, 7}, {7, 300}, {40, 39}};
    for (const int from : kSizes)
        for (const int to : kSizes)
            axes.emplace_back(from, to);

    std::set<const RowKernels*> kernels;
    const auto targets = hwy::SupportedAndGeneratedTargets();
    for (const std::int64_t target : targets) {
        hwy::SetSupportedTargetsForTest(target);
        kernels.insert(&RowKernelsForThisProcessor());
        for (std::size_t n = 0; n < axes.size(); ++n) {
            const auto [sourceWidth, width] = axes[n];
            const auto [sourceHeight, height] = axes[(n * 11 + 5) % axes.size()];
            SCOPED_TRACE(testing::Message() << hwy::TargetName(target) << ": " << sourceWidth << "x" << sourceHeight
                                            << " -> " << width << "x" << height);
            const Picture source = Picture::Random(sourceWidth, sourceHeight);
            const auto request = Request(sourceWidth, sourceHeight, width, height, GetParam());
            EXPECT_LT(scaletest::LargestError(source, Resample(source, request), request), kTolerance);
        }
    }
    hwy::SetSupportedTargetsForTest(0);
    EXPECT_EQ(kernels.size(), targets.size());
}

TEST_P(EveryFilter, IsTheSameToTheBitForAnyNumberOfBandsAndThreads) {
    for (const auto& request : {Request(120, 90, 61, 44, GetParam(), 1), Request(50, 40, 99, 133, GetParam(), 1),
                                Request(30, 1000, 17, 23, GetParam(), 1), Request(64, 48, 64, 37, GetParam(), 1),
                                Request(64, 48, 31, 48, GetParam(), 1)}) {
        const Picture source = Picture::Random(request.horizontal.sourceSize, request.vertical.sourceSize);
        const Picture whole = Resample(source, request);
        for (const int bands : {2, 7, 1000}) {
            ResampleRequest divided = request;
            divided.bands = bands;
            EXPECT_TRUE(SameSamples(Resample(source, divided), whole)) << bands;

            Picture oneByOne(whole.width, whole.height);
            const auto plan = ResamplePlan::Make(divided);
            EXPECT_EQ(plan->Outline().bands, std::min(bands, whole.height));
            for (int band = plan->Outline().bands; band-- > 0;)
                plan->RunBand(source, oneByOne, band);
            EXPECT_TRUE(oneByOne.EachSampleWrittenOnce());
            EXPECT_TRUE(SameSamples(oneByOne, whole)) << bands;
        }
    }
}

TEST(Resampler, SkipsThePassesThatChangeNothing) {
    const auto passes = [](int sourceWidth, int sourceHeight, int width, int height) {
        return ResamplePlan::Outline(Request(sourceWidth, sourceHeight, width, height, Filter::Bicubic))->passes;
    };
    EXPECT_EQ(passes(64, 48, 64, 48), Passes::None);
    EXPECT_EQ(passes(64, 48, 32, 48), Passes::Horizontal);
    EXPECT_EQ(passes(64, 48, 64, 24), Passes::Vertical);
    EXPECT_EQ(passes(1920, 1080, 960, 540), Passes::VerticalThenHorizontal);
    EXPECT_EQ(passes(960, 540, 1920, 1080), Passes::HorizontalThenVertical);

    const Picture source = Picture::Random(37, 29);
    EXPECT_TRUE(SameSamples(Resample(source, Request(37, 29, 37, 29, Filter::Lanczos3, 3)), source));
}

TEST(Resampler, HoldsFewRowsWhateverTheRatio) {
    constexpr std::uint64_t kRowOf7680 = 7680 * 4 * sizeof(float);
    for (const Filter filter : kFilters) {
        for (const int height : {1, 2, 100, 2000})
            EXPECT_LT(ResamplePlan::Outline(Request(7680, 4320, 1, height, filter, 1))->temporaryBytes,
                      24 * kRowOf7680);
        EXPECT_LT(ResamplePlan::Outline(Request(1, 1, 7680, 4320, filter, 1))->temporaryBytes, 24 * kRowOf7680);
    }

    const Picture ramp = Picture::Random(7680, 300);
    const auto request = Request(7680, 300, 1, 1, Filter::Lanczos3);
    EXPECT_LT(scaletest::LargestError(ramp, Resample(ramp, request), request), 1e-5);
}

TEST(Resampler, DividesOnlyLargePicturesAndMayRunInsideAPoolTask) {
    EXPECT_EQ(ResamplePlan::Outline(Request(320, 240, 160, 120, Filter::Bicubic))->bands, 1);
    const auto request = Request(1920, 1080, 960, 540, Filter::Box);
    EXPECT_EQ(ResamplePlan::Outline(request)->bands, int(std::min(zyncore::threads::ProcessorCount(), 9u)));

    const Picture source = Picture::Random(320, 200);
    const auto small = Request(320, 200, 160, 100, Filter::Bicubic, 4);
    const Picture wanted = Resample(source, small);
    std::atomic<int> same = 0;
    zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors(
        [&](std::uint64_t) { same += SameSamples(Resample(source, small), wanted); }, 8);
    EXPECT_EQ(same, 8);
}

TEST(FilterTables, AreSharedAndOutliveTheirReleaseWhileInUse) {
    const ResampleAxis axis = WholeAxis(100, 33);
    const auto table = SharedFilterTable(axis, Filter::Bicubic, TableUse::Rows);
    EXPECT_EQ(SharedFilterTable(axis, Filter::Bicubic, TableUse::Rows), table);
    EXPECT_NE(SharedFilterTable(axis, Filter::Bicubic, TableUse::Columns), table);
    for (int size = 1; size < 100; ++size)
        SharedFilterTable(WholeAxis(size, 50), Filter::Box, TableUse::Rows);
    EXPECT_EQ(table.use_count(), 1) << "a sweep over sizes left the cache unbounded";

    OnThreads(4, [](unsigned) {
        for (int size = 1; size < 200; ++size) {
            SharedFilterTable(WholeAxis(size % 40 + 1, 50), Filter::Bilinear, TableUse::Rows);
            if (size % 50 == 0)
                ReleaseResampleTables();
        }
    });
    const auto kept = SharedFilterTable(axis, Filter::Bicubic, TableUse::Rows);
    ReleaseResampleTables();
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(kept->weights, table->weights);
}

TEST(Resampler, ReportsExhaustedMemoryWhilePreparingAndOnlyThen) {
    const auto request = Request(200, 100, 77, 55, Filter::Bicubic, 2);
    const Picture source = Picture::Random(200, 100);
    const Picture wanted = Resample(source, request);
    int failures = 0;
    for (std::unique_ptr<ResamplePlan> plan; !plan; ++failures) {
        ASSERT_LT(failures, 1000);
        ReleaseResampleTables();
        scaletest::allocationsUntilFailure = failures;
        plan = ResamplePlan::Make(request);
        scaletest::allocationsUntilFailure = -1;
        if (plan) {
            Picture result(77, 55);
            scaletest::allocationsUntilFailure = 0; // whatever the pool needs now is missing
            plan->Run(source, result);
            scaletest::allocationsUntilFailure = -1;
            EXPECT_TRUE(SameSamples(result, wanted));
            EXPECT_TRUE(result.EachSampleWrittenOnce());
        }
    }
    EXPECT_GT(failures, 5);
}

} // namespace
