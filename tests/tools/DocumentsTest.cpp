#include "ToolProcess.h"
#include "zynmediatypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace tooltest {
namespace {

std::string Document(const std::string& name) {
    return ReadFile(kSourceFolder + '/' + name);
}

TEST(Documents, FormatsPageIsWhatTheToolPrints) {
    EXPECT_EQ(RunTool("formats --markdown").output, Document("docs/formats.md"))
        << "vf formats --markdown > docs/formats.md";
    const std::string json = RunTool("formats --json").output;
    EXPECT_EQ(std::count(json.begin(), json.end(), '{'), std::ssize(zynmediatypes::kPixelFormatTable));
}

TEST(Documents, ReadmeShowsTheExampleAsItIsBuilt) {
    const std::string example = Document("examples/road_of_a_frame.cpp");
    ASSERT_FALSE(example.empty());
    EXPECT_NE(Document("README.md").find("```cpp\n" + example + "```"), std::string::npos);
    const Result run = RunProgram(VF_EXAMPLE_BINARY);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "bottom 0, top 255\n");
}

TEST(Documents, AnExplanationTellsThePlan) {
    EXPECT_EQ(RunTool("explain bgra:1024x512 argb").output, "1024x512 bgra to 1024x512 argb\n"
                                                            "path       shuffle\n"
                                                            "filter     none\n"
                                                            "bands      1\n"
                                                            "temporary  0 bytes (0.0 MiB)\n"
                                                            "moved      4194304 bytes (4.0 MiB)\n");
    const std::string fields = RunTool("explain v210:70x8:upper yv12:35x4:lower --quality 4").output;
    EXPECT_NE(fields.find("first\npath       scale fields\nfilter     lanczos3\n"), std::string::npos) << fields;
    EXPECT_NE(fields.find("moved      1748 bytes"), std::string::npos) << fields; // 8 * 12 * 16 and 35 * 4 + 2 * 18 * 2
}

TEST(Documents, EveryPackageHasItsReason) {
    const std::string reasons = Document("docs/dependencies.md");
    const std::string setup = Document("scripts/setup");
    const std::size_t list = setup.find("packages=(\n") + 11;
    std::istringstream lines(setup.substr(list, setup.find("\n)", list) - list));
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        for (std::string package; words >> package; ++count) {
            EXPECT_NE(reasons.find('`' + package + '`'), std::string::npos) << package;
        }
    }
    EXPECT_GT(count, 15);
}

} // namespace
} // namespace tooltest
