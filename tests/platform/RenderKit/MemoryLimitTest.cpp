#include "MemoryLimit.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST(MemoryLimitTest, IsTheSmallestOfTheGroupsAroundTheProcess) {
    const fs::path root = fs::path(::testing::TempDir()) / ("groups-" + std::to_string(getpid()));
    const auto write = [&](const fs::path& file, const char* text) {
        fs::create_directories((root / file).parent_path());
        std::ofstream(root / file) << text;
    };
    const auto limit = [&](const char* membership) {
        write("membership", membership);
        return RK::Details::MemoryLimitInBytes(root / "membership", root);
    };
    const std::uint64_t machine = limit("");
    EXPECT_GT(machine, 8192000U);
    write("a/b/memory.max", "max\n");
    write("a/memory.max", "4096000\n");
    write("memory/x/memory.limit_in_bytes", "8192000\n");
    write("memory/memory.limit_in_bytes", "9223372036854771712\n");
    write("unified/c/memory.max", "2048000\n");
    EXPECT_EQ(limit("0::/a/b\n"), 4096000U) << "the limit of an outer group counts";
    EXPECT_EQ(limit("4:memory:/x\n1:cpu:/a\n0::/other\n"), 8192000U);
    EXPECT_EQ(limit("3:cpu,memory:/y\n0::/\n"), machine) << "the largest number is no limit";
    EXPECT_EQ(limit("4:memory:/x\n0::/c/gone\n"), 2048000U);
    write("memory.max", "1024000\n");
    EXPECT_EQ(limit("0::/path/outside/the/container\n"), 1024000U);
    fs::remove_all(root);
}

} // namespace
