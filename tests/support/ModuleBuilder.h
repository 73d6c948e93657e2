#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vftest {

/// A module file of one section, which holds bitmap resources: a 64-bit Portable Executable as small as it can be.
class ModuleBuilder {
public:
    static constexpr std::uint32_t kSectionAddress = 0x1000;
    static constexpr std::uint32_t kSectionOffset = 0x200;
    static constexpr std::uint32_t kTypeEntry = kSectionOffset + 16;

    /// A resource of a number or, with a text, of that name, in each of the languages.
    void Add(std::uint16_t number, std::u16string text, std::vector<std::uint16_t> languages,
             std::vector<std::uint8_t> content) {
        mResources.push_back({number, std::move(text), std::move(languages), std::move(content)});
    }

    std::vector<std::uint8_t> Build() const {
        std::vector<std::uint8_t> section;
        Put(section, 12, 0, 2), Put(section, 14, 1, 2);           // root: one type, by number
        Put(section, 16, 2), Put(section, 20, 0x80000000U + 24U); // bitmaps
        const std::size_t names = 24;
        const std::size_t texts = static_cast<std::size_t>(Texts());
        Put(section, names + 12, texts, 2), Put(section, names + 14, mResources.size() - texts, 2);
        std::size_t end = names + 16 + 8 * mResources.size();
        std::size_t entry = names + 16;
        for (const bool wantsText : {true, false}) {
            for (const Resource& resource : mResources) {
                if (resource.text.empty() == wantsText) {
                    continue;
                }
                Put(section, entry, wantsText ? 0x80000000U + end : resource.number);
                if (wantsText) {
                    Put(section, end, resource.text.size(), 2);
                    for (std::size_t i = 0; i < resource.text.size(); ++i) {
                        Put(section, end + 2 + 2 * i, resource.text[i], 2);
                    }
                    end += 2 + 2 * resource.text.size();
                }
                Put(section, entry + 4, 0x80000000U + end);
                entry += 8;
                Put(section, end + 14, resource.languages.size(), 2);
                std::size_t language = end + 16;
                end = language + 8 * resource.languages.size();
                std::uint8_t mark = 0;
                for (const std::uint16_t code : resource.languages) {
                    Put(section, language, code), Put(section, language + 4, end);
                    language += 8;
                    Put(section, end, kSectionAddress + end + 16), Put(section, end + 4, resource.content.size());
                    Put(section, end + 8, 0), Put(section, end + 12, 0);
                    section.resize(end + 16);
                    section.insert(section.end(), resource.content.begin(), resource.content.end());
                    section.back() = static_cast<std::uint8_t>(section.back() + mark++); // languages differ at the end
                    end = section.size();
                }
            }
        }
        std::vector<std::uint8_t> file{'M', 'Z'};
        Put(file, 0x3C, 0x40);
        Put(file, 0x40, 0x00004550); // "PE"
        Put(file, 0x46, 1, 2);       // sections
        Put(file, 0x54, 240, 2);     // size of the optional header
        Put(file, 0x58, 0x20B, 2);
        Put(file, 0x58 + 108, 16);
        Put(file, 0x58 + 128, kSectionAddress);
        const std::size_t table = 0x58 + 240;
        Put(file, table + 12, kSectionAddress), Put(file, table + 16, section.size());
        Put(file, table + 20, kSectionOffset);
        file.resize(kSectionOffset);
        file.insert(file.end(), section.begin(), section.end());
        return file;
    }

    /// Writes a little-endian number, making room for it.
    static void Put(std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t value, std::size_t size = 4) {
        bytes.resize(std::max(bytes.size(), offset + size));
        for (std::size_t i = 0; i < size; ++i) {
            bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
        }
    }

private:
    struct Resource {
        std::uint16_t number;
        std::u16string text;
        std::vector<std::uint16_t> languages;
        std::vector<std::uint8_t> content;
    };

    std::ptrdiff_t Texts() const {
        std::ptrdiff_t count = 0;
        for (const Resource& resource : mResources) {
            count += resource.text.empty() ? 0 : 1;
        }
        return count;
    }

    std::vector<Resource> mResources;
};

} // namespace vftest
