#include "Report.h"

#include "Machine.h"

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace converterbench {
namespace {

const std::string kBegin = "<!-- measured: begin -->\n";
const std::string kEnd = "<!-- measured: end -->\n";

[[gnu::format(printf, 1, 2)]] std::string Text(const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string Pair(const Speed& speed, const char* format = "%.2f / %.2f") {
    char text[64];
    std::snprintf(text, sizeof text, format, speed.hot, speed.cold);
    return text;
}

// Two digits, or next to nothing.
std::string Distance(double codes) {
    return codes == 0 ? "0" : codes < 0.005 ? "<0.01" : codes < 10 ? Text("%.2f", codes) : Text("%.0f", codes);
}

std::string Distances(const Error& error) {
    return Distance(error.largest) + " / " + Distance(error.mean);
}

std::string PeerCells(const Outcome& outcome, const Result* peer) {
    if (!peer) {
        return "- | | ";
    }
    return peer->name + " | " + Pair(outcome.Ratio(peer->time)) + " | " + Distances(peer->error);
}

std::string Row(const Outcome& outcome) {
    const Speed& time = outcome.ours.time;
    const Result* const fastest = outcome.FastestPeer(false);
    const Result* const exact = outcome.FastestPeer(true);
    std::string row = "| " + std::string(outcome.job->name) + " | " + Pair(time) + " | " + Pair(outcome.Ratio(time)) +
                      " | " + Distances(outcome.ours.error) + " | " +
                      Pair({100 * outcome.limit.hot / time.hot, 100 * outcome.limit.cold / time.cold}, "%.0f / %.0f") +
                      " | " + (outcome.computing ? Text("%.2f", *outcome.computing) : "") + " | " +
                      (outcome.allProcessors ? Text("%.1f", time.hot / *outcome.allProcessors) : "") + " | " +
                      PeerCells(outcome, fastest) + " | ";
    row += !exact ? "-" : exact == fastest ? "the same" : exact->name + " " + Pair(outcome.Ratio(exact->time));
    return row + " |\n";
}

} // namespace

void Print(const Outcome& outcome) {
    const auto ratio = [&](const Speed& time) { return Pair(outcome.Ratio(time)); };
    const auto entry = [&](const Result& result) {
        return "  " + result.name + " " + ratio(result.time) + " (" + Distances(result.error) + ")";
    };
    std::string line = Text("%-32s memcpy %s ms  limit %s", outcome.job->name,
                            Pair(outcome.memcpyTime, "%.3f / %.3f").c_str(), ratio(outcome.limit).c_str()) +
                       entry(outcome.ours);
    if (outcome.allProcessors) {
        line += Text(" x%.2f on all processors", outcome.ours.time.hot / *outcome.allProcessors);
    }
    if (outcome.computing) {
        line += Text(" computing %.3f ms", *outcome.computing);
    }
    for (const Result& peer : outcome.peers) {
        line += entry(peer);
    }
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

bool WriteMarkdown(const std::string& path, std::span<const Outcome> outcomes) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    std::string text = content.str();
    const std::size_t begin = text.find(kBegin), end = text.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        return false;
    }
    std::string measured = "\n" + DescribeMachine() + "\n";
    measured +=
        "| job | ms | ratio | error | % of memory's limit | computing, ms | two threads | fastest peer | ratio | error "
        "| fastest exact peer |\n|---|---|---|---|---|---|---|---|---|---|---|\n";
    for (const Outcome& outcome : outcomes) {
        measured += Row(outcome);
    }
    measured += "\n";
    text.replace(begin + kBegin.size(), end - begin - kBegin.size(), measured);
    std::ofstream out(path);
    out << text;
    return static_cast<bool>(out.flush());
}

} // namespace converterbench
