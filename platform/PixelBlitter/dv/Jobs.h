#pragma once

/// The jobs into which libavcodec divides a frame, run on the suite's processor pool.

#include "dv/CodecLibrary.h"

namespace PixelBlitter::dv {

/// AVCodecContext::execute: calls job(context, jobs + i * jobBytes) for i = 0 .. count - 1, in any order, at the same
/// time on several threads, and stores what each returned in outResults unless that is null. Returns 0.
int RunJobs(AVCodecContext* context, int (*job)(AVCodecContext*, void*), void* jobs, int* outResults, int count,
            int jobBytes);

} // namespace PixelBlitter::dv
