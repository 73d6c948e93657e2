#include "ContractReport.h"
#include "TestFrames.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

namespace {

using zynmediatypes::kPixelFormat_BGRA_4444_8u;

TEST(Lifecycle, CountsStartsAndStops) {
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 0U);
    VF::Initialize();
    VF::Initialize();
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 2U);
    VF::Shutdown();
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 1U);
    VF::Shutdown();
    // An unmatched stop must not make the next start skip its work or stop the foundation twice.
    VF::Shutdown();
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 0U);
    VF::Initialize();
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 1U);
    VF::Shutdown();
}

TEST(Lifecycle, StartsAndStopsFromManyThreads) {
    OnThreads(4, [](unsigned) {
        for (int round = 0; round < 50; ++round) {
            VF::Initialize();
            EXPECT_TRUE(vftest::MakeFrame(kPixelFormat_BGRA_4444_8u, 16, 16));
            VF::Shutdown();
        }
    });
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 0U);
}

TEST(Lifecycle, FramesOutliveTheLastStop) {
    VF::Initialize();
    vftest::FrameRef recycled = vftest::MakeFrame(kPixelFormat_BGRA_4444_8u, 64, 64);
    vftest::FrameRef block = vftest::MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 64, 64);
    if (const auto publishable = BRT::QueryInterface<VF::IPublishableVideoFrame>(block)) {
        EXPECT_EQ(publishable->Publish(zyncore::utility::Guid::Generate()), 0);
    }
    VF::Shutdown();
    EXPECT_EQ(recycled->GetBounds(), (vftest::Rect{0, 0, 64, 64}));
    EXPECT_EQ(block->GetBounds(), (vftest::Rect{0, 0, 64, 64}));
    EXPECT_EQ(vftest::PixelAt(block, 0, 0), 0xFF000000U);
}

TEST(ContractReports, CarryTheFixedNumbers) {
    const std::uint64_t before = zyncore::debug::ContractReportCount();
    VF::Details::CheckContract(true, "holds", "Src/Test", 1);
    VF::Details::CheckContract(false, "inSize", "Src/Test", 60);
    const auto records = zyncore::debug::ContractReportsAfter(before);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message,
              "$$$/zyncore/utility/Error/Contract/InputContractViolation=An input contract violation has occurred!");
    EXPECT_EQ(records[0].firstNumber, 105U);
    EXPECT_EQ(records[0].secondNumber, 25);
}

} // namespace
