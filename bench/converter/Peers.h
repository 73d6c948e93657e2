#pragma once

/// Other libraries that do the same jobs, one file each. Where a library's definition differs from ours (its only
/// matrix, chroma that is repeated instead of interpolated, colours filtered without their alpha) its error shows that.

#include "Job.h"

#include <array>

namespace converterbench {

MakeWorker MakeLibyuv;    ///< fast, with errors of some codes
MakeWorker MakeOpenCV;    ///< on one thread
MakeWorker MakePixman;    ///< premultiplied 8-bit pixels
MakeWorker MakeSwscale;   ///< with the flags that make it accurate
MakeWorker MakeZimg;      ///< with pixels unpacked to planes of the same codes, a few rows at a time
MakeWorker MakeZimgFloat; ///< the same with planes of floats, for filters that overshoot

inline constexpr std::array<MakeWorker*, 6> kPeers{MakeLibyuv, MakeSwscale, MakeOpenCV,
                                                   MakePixman, MakeZimg,    MakeZimgFloat};

} // namespace converterbench
