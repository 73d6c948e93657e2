#pragma once

#include <hwy/targets.h>

#include <cstdint>

/// Runs work with the converter's kernels of every processor that this machine can stand for.
template <class Work>
void OnEveryTarget(const Work& work) {
    const std::int64_t targets = hwy::SupportedTargets();
    for (const std::int64_t target : {HWY_EMU128, HWY_SSSE3, HWY_AVX2, HWY_AVX3}) {
        if (target == HWY_EMU128 || (targets & target) != 0) {
            hwy::GetChosenTarget().Update(target);
            work();
        }
    }
    hwy::GetChosenTarget().Update(targets);
}
