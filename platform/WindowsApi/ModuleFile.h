#pragma once

/// Resources of a module file in the Portable Executable format (Microsoft's PE/COFF description, .rsrc section).

#include "ResourceName.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace WindowsApi {

class ModuleFile {
public:
    ModuleFile(ModuleFile&&) noexcept = default;
    ModuleFile& operator=(ModuleFile&&) noexcept = default;

    /// Takes the bytes of a file; empty when they are no module. Nothing in them is trusted, now or later.
    static std::optional<ModuleFile> Parse(std::vector<std::uint8_t> inBytes);

    /// The bytes of a resource, inside the file's; empty when there is none, or its place does not lie in the file.
    std::optional<std::span<const std::uint8_t>> Find(const ResourceName& inType, const ResourceName& inName) const;

    /// The names of a type, in the file's order.
    std::vector<ResourceName> NamesOf(const ResourceName& inType) const;

private:
    ModuleFile() = default;

    struct Section {
        std::uint32_t address = 0;
        std::uint32_t sizeInFile = 0;
        std::uint32_t offsetInFile = 0;
    };
    struct Entry {
        std::uint32_t name = 0;
        std::uint32_t child = 0;
    };

    std::span<const std::uint8_t> AtAddress(std::uint32_t inAddress) const;
    std::vector<Entry> EntriesOf(std::uint32_t inDirectory) const;
    std::optional<Entry> FindEntry(std::uint32_t inDirectory, const ResourceName& inName) const;
    std::optional<std::uint32_t> DirectoryOf(const ResourceName& inType) const;
    std::size_t LengthOf(const Entry& inEntry) const; ///< of a name's text; 0 for numbers
    ResourceName NameOf(const Entry& inEntry) const;

    std::vector<std::uint8_t> mBytes;
    std::vector<Section> mSections;
    std::span<const std::uint8_t> mResources; ///< from the root directory to the end of its section, in mBytes
};

} // namespace WindowsApi
