#include "ModuleFile.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <string_view>

namespace WindowsApi {
namespace {

using Bytes = std::span<const std::uint8_t>;

/// What follows an offset; empty beyond the end.
Bytes From(Bytes bytes, std::size_t offset) {
    return offset <= bytes.size() ? bytes.subspan(offset) : Bytes{};
}

/// A little-endian number, or nothing where the bytes end before it does.
template <std::unsigned_integral Number>
std::optional<Number> Read(Bytes bytes, std::size_t offset) {
    const Bytes at = From(bytes, offset);
    if (at.size() < sizeof(Number)) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        number |= std::uint32_t{at[i]} << (8 * i);
    }
    return static_cast<Number>(number);
}

constexpr std::size_t kOffsetOfHeaderOffset = 0x3C;
constexpr std::size_t kFileHeaderSize = 24; // with the signature before it
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::uint16_t k32Bit = 0x10B;
constexpr std::uint16_t k64Bit = 0x20B;
constexpr std::uint32_t kResourceDirectory = 2;
constexpr std::size_t kDirectoryHeaderSize = 16;
constexpr std::size_t kEntrySize = 8;
constexpr std::uint32_t kIsTextOrDirectory = 0x80000000;
constexpr std::uint32_t kNeutral = 0;
constexpr std::uint32_t kEnglish = 0x409;

bool StartsWith(Bytes bytes, std::string_view text) {
    return bytes.size() >= text.size() &&
           std::equal(text.begin(), text.end(), bytes.begin(), [](char a, std::uint8_t b) { return a == char(b); });
}

/// Where the optional header says that the resources' root directory is; 0 for none.
std::uint32_t ResourceAddress(Bytes optionalHeader) {
    const std::uint16_t magic = Read<std::uint16_t>(optionalHeader, 0).value_or(0);
    const std::size_t directories = magic == k64Bit ? 112 : 96;
    if (magic != k64Bit && magic != k32Bit) {
        return 0;
    }
    const std::uint32_t count = Read<std::uint32_t>(optionalHeader, directories - 4).value_or(0);
    const auto address = Read<std::uint32_t>(optionalHeader, directories + kResourceDirectory * 8);
    return count > kResourceDirectory ? address.value_or(0) : 0;
}

} // namespace

std::optional<ModuleFile> ModuleFile::Parse(std::vector<std::uint8_t> inBytes) {
    ModuleFile module;
    module.mBytes = std::move(inBytes);
    const Bytes file(module.mBytes);
    const auto headerOffset = Read<std::uint32_t>(file, kOffsetOfHeaderOffset);
    if (!StartsWith(file, "MZ") || !headerOffset || !StartsWith(From(file, *headerOffset), {"PE\0\0", 4})) {
        return std::nullopt;
    }
    const Bytes header = From(file, *headerOffset);
    const std::uint16_t sections = Read<std::uint16_t>(header, 6).value_or(0);
    const std::uint16_t optionalSize = Read<std::uint16_t>(header, 20).value_or(0);
    const Bytes optionalHeader = From(header, kFileHeaderSize);
    const Bytes table = From(optionalHeader, optionalSize);
    if (table.size() < sections * kSectionHeaderSize) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < sections; ++i) {
        const Bytes section = table.subspan(i * kSectionHeaderSize, kSectionHeaderSize);
        module.mSections.push_back(
            {*Read<std::uint32_t>(section, 12), *Read<std::uint32_t>(section, 16), *Read<std::uint32_t>(section, 20)});
    }
    const std::uint32_t resources =
        ResourceAddress(optionalHeader.first(std::min<std::size_t>(optionalSize, optionalHeader.size())));
    if (resources != 0) {
        module.mResources = module.AtAddress(resources);
    }
    return module;
}

std::span<const std::uint8_t> ModuleFile::AtAddress(std::uint32_t inAddress) const {
    for (const Section& section : mSections) {
        if (inAddress >= section.address && inAddress - section.address < section.sizeInFile) {
            const Bytes inFile = From(mBytes, section.offsetInFile);
            return From(inFile.first(std::min<std::size_t>(section.sizeInFile, inFile.size())),
                        inAddress - section.address);
        }
    }
    return {};
}

std::vector<ModuleFile::Entry> ModuleFile::EntriesOf(std::uint32_t inDirectory) const {
    const Bytes directory = From(mResources, inDirectory);
    const std::size_t texts = Read<std::uint16_t>(directory, 12).value_or(0);
    const std::size_t numbers = Read<std::uint16_t>(directory, 14).value_or(0);
    const Bytes table = From(directory, kDirectoryHeaderSize);
    const std::size_t count = std::min(texts + numbers, table.size() / kEntrySize);
    std::vector<Entry> entries;
    entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        entries.push_back(
            {*Read<std::uint32_t>(table, i * kEntrySize), *Read<std::uint32_t>(table, i * kEntrySize + 4)});
    }
    return entries;
}

std::size_t ModuleFile::LengthOf(const Entry& inEntry) const {
    if ((inEntry.name & kIsTextOrDirectory) == 0) {
        return 0;
    }
    const std::size_t offset = inEntry.name & ~kIsTextOrDirectory;
    return std::min<std::size_t>(Read<std::uint16_t>(mResources, offset).value_or(0),
                                 From(mResources, offset + 2).size() / 2);
}

ResourceName ModuleFile::NameOf(const Entry& inEntry) const {
    if ((inEntry.name & kIsTextOrDirectory) == 0) {
        return {{}, static_cast<std::uint16_t>(inEntry.name)};
    }
    const std::size_t offset = inEntry.name & ~kIsTextOrDirectory;
    const Bytes characters = From(mResources, offset + 2);
    const std::size_t length = LengthOf(inEntry);
    std::u16string text(length, u'\0');
    for (std::size_t i = 0; i < length; ++i) {
        text[i] = static_cast<char16_t>(*Read<std::uint16_t>(characters, 2 * i));
    }
    return ResourceName::Of(std::move(text));
}

std::optional<ModuleFile::Entry> ModuleFile::FindEntry(std::uint32_t inDirectory, const ResourceName& inName) const {
    for (const Entry& entry : EntriesOf(inDirectory)) {
        if (LengthOf(entry) == inName.text.size() && NameOf(entry) == inName) {
            return entry;
        }
    }
    return std::nullopt;
}

// The tree has three levels, types, names and languages, and is never followed further: a directory that leads back to
// itself leads nowhere.
std::optional<std::uint32_t> ModuleFile::DirectoryOf(const ResourceName& inType) const {
    const std::optional<Entry> type = FindEntry(0, inType);
    if (!type || (type->child & kIsTextOrDirectory) == 0) {
        return std::nullopt;
    }
    return type->child & ~kIsTextOrDirectory;
}

std::optional<std::span<const std::uint8_t>> ModuleFile::Find(const ResourceName& inType,
                                                              const ResourceName& inName) const {
    const std::optional<std::uint32_t> names = DirectoryOf(inType);
    const std::optional<Entry> name = names ? FindEntry(*names, inName) : std::nullopt;
    if (!name || (name->child & kIsTextOrDirectory) == 0) {
        return std::nullopt;
    }
    const std::vector<Entry> languages = EntriesOf(name->child & ~kIsTextOrDirectory);
    const auto rank = [](const Entry& entry) { return entry.name == kNeutral ? 0 : entry.name == kEnglish ? 1 : 2; };
    const auto best = std::min_element(languages.begin(), languages.end(),
                                       [&](const Entry& a, const Entry& b) { return rank(a) < rank(b); });
    if (best == languages.end() || (best->child & kIsTextOrDirectory) != 0) {
        return std::nullopt;
    }
    const auto address = Read<std::uint32_t>(mResources, best->child);
    const auto size = Read<std::uint32_t>(mResources, std::size_t{best->child} + 4);
    const Bytes data = address && size ? AtAddress(*address) : Bytes{};
    if (!size || *size > data.size() || data.empty()) {
        return std::nullopt;
    }
    return data.first(*size);
}

std::vector<ResourceName> ModuleFile::NamesOf(const ResourceName& inType) const {
    std::vector<ResourceName> names;
    if (const std::optional<std::uint32_t> directory = DirectoryOf(inType)) {
        // Names do not overlap, unless somebody wants a small file to fill the memory.
        std::size_t left = mResources.size();
        for (const Entry& entry : EntriesOf(*directory)) {
            const std::size_t bytes = 2 * LengthOf(entry);
            if (bytes > left) {
                break;
            }
            left -= bytes;
            names.push_back(NameOf(entry));
        }
    }
    return names;
}

} // namespace WindowsApi
