#include "BlockListing.h"

#include "ExitCodes.h"
#include "FrameGuid.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <tuple>

namespace tool {

using framebroker::BlockDescription;

namespace {

// Clip by clip, the card, then the frames as they follow each other; then everything that has no name.
std::tuple<bool, std::string, bool, std::uint32_t> OrderOf(const ListedBlock& listed) {
    return {listed.name.empty(), listed.name.substr(0, listed.frame ? listed.name.rfind(':') : std::string::npos),
            listed.frame.has_value(), listed.frame ? listed.frame->index : 0};
}

} // namespace

framebroker::DirectoryContents BlockInspector::List() {
    framebroker::DirectoryContents contents;
    const std::int32_t result = framebroker::ListBlocks(contents);
    if (result != framebroker::kResult_Success) {
        throw Failure(ExitCode::SharingFailed, "what is shared cannot be listed: " + ResultText(result));
    }
    return contents;
}

ListedBlock BlockInspector::LookInto(BlockDescription block) {
    ListedBlock listed;
    listed.block = std::move(block);
    if (listed.block.ids.empty()) {
        listed.kind = listed.block.holders.empty() ? BlockKind::Idle : BlockKind::Private;
        return listed;
    }
    boost::shared_ptr<framebroker::BinaryReference> reference;
    if (framebroker::GetBinaryDataIfAvailable(listed.block.ids.front(), reference) != framebroker::kResult_Success) {
        return listed;
    }
    const BlockBytes bytes(std::move(reference));
    listed.kind = BlockKind::Other;
    if ((listed.frame = DescribeFrame(bytes))) {
        listed.kind = BlockKind::Picture;
    } else if (const auto card = ReadCard(bytes)) {
        const auto& ids = listed.block.ids;
        if (std::find(ids.begin(), ids.end(), ClipGuid(card->name)) != ids.end()) {
            listed.kind = BlockKind::Card;
            listed.name = card->name;
            mClips[card->name] = card->endCode;
        }
    }
    return listed;
}

std::string BlockInspector::NameOf(const ListedBlock& listed) const {
    const auto& ids = listed.block.ids;
    for (const auto& [clip, endCode] : mClips) {
        // What the header says is believed only when it leads to a Guid that the block has.
        if (std::find(ids.begin(), ids.end(), FrameGuid(clip, listed.frame->index)) != ids.end()) {
            return clip + ':' + std::to_string(listed.frame->index);
        }
    }
    return {};
}

std::string BlockInspector::ErrorMeaning(std::int32_t code) const {
    for (const auto& [clip, endCode] : mClips) {
        if (endCode == code) {
            return "end of clip " + clip;
        }
    }
    return "will not come (" + std::to_string(code) + ')';
}

std::vector<ListedBlock> BlockInspector::Inspect(std::vector<BlockDescription> blocks) {
    std::vector<ListedBlock> inspected;
    inspected.reserve(blocks.size());
    for (BlockDescription& block : blocks) {
        inspected.push_back(LookInto(std::move(block)));
    }
    // Cards may lie behind the frames that they name.
    for (ListedBlock& listed : inspected) {
        if (listed.kind == BlockKind::Picture) {
            listed.name = NameOf(listed);
        }
    }
    std::stable_sort(inspected.begin(), inspected.end(),
                     [](const ListedBlock& left, const ListedBlock& right) { return OrderOf(left) < OrderOf(right); });
    return inspected;
}

const char* KindText(BlockKind kind) {
    switch (kind) {
    case BlockKind::Picture:
        return "frame";
    case BlockKind::Card:
        return "clip";
    case BlockKind::Other:
        return "other";
    case BlockKind::Private:
        return "private";
    case BlockKind::Idle:
        return "idle";
    case BlockKind::Gone:
        return "gone";
    }
    return "";
}

std::string ContentText(const ListedBlock& listed) {
    switch (listed.kind) {
    case BlockKind::Picture:
        return PictureText(listed.frame->width, listed.frame->height, listed.frame->format.name);
    case BlockKind::Card:
        return "clip card";
    case BlockKind::Other:
        return "no frame";
    case BlockKind::Private:
        return "being made";
    case BlockKind::Idle:
        return "idle memory";
    case BlockKind::Gone:
        return "gone meanwhile";
    }
    return "";
}

std::string CommandOf(std::int32_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string command;
    return std::getline(file, command) ? PlainText(command) : "?";
}

std::string HoldersText(const std::vector<std::int32_t>& holders) {
    std::string text;
    for (const std::int32_t process : holders) {
        text += (text.empty() ? "" : ", ") +
                (process > 0 ? std::to_string(process) + ' ' + CommandOf(process) : "a process out of sight");
    }
    return text.empty() ? "nobody" : text;
}

std::string JsonMembers(const ListedBlock& listed) {
    const BlockDescription& block = listed.block;
    std::string text = std::string(R"("kind":")") + KindText(listed.kind) + R"(","ids":[)";
    for (const auto& id : block.ids) {
        text += (text.back() == '[' ? "\"" : ",\"") + id.ToString() + '"';
    }
    text += "],\"name\":" + JsonText(PlainText(listed.name));
    if (listed.frame) {
        text += ",\"width\":" + std::to_string(listed.frame->width) +
                ",\"height\":" + std::to_string(listed.frame->height) +
                ",\"format\":" + JsonText(CodeText(listed.frame->format.name));
    }
    const std::chrono::duration<double> age = std::chrono::system_clock::now() - block.namedAt;
    text += ",\"bytes\":" + std::to_string(block.sizeInBytes) +
            ",\"ageSeconds\":" + std::to_string(std::max(age.count(), 0.0)) + ",\"holders\":[";
    for (const std::int32_t process : block.holders) {
        text += std::string(text.back() == '[' ? "" : ",") + "{\"pid\":" + std::to_string(process) +
                ",\"command\":" + JsonText(CommandOf(process)) + '}';
    }
    return text + ']';
}

} // namespace tool
