#pragma once

/// What is shared, with all that the tool can tell of it.

#include "ClipCard.h"
#include "SharedFrame.h"
#include "sharehub.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tool {

enum class BlockKind {
    Picture, ///< a frame
    Card,    ///< that of a published clip
    Other,   ///< put by somebody, and neither
    Private, ///< held by its maker, not put yet
    Idle,    ///< held by nobody and nameless: memory kept for the next block, or left by the dead
    Gone,    ///< dropped between the look at the names and the look inside
};

struct ListedBlock {
    framebroker::BlockDescription block;
    BlockKind kind = BlockKind::Gone;
    std::optional<FrameDescription> frame;
    std::string name; ///< "NAME:INDEX" of a published clip's frame, "NAME" of its card, as the clip has it; else empty
};

/// Looks into blocks, and remembers the clips whose cards it saw, to tell which of their frames a block is.
class BlockInspector {
public:
    /// What the directory holds. Throws Failure(SharingFailed) when it cannot be listed. No block is held meanwhile, so
    /// the caller never counts as a holder.
    static framebroker::DirectoryContents List();

    /// Looks into each of these blocks, which it holds for that moment. Named ones come first, frames in their order.
    std::vector<ListedBlock> Inspect(std::vector<framebroker::BlockDescription> blocks);

    /// What a generation error means: "end of clip NAME" for a clip whose card was seen, else "will not come (CODE)".
    std::string ErrorMeaning(std::int32_t code) const;

private:
    ListedBlock LookInto(framebroker::BlockDescription block);
    std::string NameOf(const ListedBlock& listed) const;

    std::map<std::string, std::int32_t> mClips; ///< name and end code
};

/// "frame", "clip", "other", "private", "idle", "gone".
const char* KindText(BlockKind kind);

/// What a user sees of a block's content: "1280x720 yv17", "clip card", "no frame", ...
std::string ContentText(const ListedBlock& listed);

/// "4711 vf, 4712 vf", or "nobody".
std::string HoldersText(const std::vector<std::int32_t>& holders);

/// The command of a process, as a terminal may have it; "?" when it has ended or belongs to somebody else.
std::string CommandOf(std::int32_t process);

/// The members of a JSON object that describe a block, without braces.
std::string JsonMembers(const ListedBlock& listed);

} // namespace tool
