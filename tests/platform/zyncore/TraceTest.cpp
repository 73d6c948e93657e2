#include "TestHelpers.h"
#include "zyncore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

namespace {

using namespace zyncore::debug;

TEST(TraceTest, TheFirstQuestionOrASwitchDecides) {
    EXPECT_TRUE(TraceEnabled("TraceTest.on", 7, true));
    EXPECT_TRUE(TraceEnabled("TraceTest.on", 0, false)) << "a category is on or off as a whole";
    EXPECT_FALSE(TraceEnabled("TraceTest.off", 0, false));
    EXPECT_FALSE(TraceEnabled("TraceTest.off", 0, true));

    const std::uint32_t before = TraceChangeCount();
    SetTraceLevel("TraceTest.off", 2);
    EXPECT_NE(TraceChangeCount(), before);
    EXPECT_TRUE(TraceEnabled("TraceTest.off", 2, false));
    EXPECT_FALSE(TraceEnabled("TraceTest.off", 3, true));
    SetTraceLevel("TraceTest.on", -5);
    EXPECT_FALSE(TraceEnabled("TraceTest.on", -7, true)) << "off holds at every level";
}

TEST(TraceTest, SinkGetsTheTextAsItStandsAndMayMisbehave) {
    const auto traceAndThrow = [](std::string_view text, void* context) {
        AddLine(text, context);
        Trace("from inside the sink");
        throw std::runtime_error("sink");
    };
    std::vector<std::string> lines;
    const std::vector<std::string> texts{"one\r\n", "", std::string("a\0b", 3)};
    SetTraceSink(traceAndThrow, &lines);
    std::ranges::for_each(texts, &Trace);
    EXPECT_EQ(lines, texts);
    SetTraceSink([](std::string_view, void*) { SetTraceSink(nullptr, nullptr); }, nullptr);
    Trace("the sink removes itself");
}

TEST(TraceTest, ReplacingTheSinkWaitsForThreadsInside) {
    static std::atomic<int> inside{0}, faults{0};
    static std::atomic<bool> gone;
    const auto sink = [](std::string_view, void*) {
        faults += ++inside != 1;
        std::this_thread::yield();
        faults += gone;
        --inside;
    };
    for (int round = 0; round < 50; ++round) {
        gone = false;
        SetTraceSink(sink, nullptr);
        OnThreads(4, [](unsigned thread) {
            if (thread == 3) {
                SetTraceSink([](std::string_view, void*) {}, nullptr);
                gone = true;
            }
            for (int line = 0; line < 20; ++line) {
                Trace("x");
            }
        });
    }
    SetTraceSink(nullptr, nullptr);
    EXPECT_EQ(faults, 0);
}

} // namespace
