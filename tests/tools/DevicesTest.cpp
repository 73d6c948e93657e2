#include "ToolProcess.h"

#include <gtest/gtest.h>

namespace tooltest {
namespace {

// The tool on a machine with a GPU, as far as a driver over host memory has one.
Result RunToolWithFakeGpu(const std::string& arguments) {
    return RunProgram(std::string("LD_LIBRARY_PATH='") + VF_FAKE_DRIVER_FOLDER + "' '" + VF_TOOL_BINARY + "' " +
                      arguments);
}

TEST(Devices, AreListedWithTheirMemory) {
    const std::string here = RunTool("devices").output;
    EXPECT_NE(here.find("host memory\n"), std::string::npos) << here;
    const std::string fake = RunToolWithFakeGpu("devices").output;
    EXPECT_NE(fake.find("\n0     GPU        67.1 MB     67.1 MB  Fake GPU 0\n1     host "), std::string::npos) << fake;
    EXPECT_NE(fake.find("host memory\nCUDA driver 12.4\n"), std::string::npos) << fake;
}

// The way through a device changes no byte.
TEST(Devices, FramesComeBackAsTheyWere) {
    const ScratchFolder folder;
    for (const std::string format : {"bgra", "BGra", "v210", "yv12", "uyvy"}) {
        const auto convert = [&](const auto& run, const std::string& option) {
            const Result result = run("convert " + kCity + " " + (folder / "o.y4m") +
                                      " --frames 3:6 --size 64x36 --format " + format + option);
            EXPECT_EQ(result.exitCode, 0) << result.errors;
            return ReadFile(folder / "o.y4m");
        };
        const std::string straight = convert(RunTool, "");
        EXPECT_GT(straight.size(), 3U * 64 * 36);
        EXPECT_EQ(convert(RunTool, " --via-device host"), straight) << format;
        EXPECT_EQ(convert(RunTool, " --via-device 0"), straight) << format;
        EXPECT_EQ(convert(RunToolWithFakeGpu, " --via-device 0"), straight) << format;
    }
    const Result tooLarge = RunToolWithFakeGpu("convert " + kCity + " " + (folder / "o.png") +
                                               " --size 4096x4096 --format BGra --via-device 0");
    EXPECT_EQ(tooLarge.exitCode, 1);
    EXPECT_NE(tooLarge.errors.find("device 0 (Fake GPU 0) has no memory for 4096x4096 BGra"), std::string::npos)
        << tooLarge.errors;
}

} // namespace
} // namespace tooltest
