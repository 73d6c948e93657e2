// What a call takes from memory, against its plan, and what becomes of it when memory runs out.

#include "../PixelBlitterScale/FailingAllocator.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace {

struct Job {
    int fromWidth, fromHeight, fromField, toWidth, toHeight, toField, quality;
    const char* fields; // what the path says of them
};
constexpr Job kJobs[] = {
    {33, 5, 0, 33, 5, 0, 0, ""},
    {40, 8, 0, 20, 4, 0, 0, ""},
    {40, 8, 0, 20, 4, 0, 4, ""},
    {33, 6, 0, 20, 9, 0, 3, ""},
    {24, 7, 1, 50, 6, 2, 4, " fields"},
    {24, 7, 2, 24, 9, 0, 2, " the first field"},
    {9, 8, 0, 30, 8, 1, 5, " into fields"},
    {24, 1, 1, 48, 6, 0, 1, ""}, // one line has no fields
};

int Convert(const TestPicture& from, int fromField, TestPicture& to, int toField, int quality) {
    return PB_ScaleConvert(from.base, from.RowBytes(), from.width, from.height, from.format.value, fromField, to.base,
                           to.RowBytes(), to.width, to.height, to.format.value, toField, quality);
}

class PlanOfEveryPair : public testing::TestWithParam<std::int32_t> {};

TEST_P(PlanOfEveryPair, TellsTheMemoryThatIsTaken) {
    auto turn = static_cast<std::uint32_t>(GetParam());
    for (const std::int32_t to : reference::AllFormats()) {
        const Job& job = kJobs[++turn % std::size(kJobs)];
        TestPicture source(GetParam(), job.fromWidth, job.fromHeight, 5), destination(to, job.toWidth, job.toHeight, 5);
        source.Randomise(turn);
        SCOPED_TRACE(testing::Message() << std::hex << to << std::dec << " job " << &job - kJobs);

        const PB_Plan plan = PB_PlanScaleConvert(job.fromWidth, job.fromHeight, GetParam(), job.fromField, job.toWidth,
                                                 job.toHeight, to, job.toField, job.quality);
        PB_Initialize();
        PB_Terminate(); // tables are made anew
        scaletest::bytesHeld = scaletest::mostBytesHeld = 0;
        ASSERT_EQ(Convert(source, job.fromField, destination, job.toField, job.quality), plan.result);
        const auto taken = static_cast<std::uint64_t>(scaletest::mostBytesHeld);
        EXPECT_LE(taken, plan.temporaryBytes + 1024) << plan.path; // keeps account of itself
        EXPECT_GE(4 * taken, 3 * plan.temporaryBytes) << plan.path;
        EXPECT_TRUE(plan.path.ends_with(job.fields)) << plan.path;
    }
}

INSTANTIATE_TEST_SUITE_P(From, PlanOfEveryPair,
                         testing::ValuesIn(reference::AllFormats().begin(), reference::AllFormats().end()),
                         testing::PrintToStringParamName());

// One call for every way to take memory: what it reads is made first, and what it writes holds a pattern.
struct Call {
    const char* name;
    std::function<int()> function;
    std::vector<std::span<std::uint8_t>> destination;
};

TEST(Memory, ThatRunsOutIsAnErrorOfItsOwn) {
    constexpr std::int32_t kBgra = 0x4, kFloats = 0x104, kUyvy = 0x811, kPlanar = 0xA000831, kFields = 0x9000A31;
    constexpr std::int32_t kNtsc = 0x1000821, kPal = 0x2000821;
    TestPicture bgra(kBgra, 70, 9, 5), toPlanar(kPlanar, 70, 9), toUyvy(kUyvy, 31, 20, 5), toFields(kFields, 31, 20);
    TestPicture large(kBgra, 720, 480), toLarge(kBgra, 700, 500, 5), uyvy(kUyvy, 70, 9), planar(kPlanar, 70, 9);
    TestPicture toBgra(kBgra, 70, 9, 5);
    std::uint32_t seed = 0;
    for (TestPicture* const picture : {&bgra, &large, &uyvy, &planar}) {
        picture->Randomise(++seed);
    }
    std::vector<std::uint8_t> inPlace(70 * 9 * 16), pal(144000), toPal(144000), toNtsc(120000);
    ASSERT_EQ(PB_FillWithOpaqueWhite(pal.data(), 0, 720, 576, kPal), 0);
    const auto convert = [](const char* name, TestPicture& from, int fromField, TestPicture& to, int toField,
                            int quality) {
        return Call{name, [=, &from, &to] { return Convert(from, fromField, to, toField, quality); }, to.Lines()};
    };
    const auto withinOneBlock = [&](const char* name, std::int32_t to, int width, int height) {
        return Call{name,
                    [=, &inPlace] {
                        return PB_ScaleConvert(inPlace.data(), 280, 70, 9, 0x4, 0, inPlace.data(), width * 16, width,
                                               height, to, 0, 4);
                    },
                    {inPlace}};
    };
    const Call calls[] = {
        convert("to 4:2:0", bgra, 0, toPlanar, 0, 0),
        convert("4:2:2 to 4:2:0", uyvy, 0, toPlanar, 0, 0),
        convert("from 4:2:0", planar, 0, toBgra, 0, 0),
        withinOneBlock("to larger pixels in place", kFloats, 70, 9),
        withinOneBlock("scaled in place", kFloats, 50, 5),
        convert("scaled", bgra, 0, toUyvy, 0, 4),
        convert("scaled fields to 4:2:0", bgra, 1, toFields, 2, 3),
        convert("scaled by several threads", large, 0, toLarge, 0, 2),
        {"encoded",
         [&] {
             return PB_ScaleConvert(large.base, large.RowBytes(), 720, 480, kBgra, 0, toNtsc.data(), 0, 720, 480, kNtsc,
                                    0, 0);
         },
         {toNtsc}},
        {"decoded and scaled",
         [&] {
             return PB_ScaleConvert(pal.data(), 0, 720, 576, kPal, 2, toUyvy.base, toUyvy.RowBytes(), 31, 20, kUyvy, 0,
                                    3);
         },
         toUyvy.Lines()},
        {"decoded, scaled and encoded",
         [&] { return PB_ScaleConvert(pal.data(), 0, 720, 576, kPal, 2, toNtsc.data(), 0, 720, 480, kNtsc, 2, 0); },
         {toNtsc}},
        {"filled", [&] { return PB_FillWithOpaqueWhite(toPal.data(), 0, 720, 576, kPal); }, {toPal}},
    };
    for (const Call& call : calls) {
        SCOPED_TRACE(call.name);
        const auto run = [&](int allocations, std::vector<std::uint8_t>& outBytes) {
            PB_Initialize();
            PB_Terminate(); // nothing is at hand
            for (const auto line : call.destination) {
                std::fill(line.begin(), line.end(), std::uint8_t{0x5A});
            }
            scaletest::allocationsUntilFailure = allocations;
            const int result = call.function();
            const bool ranOut = allocations >= 0 && scaletest::allocationsUntilFailure < 0;
            scaletest::allocationsUntilFailure = -1;
            outBytes.clear();
            for (const auto line : call.destination) {
                outBytes.insert(outBytes.end(), line.begin(), line.end());
            }
            EXPECT_TRUE(result == kPB_Success || (ranOut && result == kPB_OutOfMemory)) << result;
            return std::pair{result, ranOut};
        };
        std::vector<std::uint8_t> wanted, got;
        ASSERT_EQ(run(-1, wanted).first, kPB_Success);
        const std::vector<std::uint8_t> untouched(wanted.size(), 0x5A);
        ASSERT_NE(wanted, untouched);
        int failures = 0;
        for (int allocations = 0;; ++allocations) {
            const auto [result, ranOut] = run(allocations, got);
            failures += result != kPB_Success;
            ASSERT_TRUE(got == (result == kPB_Success ? wanted : untouched)) << "allocation " << allocations;
            if (!ranOut) {
                break;
            }
        }
        EXPECT_GT(failures, 0);
    }
}

} // namespace
