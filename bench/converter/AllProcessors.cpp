#include "AllProcessors.h"

#include "Buffers.h"

#include <sched.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace converterbench {
namespace {

constexpr std::size_t kLargestPicture = std::size_t{1920} * 1080 * 16;

bool IsDivided(const Job& job) {
    return PB_PlanScaleConvert(job.in.width, job.in.height, job.from, 0, job.out.width, job.out.height, job.to, 0,
                               job.quality)
               .bands > 1;
}

// Gives every thread a processor of its own: what else runs on the machine would put them on one now and then.
void SpreadThreads() {
    int processor = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(processor++ % ::get_nprocs()), &one);
        ::sched_setaffinity(std::stoi(thread.path().filename()), sizeof one, &one);
    }
}

double Run(const Job& job, Buffers& in, const Buffers& out) {
    in.Fill(job.SourceContent());
    const auto worker = MakeOurs(job);
    static const bool sSpread = [&] {
        worker->Run(SourceOf(job, in.First()), DestinationOf(job, out.First())); // which starts the threads
        SpreadThreads();
        return true;
    }();
    (void)sSpread;
    double milliseconds = 0;
    for (int i = 0; i < 2; ++i) { // the first brings the buffers into the caches
        const auto start = std::chrono::steady_clock::now();
        worker->Run(SourceOf(job, in.First()), DestinationOf(job, out.First()));
        milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }
    return milliseconds;
}

// Answers until nobody asks any more. Jobs are named by their number.
void Serve(int questions, int answers) {
    Buffers in(kLargestPicture), out(kLargestPicture);
    for (std::size_t number = 0; ::read(questions, &number, sizeof number) == sizeof number;) {
        const Job& job = AllJobs()[number];
        const double milliseconds = IsDivided(job) ? Run(job, in, out) : -1;
        if (::write(answers, &milliseconds, sizeof milliseconds) != sizeof milliseconds) {
            break;
        }
    }
}

} // namespace

AllProcessors::AllProcessors() {
    int questions[2], answers[2];
    if (::pipe(questions) != 0 || ::pipe(answers) != 0) {
        throw std::runtime_error("pipe failed");
    }
    mProcess = ::fork();
    if (mProcess == 0) {
        ::close(questions[1]);
        ::close(answers[0]);
        Serve(questions[0], answers[1]);
        ::_exit(0);
    }
    ::close(questions[0]);
    ::close(answers[1]);
    mToProcess = questions[1];
    mFromProcess = answers[0];
}

AllProcessors::~AllProcessors() {
    ::close(mToProcess);
    ::close(mFromProcess);
    if (mProcess > 0) {
        ::waitpid(mProcess, nullptr, 0);
    }
}

std::optional<double> AllProcessors::Run(const Job& job) {
    const std::size_t number = static_cast<std::size_t>(&job - AllJobs().data());
    double milliseconds = -1;
    if (::write(mToProcess, &number, sizeof number) != sizeof number ||
        ::read(mFromProcess, &milliseconds, sizeof milliseconds) != sizeof milliseconds || milliseconds < 0) {
        return std::nullopt;
    }
    return milliseconds;
}

} // namespace converterbench
