#include "FrameGuid.h"

#include "ExitCodes.h"
#include "Options.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

namespace tool {
namespace {

// {507809fb-4dc2-40c4-a85f-64ccfe769667}, made once by chance. Changing it gives every frame another Guid.
constexpr boost::uuids::uuid kNameSpace{
    {0x50, 0x78, 0x09, 0xfb, 0x4d, 0xc2, 0x40, 0xc4, 0xa8, 0x5f, 0x64, 0xcc, 0xfe, 0x76, 0x96, 0x67}};

Guid GuidOfName(const std::string& name) {
    const auto uuid = boost::uuids::name_generator_sha1(kNameSpace)(name);
    // The generator's bytes are in reading order, a Guid's first three groups are numbers.
    const auto number = [&uuid](int first, int count) {
        std::uint32_t value = 0;
        for (int at = first; at < first + count; ++at) {
            value = value << 8 | uuid.data[at];
        }
        return value;
    };
    std::array<std::uint8_t, 8> rest{};
    std::copy_n(uuid.data + 8, rest.size(), rest.begin());
    return {number(0, 4), static_cast<std::uint16_t>(number(4, 2)), static_cast<std::uint16_t>(number(6, 2)), rest};
}

} // namespace

Guid ClipGuid(const std::string& clip) {
    return GuidOfName(clip + ':');
}

Guid FrameGuid(const std::string& clip, std::int64_t index) {
    return GuidOfName(clip + ':' + std::to_string(index));
}

std::string ClipNameOf(const std::string& path) {
    return std::filesystem::path(path).stem().string();
}

Guid ParseFrame(const std::string& text) {
    Guid id;
    if (Guid::FromString(text, id)) {
        return id;
    }
    const std::size_t colon = text.rfind(':');
    if (colon != std::string::npos && colon > 0) {
        if (const auto index = ParseNumber(std::string_view(text).substr(colon + 1))) {
            return FrameGuid(text.substr(0, colon), *index);
        }
    }
    throw Failure(ExitCode::Usage, text + ": a frame is written as its Guid or as NAME:INDEX, for example clip:40");
}

} // namespace tool
