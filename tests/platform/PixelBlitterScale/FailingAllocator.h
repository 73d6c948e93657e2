#pragma once

namespace scaletest {

/// The allocation of the calling thread that fails next: 0 is the first from now on. Negative: none.
extern constinit thread_local int allocationsUntilFailure;

} // namespace scaletest
