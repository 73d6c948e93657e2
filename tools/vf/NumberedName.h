#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

namespace tool {

/// A file name that may hold one place for a number: %d, or %0Nd with N digits filled up with zeros.
class NumberedName {
public:
    explicit NumberedName(std::string pattern) : mPattern(std::move(pattern)) {
        for (std::size_t at = mPattern.find('%'); at != std::string::npos; at = mPattern.find('%', at + 1)) {
            std::size_t end = at + 1;
            while (end < mPattern.size() && mPattern[end] >= '0' && mPattern[end] <= '9') {
                ++end;
            }
            const std::string digits = mPattern.substr(at + 1, end - at - 1);
            if (end < mPattern.size() && mPattern[end] == 'd' && digits.size() <= 2) {
                mAt = at;
                mLength = end + 1 - at;
                mDigits = digits.empty() ? 0 : std::stoul(digits);
                return;
            }
        }
    }

    bool HasNumber() const { return mLength != 0; }

    std::string Name(std::int64_t number) const {
        std::string text = std::to_string(number);
        text.insert(0, mDigits - std::min(mDigits, text.size()), '0');
        return std::string(mPattern).replace(mAt, mLength, HasNumber() ? text : "");
    }

private:
    std::string mPattern;
    std::size_t mAt = 0;
    std::size_t mLength = 0; // of the place, 0 without one
    std::size_t mDigits = 0;
};

} // namespace tool
