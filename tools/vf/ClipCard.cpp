#include "ClipCard.h"

#include "ExitCodes.h"
#include "FrameGuid.h"
#include "Options.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <sstream>
#include <utility>

namespace tool {
namespace {

using namespace framebroker;

constexpr const char* kFirstLine = "vf clip 1";
constexpr std::size_t kMaxNameLength = 255; // that of file names
constexpr std::size_t kMaxCardSize = 1024;  // all lines with the longest name and numbers

bool IsClipName(const std::string& name) {
    return !name.empty() && name.size() <= kMaxNameLength &&
           std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

std::string Serialize(const ClipCard& card) {
    std::ostringstream text;
    text << kFirstLine << '\n'
         << "name " << card.name << '\n'
         << "rate " << card.rate.num << ' ' << card.rate.den << '\n'
         << "first " << card.first << '\n'
         << "every " << card.every << '\n'
         << "end " << card.endCode << '\n';
    return text.str();
}

// The rest of the next line, which begins with this word; empty when it does not.
std::string Field(std::istream& text, const std::string& word) {
    std::string line;
    std::getline(text, line);
    return line.compare(0, word.size() + 1, word + ' ') == 0 ? line.substr(word.size() + 1) : "";
}

std::int32_t RandomCode() {
    std::random_device device;
    return std::uniform_int_distribution<std::int32_t>(1, std::numeric_limits<std::int32_t>::max())(device);
}

} // namespace

const std::string& CheckedClipName(const std::string& name) {
    if (!IsClipName(name)) {
        throw Failure(ExitCode::Usage, "a clip's name has 1 to " + std::to_string(kMaxNameLength) +
                                           " bytes and no control characters; --name gives another one");
    }
    return name;
}

std::optional<ClipCard> ReadCard(const BlockBytes& block) {
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(block.Size(), kMaxCardSize)), '\0');
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), block.Data(), bytes.size());
    }
    std::istringstream text(bytes);
    std::string line;
    if (!std::getline(text, line) || line != kFirstLine) {
        return std::nullopt;
    }
    ClipCard card;
    card.name = Field(text, "name");
    const std::string rate = Field(text, "rate");
    const std::size_t space = std::min(rate.find(' '), rate.size());
    const auto numerator = ParseNumber(std::string_view(rate).substr(0, space));
    const auto denominator = ParseNumber(std::string_view(rate).substr(std::min(space + 1, rate.size())));
    const auto first = ParseNumber(Field(text, "first"));
    const auto every = ParseNumber(Field(text, "every"));
    const auto end = ParseNumber(Field(text, "end"));
    constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
    const auto in = [](const std::optional<std::int64_t>& value, std::int64_t from) {
        return value && *value >= from && *value <= largest;
    };
    if (!IsClipName(card.name) || !in(numerator, 1) || !in(denominator, 1) || !in(first, 0) || !in(every, 1) ||
        !in(end, 1)) {
        return std::nullopt;
    }
    card.rate = {static_cast<int>(*numerator), static_cast<int>(*denominator)};
    card.first = *first;
    card.every = *every;
    card.endCode = static_cast<std::int32_t>(*end);
    return card;
}

std::optional<ClipCard> FindCard(const std::string& clip) {
    // The reference must not outlive the call: it would keep the card of a publisher that has ended.
    boost::shared_ptr<BinaryReference> block;
    if (GetBinaryDataIfAvailable(ClipGuid(clip), block) != kResult_Success) {
        return std::nullopt;
    }
    auto card = ReadCard(BlockBytes(std::move(block)));
    return card && card->name == clip ? card : std::nullopt;
}

ClipAnnouncement::ClipAnnouncement(ClipCard card) : mCard(std::move(card)), mNext(mCard.first) {
    mCard.endCode = RandomCode();
    const std::string text = Serialize(mCard);
    std::int32_t result = GetWritableBinaryData(text.size(), mBlock);
    void* const data = result == kResult_Success ? mBlock->AcquireDataPointer() : nullptr;
    if (data) {
        std::memcpy(data, text.data(), text.size());
        mBlock->ReleaseDataPointer(data);
        result = PutCompletedBinaryData(ClipGuid(mCard.name), mBlock);
    } else if (result == kResult_Success) {
        result = kResult_OutOfSpace;
    }
    if (result == kResult_NameInUse) {
        throw Failure(ExitCode::SharingFailed, "the clip " + mCard.name +
                                                   " is being published already (vf list shows by whom); --name gives "
                                                   "this one another name");
    }
    if (result != kResult_Success) {
        throw Failure(ExitCode::SharingFailed, "the clip cannot be announced: " + ResultText(result));
    }
}

void ClipAnnouncement::End() noexcept try {
    if (!std::exchange(mEnded, true)) {
        PutBinaryDataGenerationError(FrameGuid(mCard.name, mNext), mCard.endCode);
    }
} catch (const std::bad_alloc&) {
    // Receivers notice that the card has gone.
}

} // namespace tool
