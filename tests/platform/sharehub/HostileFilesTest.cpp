// What another process of the same user can put into the directory, or do to a block's file.

#include "BrokerFixture.h"

#include <functional>

namespace framebroker {

using HostileFilesTest = ClientTest;
namespace fs = std::filesystem;

TEST_F(HostileFilesTest, EntriesThatAreNoFilesAreNeitherFollowedNorReplaced) {
    const fs::path outside = mDirectory.string() + "-outside";
    std::ofstream(outside) << "outside";
    const fs::path target = PathOf(Id(1));
    const Readable other = PutAndOpen(Id(2), 10, 2);
    const std::pair<const char*, std::function<void()>> entries[] = {
        {"link outside", [&] { fs::create_symlink(outside, target); }},
        {"link to a block", [&] { fs::create_symlink(PathOf(Id(2)), target); }},
        {"link to a directory", [&] { fs::create_directory_symlink(mDirectory, target); }},
        {"FIFO", [&] { ASSERT_EQ(::mkfifo(target.c_str(), 0600), 0); }},
        {"directory", [&] { fs::create_directory(target); }},
        {"socket", [&] { ASSERT_EQ(::mknod(target.c_str(), S_IFSOCK | 0600, 0), 0); }},
    };
    for (const auto& [what, make] : entries) {
        SCOPED_TRACE(what);
        make();
        EXPECT_LT(ResultOfGet(Id(1)), 0);
        EXPECT_LT(PutBlock(Id(1), 10, 1), 0);
        EXPECT_LT(MakeBinaryDataAlias(Id(2), other, Id(1)), 0);
        EXPECT_EQ(MakeBinaryDataAlias(Id(1), other, Id(3)), kResult_NotFound);
        EXPECT_EQ(SweepDeadBlocks(), 0U);
        EXPECT_TRUE(fs::remove(target)) << "left as it was found";
    }
    EXPECT_TRUE(Holds(other, 10, 2));
    EXPECT_EQ(fs::file_size(outside), 7U);
    fs::remove(outside);
}

TEST_F(HostileFilesTest, FilesThatNobodyHoldsAreDeadWhateverTheyContain) {
    for (const std::string& content : {std::string(), std::string("garbage"), std::string(1 << 20, '\xff')}) {
        std::ofstream(PathOf(Id(1))) << content;
        std::ofstream(PathOf(Id(2))) << content;
        std::ofstream(mDirectory / "private-1-1") << content;
        EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound);
        EXPECT_EQ(PutBlock(Id(2), 10, 1), kResult_Success);
        EXPECT_EQ(SweepDeadBlocks(), 1U);
        DropPuts();
    }
    // Of a file from elsewhere the name goes, and nothing else happens to it.
    const fs::path outside = mDirectory.string() + "-outside";
    std::ofstream(outside) << "outside";
    for (const fs::path& name : {PathOf(Id(1)), HomeOf(outside), mDirectory / "block-1"}) {
        fs::create_hard_link(outside, name);
        EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound);
        SweepDeadBlocks();
        EXPECT_EQ(Entries(), std::vector<std::string>()) << name;
    }
    EXPECT_TRUE(fs::file_size(outside) == 7 && fs::hard_link_count(outside) == 1);
    fs::remove(outside);
    std::ofstream(mDirectory / "somebody-elses") << "file";
    EXPECT_EQ(SweepDeadBlocks(), 0U);
    EXPECT_TRUE(fs::remove(mDirectory / "somebody-elses"));
}

TEST_F(HostileFilesTest, SizesAreThoseOfTheFileNowButNeverBeyondTheMapping) {
    const Writable writable = MakeBlock(8192, 1);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_Success);
    const Readable reference = Open(Id(1));
    for (const std::uint64_t size : {4096, 5, 8192, 100'000, 0}) {
        fs::resize_file(PathOf(Id(1)), size);
        EXPECT_EQ(reference->GetSize(), std::min<std::uint64_t>(size, 8192));
        EXPECT_EQ(writable->GetSize(), std::min<std::uint64_t>(size, 8192));
    }
    EXPECT_TRUE(TrueInClientProcess([] { return ResultOfGet(Id(1)) == kResult_Damaged; }));
    const fs::path home = HomeOf(PathOf(Id(1)));
    fs::resize_file(home, 8192);
    EXPECT_EQ(reference->GetSize(), 8192U);
    fs::remove(home);
    EXPECT_EQ(reference->GetSize(), 0U) << "nobody can tell any more";
    std::ofstream(home) << "another file under the name";
    EXPECT_EQ(reference->GetSize(), 0U);

    // A block that is too short when it is put is refused.
    const Writable shortened = MakeBlock(8192, 1);
    for (const std::string& entry : AllEntries()) {
        if (mDirectory / entry != home && entry.starts_with("block-") && fs::file_size(mDirectory / entry) == 8192) {
            fs::resize_file(mDirectory / entry, 8191);
        }
    }
    EXPECT_EQ(PutCompletedBinaryData(Id(2), shortened), kResult_Damaged);
    fs::remove(home);
}

TEST_F(HostileFilesTest, AllNamesGoWhateverBecameOfTheirList) {
    const std::function<void(const fs::path&)> attacks[] = {
        [](const fs::path& list) { fs::remove(list); },
        [](const fs::path& list) { std::ofstream(list) << "garbage of an odd length"; },
        [](const fs::path& list) { fs::resize_file(list, 16); },
        [](const fs::path& list) {
            const Guid others[] = {Id(7), Id(7)};
            std::ofstream(list, std::ios::binary).write(reinterpret_cast<const char*>(others), sizeof(others));
        },
        [](const fs::path& list) { ASSERT_TRUE(fs::remove(list) && ::mkfifo(list.c_str(), 0600) == 0); },
        [](const fs::path& list) { fs::remove(list), fs::create_symlink("/proc/self/mem", list); },
    };
    const Writable innocent = MakeBlock(10, 7);
    ASSERT_EQ(PutCompletedBinaryData(Id(7), innocent), kResult_Success);
    for (const auto& attack : attacks) {
        Readable reference = PutAndOpen(Id(1), 10, 1);
        ASSERT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_Success);
        ASSERT_EQ(MakeBinaryDataAlias(Id(2), reference, Id(3)), kResult_Success);
        for (const std::string& entry : Entries()) {
            if (entry.starts_with("aliases-")) {
                attack(mDirectory / entry);
            }
        }
        (void)MakeBinaryDataAlias(Id(1), reference, Id(4)); // may fail, may not
        reference.reset();
        DropPuts();
        EXPECT_EQ(Entries(), std::vector<std::string>({Id(7).ToString()})) << "and no name of another block";
    }
}

TEST_F(HostileFilesTest, HomesThatAreTakenMakeNoBlockFail) {
    struct stat status {};
    std::ofstream(mDirectory / "probe") << "x";
    ASSERT_EQ(::stat((mDirectory / "probe").c_str(), &status), 0);
    // Numbers of files are given one after the other where the test runs.
    for (ino_t next = status.st_ino; next < status.st_ino + 600; next += 4) {
        fs::create_symlink("/dev/zero", HomeOf(next));
        fs::create_directory(HomeOf(next + 1));
        fs::create_hard_link(mDirectory / "probe", HomeOf(next + 2));
    }
    for (std::uint32_t n = 0; n < 100; ++n) {
        const Readable reference = PutAndOpen(Id(n), 5000, static_cast<unsigned char>(n));
        ASSERT_TRUE(Holds(reference, 5000, static_cast<unsigned char>(n))) << n;
        ASSERT_EQ(MakeBinaryDataAlias(Id(n), reference, Id(n + 1000)), kResult_Success);
    }
    UninitializeClient();
    EXPECT_EQ(Entries(), std::vector<std::string>({"probe"}));
    for (const std::string& entry : AllEntries()) {
        EXPECT_FALSE(entry != "probe" && fs::is_regular_file(fs::symlink_status(mDirectory / entry)) &&
                     fs::hard_link_count(mDirectory / entry) == 1);
        fs::remove(mDirectory / entry);
    }
}

TEST_F(HostileFilesTest, GenerationErrorsThatAreNoneReadAsNone) {
    const fs::path error = mDirectory / ("error-" + Id(1).ToString());
    for (const char* text : {"/dev/zero", "12x", "99999999999", "-", "+1"}) {
        fs::create_symlink(text, error);
        std::int32_t code = 0;
        EXPECT_EQ(GetGenerationError(Id(1), code), kResult_NotFound) << text;
        EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound) << text;
        EXPECT_EQ(PutBinaryDataGenerationError(Id(1), -4), kResult_Success);
        EXPECT_EQ(GetGenerationError(Id(1), code), kResult_Success);
        fs::remove(error);
    }
    fs::create_directory(error);
    EXPECT_EQ(PutBinaryDataGenerationError(Id(1), -4), kResult_Damaged);
    EXPECT_EQ(PutBlock(Id(1), 10, 1), kResult_Success);
    fs::remove(error);
}

} // namespace framebroker
