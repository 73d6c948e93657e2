#pragma once

#include "ProgressBar.h"
#include "Text.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tool {

/// The lines that a run over a clip writes to the error output, beside its progress.
class RunReports {
public:
    /// total: pictures expected, 0 when nobody knows.
    void Begin(std::int64_t total) { mProgress.emplace(total); }
    void Update(std::int64_t done) { mProgress->Update(done); }
    void End() { mProgress.reset(); }

    /// A broken packet or picture. After some lines only the count goes on: a broken clip has thousands of packets.
    void Damage(const std::string& what) {
        ++mDamage;
        if (mDamage <= kMaxDamageLines) {
            Note(what);
        }
    }

    void Note(const std::string& line) {
        if (mProgress) {
            mProgress->Note(line);
        } else {
            std::fprintf(stderr, "vf: %s\n", line.c_str());
        }
    }

    /// ", 3 damage reports", or nothing; for the summary.
    std::string DamageText() const { return mDamage > 0 ? ", " + Plural(mDamage, "damage report") : ""; }

private:
    static constexpr int kMaxDamageLines = 20;

    std::optional<ProgressBar> mProgress;
    std::uint64_t mDamage = 0;
};

} // namespace tool
