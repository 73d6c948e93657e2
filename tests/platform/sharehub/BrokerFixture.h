#pragma once

#include "sharehub.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

namespace framebroker {

using zyncore::utility::Guid;
using Readable = boost::shared_ptr<BinaryReference>;
using Writable = boost::shared_ptr<WritableBinaryReference>;

inline Guid Id(std::uint32_t number) {
    return Guid(number, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10});
}

/// A block whose bytes all follow from seed.
inline Writable MakeBlock(std::uint64_t sizeInBytes, unsigned char seed) {
    Writable block;
    if (GetWritableBinaryData(sizeInBytes, block) == kResult_Success) {
        void* const data = block->AcquireDataPointer();
        std::memset(data, seed, sizeInBytes);
        block->ReleaseDataPointer(data);
    }
    return block;
}

inline std::int32_t PutBlock(const Guid& id, std::uint64_t sizeInBytes, unsigned char seed) {
    return PutCompletedBinaryData(id, MakeBlock(sizeInBytes, seed));
}

/// Whether a reference answers a block of sizeInBytes bytes of seed.
inline bool Holds(const Readable& reference, std::uint64_t sizeInBytes, unsigned char seed) {
    if (!reference || reference->GetSize() != sizeInBytes) {
        return false;
    }
    const auto* data = static_cast<const unsigned char*>(reference->AcquireDataPointer());
    bool same =
        data != nullptr && data[0] == seed && (sizeInBytes == 1 || std::memcmp(data, data + 1, sizeInBytes - 1) == 0);
    reference->ReleaseDataPointer(data);
    return same;
}

inline std::int32_t ResultOfGet(const Guid& id) {
    Readable reference;
    return GetBinaryDataIfAvailable(id, reference);
}

/// The block under id, null without one.
inline Readable Open(const Guid& id) {
    Readable reference;
    GetBinaryDataIfAvailable(id, reference);
    return reference;
}

inline Readable PutAndOpen(const Guid& id, std::uint64_t sizeInBytes, unsigned char seed) {
    EXPECT_EQ(PutBlock(id, sizeInBytes, seed), kResult_Success);
    return Open(id);
}

/// An object that processes forked later share.
template <class T>
class Shared {
public:
    Shared()
        : mObject(new (::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) T()) {}
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() { ::munmap(mObject, sizeof(T)); }
    T& operator*() const { return *mObject; }
    T* operator->() const { return mObject; }

private:
    T* mObject;
};
using Counter = Shared<std::atomic<unsigned>>;

inline void WaitUntil(const Counter& counter, unsigned value) {
    while (counter->load() < value) {
        ::sched_yield();
    }
}

/// Starts a process that runs body and exits with 0 when body answers true.
template <class Body>
pid_t Spawn(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body() ? 0 : 1);
    }
    return child;
}

/// Waits for a process; 0 when it ended well, its status otherwise.
inline int Wait(pid_t child) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
}

/// Whether body answers true in a process of its own with a client of its own.
template <class Body>
bool TrueInClientProcess(Body body) {
    return Wait(Spawn([&] {
               const bool good = InitializeClient() && body();
               UninitializeClient();
               return good;
           })) == 0;
}

/// Stops a process, or waits until it has stopped by itself.
inline void WaitUntilStopped(pid_t child, bool stop = false) {
    int status = 0;
    EXPECT_TRUE(!stop || ::kill(child, SIGSTOP) == 0);
    EXPECT_EQ(::waitpid(child, &status, WUNTRACED), child);
    EXPECT_TRUE(WIFSTOPPED(status)) << status;
}

inline unsigned OpenDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<unsigned>(std::distance(begin(all), end(all)));
}

/// Mappings that this process has of blocks, whether their names are left or not.
inline unsigned MappedBlocks() {
    std::ifstream maps("/proc/self/maps");
    unsigned count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find("vf-sharehub-test-") != std::string::npos ? 1 : 0;
    }
    return count;
}

inline DirectoryContents List() {
    DirectoryContents contents;
    EXPECT_EQ(ListBlocks(contents), kResult_Success);
    return contents;
}

/// The block that has a Guid among its names, null without one.
inline const BlockDescription* Find(const DirectoryContents& contents, const Guid& id) {
    const auto found = std::ranges::find_if(
        contents.blocks, [&](const BlockDescription& block) { return std::ranges::count(block.ids, id) > 0; });
    return found == contents.blocks.end() ? nullptr : &*found;
}

/// Every test has a directory of its own, and nothing may be left in it.
class BrokerTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::filesystem::path shared = "/dev/shm";
        std::string path = (std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path()) /
                           "vf-sharehub-test-XXXXXX";
        ASSERT_NE(::mkdtemp(path.data()), nullptr);
        mDirectory = path;
        ::setenv("VF_SHAREHUB_DIR", path.c_str(), 1);
        SetPutBudget(kDefaultPutBudget);
    }

    void TearDown() override {
        UninitializeClient();
        EXPECT_EQ(AllEntries(), std::vector<std::string>());
        ::unsetenv("VF_SHAREHUB_DIR");
        std::filesystem::remove_all(mDirectory);
    }

    /// Drops the references that the client keeps of its own.
    static void DropPuts() {
        SetPutBudget(0);
        SetPutBudget(kDefaultPutBudget);
    }

    std::vector<std::string> AllEntries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(mDirectory)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    /// Without the blocks' home names, which idle blocks of live clients have too.
    std::vector<std::string> Entries() const {
        std::vector<std::string> names = AllEntries();
        std::erase_if(names, [](const std::string& name) { return name.starts_with("block-"); });
        return names;
    }

    std::filesystem::path PathOf(const Guid& id) const { return mDirectory / id.ToString(); }

    /// The name after its inode that a block has beside its Guids.
    std::filesystem::path HomeOf(const std::filesystem::path& path) const {
        struct stat status {};
        ::stat(path.c_str(), &status);
        return HomeOf(status.st_ino);
    }
    std::filesystem::path HomeOf(ino_t inode) const {
        std::array<char, 32> name{};
        std::snprintf(name.data(), name.size(), "block-%016llx", static_cast<unsigned long long>(inode));
        return mDirectory / name.data();
    }

    std::filesystem::path mDirectory;
};

/// With a client started.
class ClientTest : public BrokerTest {
protected:
    void SetUp() override {
        BrokerTest::SetUp();
        ASSERT_TRUE(InitializeClient());
    }
};

} // namespace framebroker
