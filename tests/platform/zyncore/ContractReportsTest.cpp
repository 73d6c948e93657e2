#include "TestHelpers.h"
#include "zyncore.h"

#include <gtest/gtest.h>

#include <sys/ptrace.h>
#include <unistd.h>

#include <stdexcept>
#include <tuple>

namespace {

using namespace zyncore;

void Report(const char* message, std::uint32_t firstNumber = 105, int errorLevel = 0) {
    const config::ReplacementValue empty;
    config::ThrowError(errorLevel, message, firstNumber, 25, true, empty, empty, empty, empty);
}

void FailCheck(const char* condition, const char* source, int line, std::uint32_t firstNumber = 105) {
    debug::BreakAfterContractDialog(condition, source, line);
    Report("$$$/key=Text", firstNumber);
}

class ContractReportsTest : public testing::Test {
protected:
    ContractReportsTest() { debug::SetTraceSink(&AddLine, &mLines); }
    ~ContractReportsTest() override { debug::SetTraceSink(nullptr, nullptr); }
    std::vector<debug::ContractRecord> New() const { return debug::ContractReportsAfter(mStart); }
    const std::uint64_t mStart = debug::ContractReportCount();
    std::vector<std::string> mLines;
};

TEST_F(ContractReportsTest, RecordAndTraceLineHoldConditionSourceLineAndNumbers) {
    debug::SetTraceLevel("Contract", 0);
    std::string condition = "inWidth != 0";
    EXPECT_FALSE(debug::BreakAfterContractDialog(condition.c_str(), "Src/Factory", 79));
    condition.assign(condition.size(), '#'); // the note must not point into the caller's text
    Report("$$$/key=Text", 0xFFFFFFFF, -3);
    Report("$$$/other=Text");
    FailCheck(nullptr, nullptr, 5);
    Report(nullptr, 105, 1);
    using Row = std::tuple<std::string, std::string, int, int, std::string, std::uint32_t>;
    const Row expected[] = {{"inWidth != 0", "Src/Factory", 79, -3, "$$$/key=Text", 0xFFFFFFFF},
                            {"", "", 0, 0, "$$$/other=Text", 105}, // the note was used up
                            {"", "", 5, 0, "$$$/key=Text", 105},
                            {"", "", 0, 1, "", 105}};
    const auto records = New();
    ASSERT_EQ(records.size(), std::size(expected));
    for (std::size_t n = 0; n < records.size(); ++n) {
        const auto& r = records[n];
        EXPECT_EQ(Row(r.condition, r.source, r.line, r.errorLevel, r.message, r.firstNumber), expected[n]) << n;
        EXPECT_EQ(r.secondNumber, 25);
        EXPECT_EQ(r.threadID, threads::GetCurrentThreadID());
    }
    ASSERT_EQ(mLines.size(), 3u) << "the last report is above the category's level";
    EXPECT_EQ(mLines[0].substr(mLines[0].find(' ')),
              " <Contract> <-3> $$$/key=Text (inWidth != 0, Src/Factory:79)\r\n");
}

TEST_F(ContractReportsTest, RingKeepsTheLastRecordsInOrderAndThreadsDoNotMixTheirNotes) {
    constexpr auto kCapacity = static_cast<int>(debug::kContractRecordCapacity);
    OnThreads(4, [](unsigned thread) {
        const std::string text = "condition " + std::to_string(thread);
        for (int n = 1; n <= kCapacity; ++n) {
            FailCheck(text.c_str(), text.c_str(), n, thread);
        }
    });
    const auto records = New();
    ASSERT_EQ(records.size(), kCapacity);
    std::uint64_t sequence = mStart + 3 * kCapacity;
    int lastLine[4] = {};
    for (const auto& record : records) {
        EXPECT_EQ(record.sequence, ++sequence);
        EXPECT_EQ(record.condition, "condition " + std::to_string(record.firstNumber));
        EXPECT_EQ(record.source, record.condition);
        EXPECT_GT(record.line, std::exchange(lastLine[record.firstNumber], record.line));
    }
    EXPECT_EQ(debug::ContractReportsAfter(sequence - 2).size(), 2u);
    EXPECT_TRUE(debug::ContractReportsAfter(~std::uint64_t{0}).empty());
}

TEST_F(ContractReportsTest, HooksMayReportAndThrow) {
    debug::SetContractDialogHook([](const char* condition, const char*, int line) {
        if (line == 1) {
            FailCheck("inside the hook", "s", 3);
        }
        return line == 2 ? throw std::runtime_error(condition) : line == 1;
    });
    EXPECT_TRUE(debug::BreakAfterContractDialog("outer", "s", 1));
    Report("m");
    EXPECT_THROW(debug::BreakAfterContractDialog("never reported", "s", 2), std::runtime_error);
    Report("m");
    config::SetErrorHook([](int, const char* text, std::uint32_t, std::int32_t) { throw std::runtime_error(text); });
    EXPECT_THROW(FailCheck("recorded before the throw", "s", 4), std::runtime_error);
    EXPECT_NE(config::SetErrorHook(nullptr), nullptr);
    EXPECT_NE(debug::SetContractDialogHook(nullptr), nullptr);
    const auto records = New();
    ASSERT_EQ(records.size(), 4u);
    for (std::size_t n = 0; const char* condition : {"inside the hook", "outer", "", "recorded before the throw"}) {
        EXPECT_EQ(records[n++].condition, condition);
    }
}

TEST_F(ContractReportsTest, TellsWhetherADebuggerIsAttached) {
    EXPECT_FALSE(debug::IsDebuggerAttached());
    EXPECT_EXIT(_exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && debug::IsDebuggerAttached() ? 0 : 1),
                testing::ExitedWithCode(0), "");
}

} // namespace
