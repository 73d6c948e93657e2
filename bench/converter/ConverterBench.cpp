// Conversions, scaling, copies and fills on one processor: the ratio to a memcpy of (read + written) / 2 bytes of the
// same run, hot and cold, and the largest and mean distance in codes from the exact, unrounded result; ours and the
// peers', beside what memory alone allows. Jobs that we divide among threads are also timed on all processors.

#include "AllProcessors.h"
#include "Machine.h"
#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace converterbench;

int main(int count, char** arguments) {
    std::string markdown;
    double seconds = 0.5;
    std::vector<std::string> wanted;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "--markdown" && i + 1 < count) {
            markdown = arguments[++i];
        } else if (argument == "--seconds" && i + 1 < count) {
            seconds = std::atof(arguments[++i]);
        } else if (argument.starts_with("--")) {
            std::fprintf(stderr, "Usage: bench_converter [--markdown FILE] [--seconds PER-JOB] [PART-OF-A-NAME]...\n");
            return 2;
        } else {
            wanted.push_back(argument);
        }
    }
    AllProcessors all;
    StayOnOneProcessor();
    std::printf("ratios to memcpy hot / cold (largest / mean error in codes)\n");
    std::vector<Outcome> outcomes;
    for (const Job& job : AllJobs()) {
        const std::string name = job.name;
        const auto names = [&](const std::string& part) { return name.find(part) != std::string::npos; };
        if (wanted.empty() || std::any_of(wanted.begin(), wanted.end(), names)) {
            outcomes.push_back(Time(job, seconds, all));
            Print(outcomes.back());
        }
    }
    if (!markdown.empty() && !WriteMarkdown(markdown, outcomes)) {
        std::fprintf(stderr, "bench_converter: %s cannot be written, or has no place for the table\n",
                     markdown.c_str());
        return 1;
    }
}
