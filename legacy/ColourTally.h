#pragma once

#include "ColourHistogram.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace VF::Pixmaps {

/// A counter that is full stays so.
inline void AddToCounter(std::uint32_t& counter, std::uint64_t count) noexcept {
    counter = static_cast<std::uint32_t>(std::min<std::uint64_t>(counter + count, UINT32_MAX));
}

/// Counts the colour indexes of one picture into a histogram, which is complete at the end of the tally's life.
///
/// Neighbours mostly have equal colours, and each increment of a counter waits for the one before. Large pictures are
/// therefore counted in four tables in turn, small enough for the second-level cache, and added up.
class ColourTally {
public:
    ColourTally(std::uint32_t* histogram, std::size_t pixels) noexcept
        : mHistogram(histogram), mTables(pixels < kFewPixels ? nullptr : new (std::nothrow) Tables{}) {}
    ~ColourTally() { Flush(); }
    ColourTally(const ColourTally&) = delete;
    ColourTally& operator=(const ColourTally&) = delete;

    /// Little-endian words, whose top bit is ignored.
    void Add(const std::uint8_t* words, std::size_t count) noexcept {
        while (count > 0) {
            const std::size_t piece = std::min(count, mTables ? kTables * UINT16_MAX - mCounted : count);
            if (mTables) {
                AddToTables(words, piece);
            } else {
                for (std::size_t i = 0; i < piece; ++i) {
                    AddToCounter(mHistogram[Index(words, i)], 1);
                }
            }
            words += 2 * piece;
            count -= piece;
        }
    }

private:
    static constexpr std::size_t kTables = 4;
    // Below that, clearing and adding up the tables takes longer than they save.
    static constexpr std::size_t kFewPixels = std::size_t{1} << 17;
    struct Tables {
        std::uint16_t counts[kTables][kColourIndexes];
    };

    static std::size_t Index(const std::uint8_t* words, std::size_t i) noexcept {
        return (words[2 * i] | static_cast<std::size_t>(words[2 * i + 1]) << 8) & (kColourIndexes - 1);
    }

    // No table is given more than a counter holds before all are emptied: turns start anew with the first one.
    void AddToTables(const std::uint8_t* words, std::size_t count) noexcept {
        auto& counts = mTables->counts;
        std::size_t i = 0;
        for (; i + kTables <= count; i += kTables) {
            for (std::size_t table = 0; table < kTables; ++table) {
                ++counts[table][Index(words, i + table)];
            }
        }
        for (std::size_t table = 0; i < count; ++i, ++table) {
            ++counts[table][Index(words, i)];
        }
        mCounted += (count + kTables - 1) / kTables * kTables;
        if (mCounted == kTables * UINT16_MAX) {
            Flush();
        }
    }

    void Flush() noexcept {
        if (!mTables || mCounted == 0) {
            return;
        }
        for (std::size_t i = 0; i < kColourIndexes; ++i) {
            std::uint64_t sum = 0;
            for (auto& counts : mTables->counts) {
                sum += counts[i];
                counts[i] = 0;
            }
            AddToCounter(mHistogram[i], sum);
        }
        mCounted = 0;
    }

    std::uint32_t* mHistogram;
    std::unique_ptr<Tables> mTables;
    std::size_t mCounted = 0;
};

} // namespace VF::Pixmaps
