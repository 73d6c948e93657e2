#include "zyncore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

using namespace zyncore::debug;

struct Lines {
    std::vector<std::string> texts;
    static void Add(std::string_view text, void* context) { static_cast<Lines*>(context)->texts.emplace_back(text); }
};

class TraceTest : public testing::Test {
protected:
    void TearDown() override { SetTraceSink(nullptr, nullptr); }
};

TEST_F(TraceTest, TheFirstQuestionOrASwitchDecides) {
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
    EXPECT_FALSE(TraceEnabled("TraceTest.on", 0, true));
    EXPECT_FALSE(TraceEnabled("TraceTest.on", -7, true)) << "off holds at every level";
}

TEST_F(TraceTest, SinkGetsTheTextAsItStandsAndMayMisbehave) {
    Lines lines;
    SetTraceSink(&Lines::Add, &lines);
    Trace("one\r\n");
    Trace("");
    Trace(std::string_view("a\0b", 3));
    SetTraceSink(
        [](std::string_view text, void* context) {
            Lines::Add(text, context);
            Trace("from inside the sink");
            throw std::runtime_error("sink");
        },
        &lines);
    Trace("two");
    SetTraceSink([](std::string_view, void*) { SetTraceSink(nullptr, nullptr); }, nullptr);
    Trace("the sink removes itself");
    EXPECT_EQ(lines.texts, (std::vector<std::string>{"one\r\n", "", std::string("a\0b", 3), "two"}));
}

TEST_F(TraceTest, ReplacingTheSinkWaitsForThreadsInside) {
    struct Context {
        std::atomic<int> inside{0};
        std::atomic<int> most{0};
        std::atomic<bool> gone{false};
        std::atomic<int> late{0};
    };
    Context context;
    const auto sink = [](std::string_view, void* opaque) {
        auto& shared = *static_cast<Context*>(opaque);
        shared.most = std::max(shared.most.load(), ++shared.inside);
        std::this_thread::yield();
        shared.late += shared.gone ? 1 : 0;
        --shared.inside;
    };
    for (int round = 0; round < 50; ++round) {
        context.gone = false;
        SetTraceSink(sink, &context);
        {
            std::vector<std::jthread> threads;
            for (int n = 0; n < 3; ++n) {
                threads.emplace_back([] {
                    for (int line = 0; line < 20; ++line) {
                        Trace("x");
                    }
                });
            }
            SetTraceSink([](std::string_view, void*) {}, nullptr);
            context.gone = true;
        }
    }
    EXPECT_EQ(context.late, 0);
    EXPECT_LE(context.most, 1);
}

} // namespace
