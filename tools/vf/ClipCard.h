#pragma once

/// How a published clip makes itself known to other processes.
///
/// While somebody publishes a clip, a small block under ClipGuid(name) says what a receiver needs to know of it. The
/// publisher alone keeps the block, so it vanishes with the publisher, however that ends; and no two processes can
/// publish under one name. After the last frame a generation error with the card's own code stands under the Guid of
/// the frame that would follow.

#include "Libav.h"
#include "Sharing.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

struct ClipCard {
    std::string name;
    AVRational rate{25, 1}; ///< of the published frames, shown at the clip's own speed
    std::int64_t first = 0; ///< index of the first frame
    std::int64_t every = 1; ///< from the index of a frame to that of the next
    std::int32_t endCode =
        1; ///< code of the generation error after the last frame, above 0; each publication has its own

    friend bool operator==(const ClipCard& a, const ClipCard& b) { return a.name == b.name && a.endCode == b.endCode; }
};

/// Code of the generation error of a frame that could not be made or put.
inline constexpr std::int32_t kFrameFailed = -1;

/// The card that a block holds; nothing when it holds none.
std::optional<ClipCard> ReadCard(const BlockBytes& block);

/// The card of a clip that is being published; nothing when nobody publishes it.
std::optional<ClipCard> FindCard(const std::string& clip);

/// The name of a clip as the user gave it. Throws Failure(Usage) for a name that no card can carry: empty, very long,
/// or with control characters.
const std::string& CheckedClipName(const std::string& name);

/// Publishes a card, and ends the clip.
class ClipAnnouncement {
public:
    /// Chooses the end code. Throws Failure(SharingFailed) when the name is taken or the block cannot be made.
    explicit ClipAnnouncement(ClipCard card);
    ~ClipAnnouncement() { End(); }
    ClipAnnouncement(const ClipAnnouncement&) = delete;
    ClipAnnouncement& operator=(const ClipAnnouncement&) = delete;

    /// Index of the frame that is published next, and the step behind it.
    std::int64_t NextIndex() const noexcept { return mNext; }
    void Advance() noexcept { mNext += mCard.every; }

    /// Tells waiting processes that no frame follows. What was published stays. The destructor does it too.
    void End() noexcept;

private:
    ClipCard mCard;
    std::int64_t mNext = 0;
    bool mEnded = false;
    boost::shared_ptr<framebroker::WritableBinaryReference> mBlock;
};

} // namespace tool
