#include "Machine.h"

#include <sched.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

namespace converterbench {
namespace {

std::string ProcessorName() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

std::string CacheSize(int name) {
    const long bytes = ::sysconf(name);
    return bytes <= 0        ? "unknown"
           : bytes < 1 << 20 ? std::to_string(bytes >> 10) + " KiB"
                             : std::to_string(bytes >> 20) + " MiB";
}

} // namespace

std::string DescribeMachine() {
    char date[32] = "";
    const std::time_t now = std::time(nullptr);
    std::tm day{};
    ::gmtime_r(&now, &day);
    std::strftime(date, sizeof date, "%Y-%m-%d", &day);
    return "Measured on " + std::string(date) + ": " + ProcessorName() + ", " +
           std::to_string(::sysconf(_SC_NPROCESSORS_ONLN)) + " processors; caches " +
           CacheSize(_SC_LEVEL1_DCACHE_SIZE) + " and " + CacheSize(_SC_LEVEL2_CACHE_SIZE) + " each, " +
           CacheSize(_SC_LEVEL3_CACHE_SIZE) + " shared.\n";
}

void StayOnOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(::sched_getcpu()), &one);
    ::sched_setaffinity(0, sizeof one, &one);
}

} // namespace converterbench
