// Which directories a client accepts, and what its start and end do.

#include "BrokerFixture.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace framebroker {

using DirectoryTest = BrokerTest;

TEST_F(DirectoryTest, OnlyAPrivateDirectoryOfOnesOwnIsUsed) {
    const std::string good = mDirectory;
    const std::string link = good + "-link";
    const std::string file = good + "-file";
    std::filesystem::create_symlink(good, link);
    ::close(::open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0700));
    for (const std::string& path : {link, link + "/", file, good + "/missing/deeper", std::string(5000, 'x')}) {
        ::setenv("VF_SHAREHUB_DIR", path.c_str(), 1);
        EXPECT_FALSE(InitializeClient()) << path;
    }
    ::setenv("VF_SHAREHUB_DIR", (good + "//").c_str(), 1);
    for (const mode_t mode : {0777, 0750, 0701, 0500}) {
        ::chmod(good.c_str(), mode);
        EXPECT_FALSE(InitializeClient()) << std::oct << mode;
    }
    ::chmod(good.c_str(), 0700);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(good.c_str(), 1, 1), 0);
        EXPECT_FALSE(InitializeClient()) << "the owner is somebody else";
        ASSERT_EQ(::chown(good.c_str(), 0, 0), 0);
    }
    Writable writable;
    std::int32_t code = 0;
    EXPECT_EQ(GetWritableBinaryData(1, writable), kResult_NotInitialized);
    EXPECT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_NotInitialized);
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotInitialized);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), Readable(), Id(2)), kResult_NotInitialized);
    EXPECT_EQ(PutBinaryDataGenerationError(Id(1), -1), kResult_NotInitialized);
    EXPECT_EQ(GetGenerationError(Id(1), code), kResult_NotInitialized);
    EXPECT_EQ(SweepDeadBlocks(), 0U);
    EXPECT_TRUE(InitializeClient());
    EXPECT_EQ(PutBlock(Id(1), 10, 1), kResult_Success);
    EXPECT_EQ(std::filesystem::path(GetDirectory()), mDirectory);
    std::filesystem::remove(link);
    std::filesystem::remove(file);
}

TEST_F(DirectoryTest, MakesAMissingDirectoryForItsOwnerOnly) {
    const auto fresh = mDirectory / "fresh";
    ::setenv("VF_SHAREHUB_DIR", fresh.c_str(), 1);
    const mode_t mask = ::umask(0277);
    EXPECT_TRUE(InitializeClient());
    ::umask(mask);
    EXPECT_EQ(PutBlock(Id(1), 10, 1), kResult_Success);
    EXPECT_EQ(std::filesystem::status(fresh).permissions(), std::filesystem::perms(0700));
    EXPECT_EQ(std::filesystem::status(fresh / Id(1).ToString()).permissions(), std::filesystem::perms(0600));
    UninitializeClient();
    EXPECT_TRUE(std::filesystem::remove(fresh)) << "empty once the client has ended";
}

TEST_F(DirectoryTest, StartsAreCountedAndReferencesOutliveTheEnd) {
    UninitializeClient(); // without a start: nothing
    ASSERT_TRUE(InitializeClient());
    ASSERT_TRUE(InitializeClient());
    UninitializeClient();
    const Writable unput = MakeBlock(100, 1);
    Readable readable = PutAndOpen(Id(1), 100, 2);
    ASSERT_EQ(PutBlock(Id(2), 100, 3), kResult_Success);
    ASSERT_EQ(PutBinaryDataGenerationError(Id(3), -1), kResult_Success);
    EXPECT_EQ(GetClientStatistics().keptPuts, 2U);
    UninitializeClient();
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotInitialized);
    EXPECT_EQ(GetClientStatistics().keptPuts, 0U);
    EXPECT_EQ(Entries(), std::vector<std::string>({Id(1).ToString()}));
    EXPECT_EQ(AllEntries().size(), 3U) << "the homes of the block in use and of the private one, and the Guid";
    EXPECT_TRUE(Holds(readable, 100, 2));
    // A new start leaves what is in use alone.
    ASSERT_TRUE(InitializeClient());
    const Readable again = Open(Id(1));
    EXPECT_EQ(PutCompletedBinaryData(Id(4), unput), kResult_Success);
    UninitializeClient();
    readable.reset();
    EXPECT_TRUE(Holds(again, 100, 2));
}

} // namespace framebroker
