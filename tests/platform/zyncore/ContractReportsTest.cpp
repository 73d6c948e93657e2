#include "zyncore.h"

#include <gtest/gtest.h>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

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
    void SetUp() override { debug::SetTraceLevel("Contract", -1); }
    void TearDown() override {
        debug::SetTraceLevel("Contract", 0);
        debug::SetTraceSink(nullptr, nullptr);
        debug::SetContractDialogHook(nullptr);
        config::SetErrorHook(nullptr);
    }
    std::vector<debug::ContractRecord> New() const { return debug::ContractReportsAfter(mStart); }
    const std::uint64_t mStart = debug::ContractReportCount();
};

TEST_F(ContractReportsTest, RecordHoldsConditionSourceLineAndNumbers) {
    std::string condition = "inWidth != 0";
    debug::BreakAfterContractDialog(condition.c_str(), "Src/Factory", 79);
    condition.assign(condition.size(), '#'); // the note must not point into the caller's text
    Report("$$$/key=Text", 0xFFFFFFFF, -3);
    Report("$$$/other=Text");
    FailCheck(nullptr, nullptr, 5);
    Report(nullptr);

    const auto records = New();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0].sequence, mStart + 1);
    EXPECT_EQ(records[0].condition, "inWidth != 0");
    EXPECT_EQ(records[0].source, "Src/Factory");
    EXPECT_EQ(records[0].line, 79);
    EXPECT_EQ(records[0].errorLevel, -3);
    EXPECT_EQ(records[0].message, "$$$/key=Text");
    EXPECT_EQ(records[0].firstNumber, 0xFFFFFFFF);
    EXPECT_EQ(records[0].secondNumber, 25);
    EXPECT_EQ(records[0].threadID, threads::GetCurrentThreadID());
    // The note was used up, so a report without a check of its own names no condition.
    EXPECT_EQ(records[1].condition + records[1].source, "");
    EXPECT_EQ(records[1].line, 0);
    EXPECT_EQ(records[2].condition + records[2].source, "");
    EXPECT_EQ(records[2].line, 5);
    EXPECT_EQ(records[3].message, "");
}

TEST_F(ContractReportsTest, RingKeepsTheLastRecordsInOrder) {
    constexpr auto kCapacity = static_cast<std::uint32_t>(debug::kContractRecordCapacity);
    constexpr std::uint32_t kReports = 2 * kCapacity + 3;
    for (std::uint32_t n = 0; n < kReports; ++n) {
        FailCheck("condition", "source", 1, n);
    }
    EXPECT_EQ(debug::ContractReportCount(), mStart + kReports);
    const auto records = New();
    ASSERT_EQ(records.size(), kCapacity);
    for (std::uint32_t n = 0; n < kCapacity; ++n) {
        EXPECT_EQ(records[n].firstNumber, kReports - kCapacity + n);
        EXPECT_EQ(records[n].sequence, mStart + kReports - kCapacity + n + 1);
    }
    EXPECT_EQ(debug::ContractReportsAfter(mStart + kReports - 2).size(), 2u);
    EXPECT_TRUE(debug::ContractReportsAfter(mStart + kReports).empty());
    EXPECT_TRUE(debug::ContractReportsAfter(~std::uint64_t{0}).empty());
}

TEST_F(ContractReportsTest, ThreadsDoNotMixTheirNotes) {
    constexpr int kThreads = 4;
    constexpr int kEach = 50; // together fewer than the ring holds
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([thread] {
                const std::string text = "condition " + std::to_string(thread);
                for (int n = 0; n < kEach; ++n) {
                    FailCheck(text.c_str(), text.c_str(), n, static_cast<std::uint32_t>(thread));
                }
            });
        }
    }
    const auto records = New();
    ASSERT_EQ(records.size(), static_cast<std::size_t>(kThreads * kEach));
    int nextLine[kThreads] = {};
    for (const auto& record : records) {
        ASSERT_LT(record.firstNumber, static_cast<std::uint32_t>(kThreads));
        EXPECT_EQ(record.condition, "condition " + std::to_string(record.firstNumber));
        EXPECT_EQ(record.source, record.condition);
        EXPECT_EQ(record.line, nextLine[record.firstNumber]++);
    }
}

TEST_F(ContractReportsTest, ErrorHookMayThrowAfterTheRecordIsMade) {
    EXPECT_EQ(config::SetErrorHook(
                  [](int, const char* message, std::uint32_t, std::int32_t) { throw std::runtime_error(message); }),
              nullptr);
    EXPECT_THROW(FailCheck("a", "b", 1), std::runtime_error);
    EXPECT_NE(config::SetErrorHook(nullptr), nullptr);
    FailCheck("c", "d", 2);
    const auto records = New();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].condition, "a");
    EXPECT_EQ(records[1].condition, "c");
}

TEST_F(ContractReportsTest, DialogHookDecidesAndItsOwnFailuresStayApart) {
    EXPECT_FALSE(debug::BreakAfterContractDialog("no hook", "s", 1));
    Report("m");
    debug::SetContractDialogHook([](const char* condition, const char*, int line) {
        if (line == 1) {
            FailCheck("inside the hook", "s", 3);
        }
        if (line == 2) {
            throw std::runtime_error(condition);
        }
        return line == 1;
    });
    EXPECT_TRUE(debug::BreakAfterContractDialog("outer", "s", 1));
    Report("m");
    EXPECT_THROW(debug::BreakAfterContractDialog("never reported", "s", 2), std::runtime_error);
    Report("m");
    const auto records = New();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[1].condition, "inside the hook");
    EXPECT_EQ(records[2].condition, "outer");
    EXPECT_EQ(records[3].condition, "");
}

TEST_F(ContractReportsTest, WritesOneTraceLine) {
    std::vector<std::string> lines;
    debug::SetTraceSink([](std::string_view text,
                           void* context) { static_cast<std::vector<std::string>*>(context)->emplace_back(text); },
                        &lines);
    FailCheck("off", "Src/Unit", 1);
    debug::SetTraceLevel("Contract", 0);
    FailCheck("inWidth != 0", "Src/Unit", 42);
    Report("above the level", 0, 1);
    debug::SetTraceSink(nullptr, nullptr);
    ASSERT_EQ(lines.size(), 1u);
    for (const char* part : {"Contract", "$$$/key=Text", "inWidth != 0", "Src/Unit", "42", "\r\n"}) {
        EXPECT_NE(lines[0].find(part), std::string::npos) << lines[0];
    }
}

TEST_F(ContractReportsTest, TellsWhetherADebuggerIsAttached) {
    EXPECT_FALSE(debug::IsDebuggerAttached());
    const pid_t child = fork();
    if (child == 0) {
        const bool traced = ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
        _exit(traced && debug::IsDebuggerAttached() ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

} // namespace
