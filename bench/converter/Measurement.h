#pragma once

/// Times all who can do a job, taking turns, so that a busy machine disturbs all alike.

#include "Accuracy.h"
#include "Job.h"

#include <optional>
#include <string>
#include <vector>

namespace converterbench {

class AllProcessors;

struct Speed {
    double hot = 1e9, cold = 1e9; ///< milliseconds; the best of all turns, and what a quarter of them took at most
};

struct Result {
    std::string name;
    Speed time;
    Error error;
};

struct Outcome {
    const Job* job = nullptr;
    Speed memcpyTime; ///< of (read + written) / 2 bytes
    Speed limit;      ///< reading and writing the job's bytes only, the faster of both kinds of stores
    Result ours;
    std::vector<Result> peers;
    std::optional<double> allProcessors; ///< hot milliseconds where the job is divided among them
    std::optional<double> computing; ///< milliseconds when memory takes no time, because strips stay in the next cache;
                                     ///< nothing where the sizes differ

    Speed Ratio(const Speed& time) const { return {memcpyTime.hot / time.hot, memcpyTime.cold / time.cold}; }
    /// The peer of the best ratios, of all or of the exact ones; null where there is none.
    const Result* FastestPeer(bool exactOnly) const;
};

/// Hot: the same buffers again, everybody with a destination of their own. Cold: walking over more memory than caches
/// hold. seconds: what to spend on each of the two.
Outcome Time(const Job& job, double seconds, AllProcessors& all);

} // namespace converterbench
