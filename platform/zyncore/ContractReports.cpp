#include "Immortal.h"
#include "zyncore.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

namespace zyncore {
namespace {

/// Text of a thread's pending note. Fixed storage without a destructor: checks may fail when memory is exhausted, and
/// while the thread's own objects are being destroyed. Contract texts are source expressions, far below the capacity;
/// a longer text is cut.
struct NoteText {
    std::array<char, 512> characters;
    std::size_t length;

    void Assign(const char* text) noexcept {
        length = text ? strnlen(text, characters.size()) : 0;
        std::copy_n(text, length, characters.data());
    }
    std::string_view View() const noexcept { return {characters.data(), length}; }
};

/// The failed condition that BreakAfterContractDialog leaves for ThrowError.
struct Note {
    bool pending;
    int line;
    NoteText condition;
    NoteText source;
};
constinit thread_local Note tNote{};

struct Ring {
    std::mutex mutex;
    std::uint64_t count = 0;
    std::array<debug::ContractRecord, debug::kContractRecordCapacity> records;

    /// Number of record sequence: its slot in the ring.
    debug::ContractRecord& At(std::uint64_t sequence) {
        return records[static_cast<std::size_t>((sequence - 1) % debug::kContractRecordCapacity)];
    }

    static Ring& Instance() {
        static detail::Immortal<Ring> ring;
        return ring.Get();
    }
};

constinit std::atomic<config::ErrorHook> gErrorHook{nullptr};
constinit std::atomic<debug::ContractDialogHook> gDialogHook{nullptr};

void AppendToRing(const debug::ContractRecord& numbers, std::string_view condition, std::string_view source,
                  std::string_view message) {
    Ring& ring = Ring::Instance();
    const std::lock_guard lock(ring.mutex);
    debug::ContractRecord& record = ring.At(++ring.count);
    record.condition.clear();
    record.source.clear();
    record.message.clear();
    record.sequence = ring.count;
    record.line = numbers.line;
    record.errorLevel = numbers.errorLevel;
    record.firstNumber = numbers.firstNumber;
    record.secondNumber = numbers.secondNumber;
    record.threadID = numbers.threadID;
    try {
        record.condition = condition;
        record.source = source;
        record.message = message;
    } catch (const std::bad_alloc&) {
        // Texts are missing, but the report is counted and its numbers are there.
    }
}

void TraceReport(const debug::ContractRecord& numbers, std::string_view condition, std::string_view source,
                 std::string_view message) {
    static constexpr char kCategory[] = "Contract";
    if (!debug::TraceEnabled(kCategory, numbers.errorLevel, true)) {
        return;
    }
    try {
        std::string line = "<" + std::to_string(numbers.threadID) + "> <" + kCategory + "> <" +
                           std::to_string(numbers.errorLevel) + "> " + std::string(message);
        if (!condition.empty()) {
            line +=
                " (" + std::string(condition) + ", " + std::string(source) + ":" + std::to_string(numbers.line) + ")";
        }
        debug::Trace(line + "\r\n");
    } catch (const std::bad_alloc&) {
        debug::Trace("<Contract> memory is exhausted\r\n");
    }
}

} // namespace

config::ErrorHook config::SetErrorHook(ErrorHook hook) noexcept {
    return gErrorHook.exchange(hook);
}

void config::ThrowError(int errorLevel, const char* message, std::uint32_t firstNumber, std::int32_t secondNumber, bool,
                        const ReplacementValue&, const ReplacementValue&, const ReplacementValue&,
                        const ReplacementValue&) {
    // The sink or the hook may report an error of its own, so this thread's note is taken before either runs.
    Note note = tNote;
    tNote.pending = false;
    if (!note.pending) {
        note = Note{};
    }
    debug::ContractRecord numbers;
    numbers.line = note.line;
    numbers.errorLevel = errorLevel;
    numbers.firstNumber = firstNumber;
    numbers.secondNumber = secondNumber;
    numbers.threadID = threads::GetCurrentThreadID();
    const std::string_view text = message ? message : "";
    AppendToRing(numbers, note.condition.View(), note.source.View(), text);
    TraceReport(numbers, note.condition.View(), note.source.View(), text);
    if (const ErrorHook hook = gErrorHook.load()) {
        hook(errorLevel, message, firstNumber, secondNumber);
    }
}

debug::ContractDialogHook debug::SetContractDialogHook(ContractDialogHook hook) noexcept {
    return gDialogHook.exchange(hook);
}

bool debug::BreakAfterContractDialog(const char* condition, const char* source, int line) {
    // The hook comes first: a check that fails inside it, or an exception from it, must not touch this note.
    const ContractDialogHook hook = gDialogHook.load();
    const bool wantsBreak = hook && hook(condition, source, line);
    tNote.condition.Assign(condition);
    tNote.source.Assign(source);
    tNote.line = line;
    tNote.pending = true;
    return wantsBreak;
}

std::uint64_t debug::ContractReportCount() noexcept {
    Ring& ring = Ring::Instance();
    const std::lock_guard lock(ring.mutex);
    return ring.count;
}

std::vector<debug::ContractRecord> debug::ContractReportsAfter(std::uint64_t afterSequence) {
    Ring& ring = Ring::Instance();
    const std::lock_guard lock(ring.mutex);
    const std::uint64_t lost = ring.count > kContractRecordCapacity ? ring.count - kContractRecordCapacity : 0;
    std::vector<ContractRecord> records;
    for (std::uint64_t sequence = std::max(afterSequence, lost); sequence < ring.count; ++sequence) {
        records.push_back(ring.At(sequence + 1));
    }
    return records;
}

} // namespace zyncore
