#include "Peers.h"

#include <fcntl.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <string>

namespace {

/// Memory that processes forked later share; unmapped at the end.
class SharedMemory {
public:
    explicit SharedMemory(std::size_t size)
        : mSize(size), mData(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        Require(mData != MAP_FAILED, "mapping shared memory");
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory() { ::munmap(mData, mSize); }
    std::uint8_t* Bytes() const { return static_cast<std::uint8_t*>(mData); }

private:
    std::size_t mSize;
    void* mData;
};

/// A semaphore that processes forked later share.
class SharedSemaphore {
public:
    SharedSemaphore() { Require(::sem_init(Get(), 1, 0) == 0, "making a semaphore"); }
    void Post() { ::sem_post(Get()); }
    void Wait() {
        while (::sem_wait(Get()) != 0) {
        }
    }

private:
    sem_t* Get() { return reinterpret_cast<sem_t*>(mMemory.Bytes()); }
    SharedMemory mMemory{sizeof(sem_t)};
};

class Ring final : public Channel {
public:
    Ring() { std::memset(mFrames.Bytes(), 1, kSlots * kFrameBytes); }
    const char* Name() const override { return "ring mapped once, semaphore"; }
    void Send(std::uint32_t) override { mFilled.Post(); }
    const volatile std::uint8_t* Receive(std::uint32_t number) override {
        mFilled.Wait();
        return mFrames.Bytes() + (number % kSlots) * kFrameBytes;
    }

private:
    static constexpr std::size_t kSlots = 8;
    SharedMemory mFrames{kSlots * kFrameBytes};
    SharedSemaphore mFilled;
};

class FreshObjects final : public Channel {
public:
    const char* Name() const override { return "fresh shared object"; }
    bool Copies() const override { return true; }
    void Send(std::uint32_t number) override {
        const int file = ::shm_open(NameOf(number).c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
        Require(file >= 0 && ::ftruncate(file, static_cast<off_t>(kFrameBytes)) == 0, "making a shared object");
        void* const address = ::mmap(nullptr, kFrameBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        Require(address != MAP_FAILED, "mapping a shared object");
        ::close(file);
        std::memcpy(address, mSource.data(), kFrameBytes);
        ::munmap(address, kFrameBytes);
        mFilled.Post();
    }
    const volatile std::uint8_t* Receive(std::uint32_t number) override {
        mFilled.Wait();
        const int file = ::shm_open(NameOf(number).c_str(), O_RDONLY | O_CLOEXEC, 0);
        mMapped = ::mmap(nullptr, kFrameBytes, PROT_READ, MAP_SHARED, file, 0);
        Require(mMapped != MAP_FAILED, "mapping a received object");
        ::close(file);
        return static_cast<const std::uint8_t*>(mMapped);
    }
    void Release(std::uint32_t number) override {
        ::munmap(mMapped, kFrameBytes);
        ::shm_unlink(NameOf(number).c_str());
    }

private:
    static std::string NameOf(std::uint32_t number) { return "/vf-sharing-bench-" + std::to_string(number); }
    std::vector<std::uint8_t> mSource = std::vector<std::uint8_t>(kFrameBytes, 1);
    SharedSemaphore mFilled;
    void* mMapped = nullptr;
};

/// Whole frames through a pair of descriptors.
class Stream final : public Channel {
public:
    Stream(const char* name, std::array<int, 2> ends) : mName(name), mReadEnd(ends[0]), mWriteEnd(ends[1]) {}
    ~Stream() override {
        ::close(mReadEnd);
        ::close(mWriteEnd);
    }
    const char* Name() const override { return mName; }
    bool Copies() const override { return true; }
    void Send(std::uint32_t) override {
        for (std::size_t done = 0; done < kFrameBytes;) {
            const ssize_t written = ::write(mWriteEnd, mSource.data() + done, kFrameBytes - done);
            Require(written > 0, "writing to a stream");
            done += static_cast<std::size_t>(written);
        }
    }
    const volatile std::uint8_t* Receive(std::uint32_t) override {
        for (std::size_t done = 0; done < kFrameBytes;) {
            const ssize_t count = ::read(mReadEnd, mReceived.data() + done, kFrameBytes - done);
            Require(count > 0, "reading from a stream");
            done += static_cast<std::size_t>(count);
        }
        return mReceived.data();
    }

private:
    const char* mName;
    int mReadEnd;
    int mWriteEnd;
    std::vector<std::uint8_t> mSource = std::vector<std::uint8_t>(kFrameBytes, 1);
    std::vector<std::uint8_t> mReceived = std::vector<std::uint8_t>(kFrameBytes);
};

constexpr int kStreamBufferBytes = 1 << 20;

std::unique_ptr<Channel> MakePipe() {
    std::array<int, 2> ends{};
    Require(::pipe2(ends.data(), O_CLOEXEC) == 0, "making a pipe");
    ::fcntl(ends[1], F_SETPIPE_SZ, kStreamBufferBytes); // a system that allows less gives less
    return std::make_unique<Stream>("pipe", ends);
}

std::unique_ptr<Channel> MakeSocket() {
    std::array<int, 2> ends{};
    Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0, "making a socket");
    ::setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &kStreamBufferBytes, sizeof(kStreamBufferBytes));
    return std::make_unique<Stream>("Unix socket", ends);
}

} // namespace

std::vector<std::unique_ptr<Channel>> MakePeers() {
    std::vector<std::unique_ptr<Channel>> peers;
    peers.push_back(std::make_unique<Ring>());
    peers.push_back(std::make_unique<FreshObjects>());
    peers.push_back(MakePipe());
    peers.push_back(MakeSocket());
    return peers;
}
