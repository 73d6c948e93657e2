#include "BitmapImport.h"

#include "ModuleBuilder.h"
#include "TestFrames.h"

#include <spng.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

namespace {

using namespace vftest;
using Bytes = std::vector<std::uint8_t>;

Bytes ReadAll(const std::string& name) {
    std::ifstream file(VF_BITMAP_FOLDER + ("/" + name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A bitmap file without the file header, which resources do not have.
Bytes Packed(const std::string& name) {
    const Bytes file = ReadAll(name);
    return {file.begin() + 14, file.end()};
}

/// The pixels of a PNG, top row first, red first.
Bytes Decode(const std::string& name) {
    const Bytes file = ReadAll(name);
    const std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> png(spng_ctx_new(0), spng_ctx_free);
    spng_set_png_buffer(png.get(), file.data(), file.size());
    std::size_t size = 0;
    EXPECT_EQ(spng_decoded_image_size(png.get(), SPNG_FMT_RGBA8, &size), 0) << name;
    Bytes pixels(size);
    EXPECT_EQ(spng_decode_image(png.get(), pixels.data(), size, SPNG_FMT_RGBA8, 0), 0) << name;
    return pixels;
}

class BitmapImportTest : public LibraryTest {
protected:
    void TearDown() override {
        UnregisterModuleResources(nullptr);
        LibraryTest::TearDown();
    }

    static TPixHand Import(const Bytes& packed, const RECT* size = nullptr) {
        UnregisterModuleResources(nullptr);
        EXPECT_TRUE(RegisterModuleResource(nullptr, MAKEINTRESOURCEW(7), RT_BITMAP, packed.data(),
                                           static_cast<DWORD>(packed.size())));
        return Bmp2TPix(7, nullptr, size);
    }
};

TEST_F(BitmapImportTest, BitmapsOfEveryConvertedDepthShowTheirPicture) {
    const struct {
        const char* bitmap;
        const char* picture; // null: a depth of which only the size is taken
    } cases[] = {{"pal4", "pal4"},         {"pal8", "pal8"},         {"pal8-0", "pal8"},       {"pal8rle", "pal8"},
                 {"pal8w124", "pal8w124"}, {"pal8w125", "pal8w125"}, {"pal8w126", "pal8w126"}, {"rgb24", "rgb24"},
                 {"rgb24pal", "rgb24"},    {"pal1", nullptr},        {"rgb16", nullptr},       {"rgb32", nullptr}};
    for (const auto& [bitmap, picture] : cases) {
        Bytes packed = Packed(std::string(bitmap) + ".bmp");
        const TPixHand plain = Import(packed);
        packed[0] = 124; // the same with a header of the fifth version
        packed.insert(packed.begin() + 40, 84, 0x55);
        const TPixHand hand = Import(packed);
        ASSERT_TRUE(plain != nullptr && hand != nullptr) << bitmap;
        const RECT bounds = (*hand)->bounds;
        const int height = bounds.bottom;
        EXPECT_EQ(height, Packed(std::string(bitmap) + ".bmp")[8]) << bitmap;
        const Bytes wanted = picture != nullptr ? Decode(std::string("expected/") + picture + ".png") : Bytes{};
        ASSERT_TRUE(wanted.empty() || wanted.size() == static_cast<std::size_t>(bounds.right * height) * 4) << bitmap;
        for (std::size_t i = 0; i < wanted.size(); i += 4) {
            const int x = static_cast<int>(i / 4) % bounds.right;
            const int y = static_cast<int>(i / 4) / bounds.right;
            const std::uint32_t pixel = tpixGetPixel(hand, x, y);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                // The pictures' colours of thirds and sixths are rounded down, the bitmaps' tables up.
                ASSERT_NEAR(static_cast<int>(pixel >> (16 - 8 * channel) & 255), wanted[i + channel], 1)
                    << bitmap << " at " << x << ", " << y;
            }
            ASSERT_EQ((*hand)->pixels[(height - 1 - y) * (*hand)->rowbytes + x * 4 + 3], 255);
            ASSERT_EQ(tpixGetPixel(plain, x, y), pixel) << bitmap;
        }
        tpixDispose(plain), tpixDispose(hand);
    }
}

TEST_F(BitmapImportTest, AnotherSizeScalesAndTheOwnSizeDoesNot) {
    const RECT own{5, 5, 132, 69};
    const TPixHand same = Import(Packed("rgb24.bmp"), &own);
    ASSERT_NE(same, nullptr);
    EXPECT_EQ((*same)->bounds.right, 127);
    const RECT half{0, 0, 64, 32};
    const TPixHand scaled = Import(Packed("rgb24.bmp"), &half);
    ASSERT_NE(scaled, nullptr);
    EXPECT_EQ((*scaled)->bounds.right, 64);
    for (const auto& [x, y] : {std::pair{10, 5}, {50, 20}, {20, 28}}) { // smooth places of the picture
        const std::uint32_t small = tpixGetPixel(scaled, x, y);
        const std::uint32_t large = tpixGetPixel(same, 2 * x, 2 * y);
        for (int shift = 0; shift < 24; shift += 8) {
            EXPECT_NEAR(static_cast<int>(small >> shift & 255), static_cast<int>(large >> shift & 255), 12) << x;
        }
    }
    tpixDispose(same), tpixDispose(scaled);
    for (const RECT& wrong : {RECT{9, 0, 3, 5}, RECT{0, 0, 2000000000, 2000000000}}) {
        const std::uint64_t live = KxGetLiveHandleCount();
        EXPECT_EQ(Import(Packed("rgb24.bmp"), &wrong), nullptr);
        EXPECT_EQ(KxGetLiveHandleCount(), live);
    }
}

TEST_F(BitmapImportTest, ResourcesThatLieAreReadOnlyAsFarAsTheyGo) {
    EXPECT_EQ(Bmp2TPix(1, nullptr, nullptr), nullptr);
    std::mt19937 random(4);
    for (const char* name : {"pal4.bmp", "pal8.bmp", "pal8rle.bmp", "rgb24.bmp"}) {
        const Bytes whole = Packed(name);
        for (int round = 0; round < 200; ++round) {
            Bytes packed = whole;
            for (int change = 0; change < 4; ++change) { // in the header, mostly
                packed[random() % (change == 0 ? packed.size() : 40)] = static_cast<std::uint8_t>(random());
            }
            for (const std::size_t high : {5, 6, 7, 9, 10, 11}) { // pictures of gigabytes would only cost time
                packed[high] = 0;
            }
            packed.resize(1 + random() % packed.size());
            if (const TPixHand hand = Import(packed)) {
                EXPECT_GE(packed.size(), 40U);
                tpixDispose(hand);
            }
        }
    }
    // A height above what 16 bits hold is cut, but the run goes on in the rows beyond it.
    const Bytes tall{40, 0, 0, 0, 4, 0, 0, 0, 1, 0, 1, 0, 1, 0, 8, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                     0,  0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 8, 1, 0, 1};
    const TPixHand row = Import(tall);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(tpixGetPixel(row, 3, 0), 9U);
    tpixDispose(row);
    Bytes flat = tall;
    flat[4] = 0;
    const TPixHand none = Import(flat);
    ASSERT_NE(none, nullptr) << "as tpixNew makes it";
    EXPECT_EQ((*none)->bounds.right, 0);
    tpixDispose(none);

    const TPixHand whole = Import(Packed("pal8.bmp"));
    Bytes cut = Packed("pal8.bmp");
    cut.resize(cut.size() - 2); // the top row has lost a pixel and its padding
    const TPixHand rest = Import(cut);
    ASSERT_TRUE(whole != nullptr && rest != nullptr);
    for (int x = 0; x < 127; ++x) {
        EXPECT_EQ(tpixGetPixel(rest, x, 0), 0U);
        EXPECT_EQ(tpixGetPixel(rest, x, 1), tpixGetPixel(whole, x, 1));
    }
    tpixDispose(whole), tpixDispose(rest);
}

TEST_F(BitmapImportTest, ModulesGiveTheirBitmapsByNumberAndName) {
    ModuleBuilder builder;
    builder.Add(3, u"", {0x407, 0x409}, Packed("pal4.bmp"));
    builder.Add(0, u"LOGO", {0x409, 0, 0x407}, Packed("pal8.bmp"));
    builder.Add(500, u"", {0x410}, Packed("rgb24.bmp"));
    const Bytes file = builder.Build();
    const std::filesystem::path path = mDirectory / "module.dll";
    const auto open = [&](const Bytes& bytes) {
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        return LoadLibraryExW(path.u16string().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    };
    const HMODULE module = open(file);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(LoadLibraryExW(path.u16string().c_str(), nullptr, 0), nullptr);
    std::vector<std::u16string> names;
    const auto note = [](HMODULE, LPCWSTR, LPCWSTR name, LONG_PTR list) -> BOOL {
        reinterpret_cast<std::vector<std::u16string>*>(list)->push_back(
            IS_INTRESOURCE(name) ? std::u16string(1, static_cast<char16_t>(reinterpret_cast<std::uintptr_t>(name)))
                                 : std::u16string(name));
        return TRUE;
    };
    EXPECT_TRUE(EnumResourceNamesW(module, RT_BITMAP, note, reinterpret_cast<LONG_PTR>(&names)));
    EXPECT_EQ(names, (std::vector<std::u16string>{u"LOGO", u"\x3", std::u16string(1, 500)}));

    const auto lastByte = [&](LPCWSTR name) {
        const HRSRC found = FindResourceW(module, name, RT_BITMAP);
        EXPECT_EQ(found, FindResourceW(module, name, u"#2"));
        const auto* data = static_cast<const std::uint8_t*>(LockResource(LoadResource(module, found)));
        return data[SizeofResource(module, found) - 1];
    };
    EXPECT_EQ(lastByte(MAKEINTRESOURCEW(3)), static_cast<std::uint8_t>(Packed("pal4.bmp").back() + 1)) << "US English";
    EXPECT_EQ(lastByte(u"logo"), static_cast<std::uint8_t>(Packed("pal8.bmp").back() + 1)) << "neutral";
    EXPECT_EQ(lastByte(u"#500"), Packed("rgb24.bmp").back());
    const TPixHand picture = Bmp2TPix(500, module, nullptr);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ((*picture)->bounds.right, 127);
    tpixDispose(picture);
    EXPECT_FALSE(RegisterModuleResource(module, u"LOGO", RT_BITMAP, "x", 1)) << "the name is taken";
    EXPECT_TRUE(RegisterModuleResource(module, u"LOGOS", MAKEINTRESOURCEW(3), "x", 1));
    const HRSRC registered = FindResourceW(module, u"LOGOS", MAKEINTRESOURCEW(3));
    EXPECT_EQ(FindResourceW(module, u"LOGOS", RT_BITMAP), nullptr);
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(3), MAKEINTRESOURCEW(3)), nullptr);
    const HRSRC stale = FindResourceW(module, u"LOGO", RT_BITMAP);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_FALSE(FreeLibrary(module));
    for (const HRSRC gone : {stale, registered}) {
        EXPECT_EQ(LockResource(LoadResource(module, gone)), nullptr);
    }
    EXPECT_EQ(LoadLibraryExW(u"/", nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
    EXPECT_EQ(LoadLibraryExW(u"/none", nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);

    // Damaged modules: cut anywhere, directories that loop, and bytes changed at random.
    Bytes loop = file;
    ModuleBuilder::Put(loop, ModuleBuilder::kTypeEntry + 4, 0x80000000U); // bitmaps lead back to the root
    std::vector<Bytes> damaged{loop, {'M', 'Z'}, {}};
    std::mt19937 random(8);
    for (int round = 0; round < 300; ++round) {
        Bytes changed = file;
        for (int change = 0; change < 3; ++change) {
            changed[random() % 700] = static_cast<std::uint8_t>(random());
        }
        changed.resize(random() % 3 == 0 ? random() % changed.size() : changed.size());
        damaged.push_back(changed);
    }
    for (const Bytes& bytes : damaged) {
        if (const HMODULE opened = open(bytes)) {
            EnumResourceNamesW(opened, RT_BITMAP, note, reinterpret_cast<LONG_PTR>(&names));
            for (const unsigned short id : {3, 500}) {
                if (const TPixHand hand = Bmp2TPix(id, opened, nullptr)) {
                    tpixDispose(hand);
                }
            }
            FreeLibrary(opened);
        }
    }
}

} // namespace
