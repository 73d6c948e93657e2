#include "ContractLog.h"
#include "ContractReport.h"
#include "TestFrames.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using zynmediatypes::kPixelFormat_BGRA_4444_8u;

class Lifecycle : public ::testing::Test {};

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
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                VF::Initialize();
                vftest::FrameRef frame = vftest::MakeFrame(kPixelFormat_BGRA_4444_8u, 16, 16);
                EXPECT_TRUE(frame);
                VF::Shutdown();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(BRT::Foundation::InitializationCount(), 0U);
}

TEST(Lifecycle, FramesOutliveTheLastStop) {
    VF::Initialize();
    vftest::FrameRef recycled = vftest::MakeFrame(kPixelFormat_BGRA_4444_8u, 64, 64);
    vftest::FrameRef block = vftest::MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 64, 64);
    const auto published = zyncore::utility::Guid::Generate();
    if (const auto publishable = BRT::QueryInterface<VF::IPublishableVideoFrame>(block)) {
        EXPECT_EQ(publishable->Publish(published), 0);
    }
    VF::Shutdown();
    EXPECT_EQ(recycled->GetBounds(), (vftest::Rect{0, 0, 64, 64}));
    EXPECT_EQ(block->GetBounds(), (vftest::Rect{0, 0, 64, 64}));
    EXPECT_EQ(vftest::PixelAt(block, 0, 0), 0xFF000000U);
}

TEST(ContractReports, CarryTextSourceLineAndTheFixedNumbers) {
    const std::uint64_t before = zyncore::debug::ContractReportCount();
    VF::Details::CheckContract(true, "holds", "Src/Test", 1);
    VF::Details::CheckContract(false, "inSize", "Src/Test", 60);
    const int line = __LINE__ + 1;
    VF::Details::CheckContract(false, "inLine", "Src/Test");
    const auto records = zyncore::debug::ContractReportsAfter(before);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].condition, "inSize");
    EXPECT_EQ(records[0].source, "Src/Test");
    EXPECT_EQ(records[0].line, 60);
    EXPECT_EQ(records[0].errorLevel, 0);
    EXPECT_EQ(records[0].message,
              "$$$/zyncore/utility/Error/Contract/InputContractViolation=An input contract violation has occurred!");
    EXPECT_EQ(records[0].firstNumber, 105U);
    EXPECT_EQ(records[0].secondNumber, 25);
    EXPECT_EQ(records[1].line, line);
}

TEST(ContractReports, AHookThatThrowsPassesThrough) {
    const auto former = zyncore::config::SetErrorHook(
        [](int, const char*, std::uint32_t, std::int32_t) { throw std::runtime_error("contract"); });
    vftest::FrameRef frame;
    EXPECT_THROW(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 0, 8, {1, 1}, false, false),
                 std::runtime_error);
    zyncore::config::SetErrorHook(former);
    EXPECT_FALSE(frame);
}

} // namespace
