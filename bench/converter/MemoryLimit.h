#pragma once

/// What memory alone allows: work that reads what a job reads and writes as many bytes as it writes, and computes
/// nothing. No job of the same bytes is faster than the faster of the two.

#include "Job.h"

namespace converterbench {

MakeWorker MakeOrdinaryStores;
MakeWorker MakeStreamingStores; ///< past the caches

} // namespace converterbench
