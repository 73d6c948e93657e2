#pragma once

#include "Job.h"

#include <optional>

namespace converterbench {

/// The jobs as they run when the machine may help: a process of its own beside one that has restricted itself to one
/// processor. Make it before that restriction and before any thread is started.
class AllProcessors {
public:
    AllProcessors();
    ~AllProcessors();
    AllProcessors(const AllProcessors&) = delete;
    AllProcessors& operator=(const AllProcessors&) = delete;

    /// Milliseconds of one run with buffers in the caches; nothing for jobs that are not divided. The caller waits.
    std::optional<double> Run(const Job& job);

private:
    int mToProcess = -1, mFromProcess = -1;
    int mProcess = -1;
};

} // namespace converterbench
