#include "BackgroundTool.h"
#include "LibavPictures.h"
#include "ModuleBuilder.h"
#include "ScreenPixels.h"
#include "VirtualDisplay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <set>

namespace tooltest {
namespace {

using vftest::ModuleBuilder;
using vftest::Pixels;
using vftest::Screen;
using vftest::VirtualDisplay;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr std::uint32_t kBackground = 0xFF8040;

/// The first picture of a PNG; the alpha is left out.
Pixels Read(const std::string& path) {
    const Decoded decoded = Decode(path);
    const AVFrame& picture = *decoded.pictures.at(0);
    Pixels pixels;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* pixel = picture.data[0] + static_cast<std::ptrdiff_t>(y) * picture.linesize[0];
        for (int x = 0; x < picture.width; ++x) {
            std::uint32_t value = 0;
            if (picture.format == AV_PIX_FMT_PAL8) {
                std::memcpy(&value, picture.data[1] + 4 * *pixel++, sizeof value);
            } else {
                value = static_cast<std::uint32_t>(pixel[0] << 16 | pixel[1] << 8 | pixel[2]);
                pixel += picture.format == AV_PIX_FMT_RGBA ? 4 : 3;
            }
            pixels.push_back(value & 0xFFFFFF);
        }
    }
    return pixels;
}

/// Asks every window of the display to close, as a window manager does.
void CloseWindows() {
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const auto atom = [&](const std::string& name) {
        const auto request = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(connection, request, nullptr), &std::free);
        return reply->atom;
    };
    const auto request = xcb_query_tree(connection, xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root);
    const std::unique_ptr<xcb_query_tree_reply_t, decltype(&std::free)> tree(
        xcb_query_tree_reply(connection, request, nullptr), &std::free);
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = xcb_query_tree_children(tree.get())[i];
        event.type = atom("WM_PROTOCOLS");
        event.data.data32[0] = atom("WM_DELETE_WINDOW");
        xcb_request_check(connection, xcb_send_event_checked(connection, 0, event.window, 0,
                                                             reinterpret_cast<const char*>(&event))); // it has arrived
    }
    xcb_disconnect(connection);
}

/// A picture whose pixels all differ, for each command to work on.
class PixmapCommands : public testing::Test {
protected:
    PixmapCommands() {
        setenv("VF_SHAREHUB_DIR", (mFolder / "shared").c_str(), 1);
        std::string file = "P6\n64 48\n255\n";
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const int codes[] = {x * 4, y * 5, (x ^ y) * 4};
                mSource.push_back(static_cast<std::uint32_t>(codes[0] << 16 | codes[1] << 8 | codes[2]));
                file.append(std::begin(codes), std::end(codes));
            }
        }
        WriteFile(mIn, file);
    }
    ~PixmapCommands() override { unsetenv("VF_SHAREHUB_DIR"); }

    /// What a command makes of the picture.
    Pixels Made(const std::string& command, const std::string& options) {
        mRun = RunTool(command + ' ' + mIn + ' ' + mOut + ' ' + options);
        EXPECT_EQ(mRun.exitCode, 0) << command << ' ' << options << '\n' << mRun.errors;
        return Read(mOut);
    }

    /// The source with each pixel taken from a place in it, or the colour where that lies outside.
    template <class Place>
    Pixels Moved(Place place, std::uint32_t colour) const {
        Pixels pixels;
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const auto [x, y] = place(i % kWidth, i / kWidth);
            const bool inside = x >= 0 && y >= 0 && x < kWidth && y < kHeight;
            pixels.push_back(inside ? mSource[static_cast<std::size_t>(y * kWidth + x)] : colour);
        }
        return pixels;
    }

    ScratchFolder mFolder;
    const std::string mIn = mFolder / "in.ppm";
    const std::string mOut = mFolder / "out.png";
    Pixels mSource;
    Result mRun;
};

using Place = std::pair<int, int>;

TEST_F(PixmapCommands, ShowPutsThePictureOnTheScreen) {
    EXPECT_EQ(RunTool("show " + mIn).exitCode, 9);
    const VirtualDisplay display("320x240x24");
    BackgroundTool show("show " + mIn);
    WaitUntil([&] { return Screen(kWidth, kHeight) == mSource; });
    const Result shown = show.End(SIGINT);
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_NE(shown.output.find("1 frame shown"), std::string::npos) << shown.output;
    EXPECT_NE(RunTool("show " + kCity + " --frames 5:8").output.find("3 frames shown"), std::string::npos);
    EXPECT_EQ(RunTool("show " + mIn + " --frames 5:").exitCode, 2);
}

TEST_F(PixmapCommands, MonitorShowsItsCompositesUntilItsWindowCloses) {
    const std::string monitor = "monitor " + mIn + ' ' + mIn + " --size 128x96 ";
    EXPECT_EQ(RunTool(monitor).exitCode, 2);
    EXPECT_EQ(RunTool(monitor + "--show").exitCode, 9);
    ASSERT_EQ(RunTool(monitor + "-o " + mOut).exitCode, 0);
    const Pixels composite = Read(mOut);
    const VirtualDisplay display("320x240x24");
    BackgroundTool run(monitor + "--show");
    WaitUntil([&] { return Screen(128, 96) == composite; });
    CloseWindows();
    const Result result = run.Wait();
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_NE(result.output.find("the screen: 1 composite"), std::string::npos) << result.output;
    EXPECT_TRUE(std::filesystem::is_empty(mFolder / "shared"));
}

TEST_F(PixmapCommands, WarpProjectsOntoTheCorners) {
    const std::string background = " --background FF8040";
    EXPECT_EQ(Made("warp", "--quad 0,0,64,0,64,48,0,48" + background), mSource);
    EXPECT_EQ(Made("warp", "--quad 64,0,0,0,0,48,64,48" + background),
              Moved([](int x, int y) { return Place(kWidth - 1 - x, y); }, kBackground));
    EXPECT_EQ(Made("warp", "--quad 9,5,73,5,73,53,9,53" + background),
              Moved([](int x, int y) { return Place(x - 9, y - 5); }, kBackground));
    EXPECT_EQ(RunTool("warp " + mIn + ' ' + mOut + " --quad 0,0,64,48,64,0,0,48").exitCode, 2); // crossed
}

TEST_F(PixmapCommands, PaletteMakesTheErrorThatItPrints) {
    double before = 1e9;
    for (const int colours : {4, 32, 256}) {
        const Pixels reduced = Made("palette", "--colors " + std::to_string(colours));
        EXPECT_LE(std::set(reduced.begin(), reduced.end()).size(), static_cast<std::size_t>(colours));
        double squares = 0;
        for (std::size_t i = 0; i < reduced.size(); ++i) {
            for (const int shift : {0, 8, 16}) {
                squares += std::pow((reduced[i] >> shift & 0xFF) - double(mSource[i] >> shift & 0xFF), 2);
            }
        }
        const std::string words = "mean squared error ";
        const double error = std::stod(mRun.output.substr(mRun.output.find(words) + words.size()));
        EXPECT_NEAR(error, squares / (3.0 * kWidth * kHeight), 0.006);
        EXPECT_LT(error, before / 2);
        before = error;
    }
    EXPECT_EQ(RunTool("palette " + mIn + ' ' + mOut + " --colors 257").exitCode, 2);
}

TEST_F(PixmapCommands, ConvolveWeighsTheNeighbours) {
    EXPECT_EQ(Made("convolve", "--kernel 0,0,0,0,1,0,0,0,0"), mSource);
    const Pixels leftTop = Made("convolve", "--kernel 1,0,0,0,0,0,0,0,0");
    const Pixels expected = Moved([](int x, int y) { return Place(x - 1, y - 1); }, 0);
    for (int y = 1; y < kHeight - 1; ++y) { // what is beyond the edges is not said
        const auto at = [&](const Pixels& pixels) { return pixels.begin() + y * kWidth + 1; };
        EXPECT_TRUE(std::equal(at(leftTop), at(leftTop) + kWidth - 2, at(expected))) << y;
    }
    EXPECT_EQ(RunTool("convolve " + mIn + ' ' + mOut + " --kernel 1,2,3").exitCode, 2);
}

TEST_F(PixmapCommands, PolyCutsOutTheShapeAlone) {
    EXPECT_EQ(Made("poly", "--points 8,4,40,4,40,20,8,20"),
              Moved([](int x, int y) { return Place(x >= 8 && x < 40 && y >= 4 && y < 20 ? x : -1, y); }, 0));
    EXPECT_EQ(RunTool("poly " + mIn + ' ' + mOut + " --points 1,2,3").exitCode, 2);
}

TEST_F(PixmapCommands, BmpListsAndWritesTheBitmapsOfAModule) {
    std::vector<std::uint8_t> bitmap(40 + 2 * 12); // 3 x 2, the lowest line first
    ModuleBuilder::Put(bitmap, 0, 40), ModuleBuilder::Put(bitmap, 4, 3), ModuleBuilder::Put(bitmap, 8, 2);
    ModuleBuilder::Put(bitmap, 12, 1, 2), ModuleBuilder::Put(bitmap, 14, 24, 2);
    const Pixels picture{0x112233, 0x445566, 0x778899, 0xAABBCC, 0xDDEEFF, 0x102030};
    for (std::size_t i = 0; i < picture.size(); ++i) {
        ModuleBuilder::Put(bitmap, 40 + (1 - i / 3) * 12 + i % 3 * 3, picture[i], 3);
    }
    ModuleBuilder builder;
    builder.Add(7, u"", {0x409}, bitmap);
    builder.Add(0, u"LOGO", {0x409}, bitmap);
    ModuleBuilder::Put(bitmap, 14, 1, 2); // of one bit, which is not converted
    builder.Add(9, u"", {0x409}, bitmap);
    const auto file = builder.Build();
    const std::string module = mFolder / "module.dll";
    WriteFile(module, {file.begin(), file.end()});
    const std::string list = RunTool("bmp " + module).output;
    EXPECT_NE(list.find("\n7  "), std::string::npos) << list;
    EXPECT_EQ(list.find("\"LOGO\" "), 0U) << list;
    EXPECT_EQ(RunTool("bmp " + module + " 7 " + mOut).exitCode, 0);
    EXPECT_EQ(Read(mOut), picture);
    EXPECT_EQ(RunTool("bmp " + module + " 7").exitCode, 2);
    EXPECT_EQ(RunTool("bmp " + module + " 8 " + mOut).exitCode, 4);
    EXPECT_EQ(RunTool("bmp " + module + " 9 " + mOut).exitCode, 6);
    EXPECT_EQ(RunTool("bmp " + mIn).exitCode, 4);
}

} // namespace
} // namespace tooltest
