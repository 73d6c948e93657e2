#pragma once

#include "zyncore.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vftest {

/// What was reported since this object was made or last asked, as "condition @ source:line" with 0 for any line.
class ContractLog {
public:
    std::vector<std::string> Take() {
        std::vector<std::string> lines;
        for (const auto& record : zyncore::debug::ContractReportsAfter(mSeen)) {
            lines.push_back(record.condition + " @ " + record.source + ":" + std::to_string(record.line));
            mSeen = record.sequence;
        }
        return lines;
    }

    /// The condition texts alone, for checks whose line is not fixed.
    std::vector<std::string> TakeConditions() {
        std::vector<std::string> conditions;
        for (const auto& record : zyncore::debug::ContractReportsAfter(mSeen)) {
            conditions.push_back(record.condition);
            mSeen = record.sequence;
        }
        return conditions;
    }

private:
    std::uint64_t mSeen = zyncore::debug::ContractReportCount();
};

} // namespace vftest
