#pragma once

#include "Job.h"

namespace converterbench {

/// Distance from the exact, unrounded result in codes; floats count as if 1 were the code 255.
struct Error {
    double largest = 0, mean = 0;
};

/// Within half a code, or three quarters where a filter works, and what rounding in float arithmetic adds.
bool IsExact(const Job& job, const Error& error);

/// What a worker's result of the small job is off by. The result is that of double-precision arithmetic by the
/// definitions of our formats and filters, so that other definitions count as errors. Pictures are smooth where chroma
/// changes its resolution, because how it is filtered there is a matter of taste, and noise otherwise. Upside down they
/// are the same picture.
Error Measure(const Job& small, Worker& worker);

} // namespace converterbench
