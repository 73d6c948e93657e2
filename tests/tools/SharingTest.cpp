#include "BackgroundTool.h"
#include "LibavPictures.h"
#include "SharedMemoryFormat.h"
#include "sharehub.h"

#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tooltest {
namespace {

using framebroker::kResult_Success;
using zyncore::utility::Guid;

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// Each test shares frames in a folder of its own.
class Sharing : public testing::Test {
protected:
    Sharing() { setenv("VF_SHAREHUB_DIR", mShared.c_str(), 1); }
    ~Sharing() override { unsetenv("VF_SHAREHUB_DIR"); }

    std::size_t NamesLeft() const {
        const std::filesystem::directory_iterator entries(mShared);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    ScratchFolder mFolder;
    const std::string mShared = mFolder / "shared";
};

TEST_F(Sharing, AnyProcessFindsAFrameByNameAndIndex) {
    BackgroundTool publisher("publish " + kCockatoo + " --name c --frames 8:20 --every 4 --rate max");
    ASSERT_EQ(RunTool("dump c:16 " + (mFolder / "16.png") + " --wait 60").exitCode, 0);
    const std::string list = RunTool("list --json").output;
    // As another implementation of name-based identifiers has them.
    const std::map<std::string, std::string> ids{{"c", "2197cffe-8560-55b3-97e7-367b0e39a666"},
                                                 {"c:8", "3462cb93-8e9c-578d-a25d-3fd099992518"},
                                                 {"c:12", "1e74b5b0-7a31-5a48-8202-9773c8ff1d77"},
                                                 {"c:16", "abb4d4f1-5818-5997-affe-495a8b1caa63"}};
    for (const auto& [name, id] : ids) {
        const std::string wanted = std::string(R"("ids":[")").append(id).append(R"("],"name":")").append(name);
        EXPECT_EQ(Count(list, wanted + '"'), 1U) << list;
    }
    EXPECT_EQ(Count(list, R"("width":1280,"height":720,"format":"yv17")"), 3U) << list;
    // The publisher holds all four, and nobody else holds any.
    const std::string holder = R"("pid":)" + std::to_string(publisher.Process()) + R"(,"command":"vf")";
    EXPECT_EQ(Count(list, R"("holders":[{)" + holder + "}]"), 4U) << list;
    EXPECT_NE(list.find(holder + R"(,"blocks":4,)"), std::string::npos) << list;

    RunTool("dump 1e74b5b0-7a31-5a48-8202-9773c8ff1d77 " + (mFolder / "12.png"));
    RunTool("convert " + kCockatoo + " " + (mFolder / "own-%d.png") + " --frames 12:17");
    EXPECT_EQ(ReadFile(mFolder / "12.png"), ReadFile(mFolder / "own-12.png"));
    EXPECT_EQ(ReadFile(mFolder / "16.png"), ReadFile(mFolder / "own-16.png"));

    // The clip's end stands under the Guid of the frame that would follow; a second publisher may not mix in.
    EXPECT_NE(RunTool("dump c:20 " + (mFolder / "20.png") + " --wait 60").errors.find("will not come"),
              std::string::npos);
    EXPECT_EQ(RunTool("publish " + kCity + " --name c").exitCode, 8);
    const Result ended = publisher.End(SIGINT);
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_NE(ended.output.find("3 frames published"), std::string::npos) << ended.output;
    EXPECT_EQ(NamesLeft(), 0U);
}

TEST_F(Sharing, AReceiverGetsEveryFrameOfAClipAndItsEnd) {
    BackgroundTool receiver("receive city-720x405 " + (mFolder / "received.y4m"));
    BackgroundTool publisher("publish " + kCity + " --frames 5:35 --rate 60 --hold 60");
    const Result received = receiver.Wait();
    EXPECT_EQ(received.exitCode, 0) << received.errors;
    EXPECT_NE(received.output.find("30 frames"), std::string::npos) << received.output;
    RunTool("convert " + kCity + " " + (mFolder / "own.y4m") + " --frames 5:35 --format yv12");
    EXPECT_TRUE(ReadFile(mFolder / "received.y4m") == ReadFile(mFolder / "own.y4m"));

    // One who comes when all is over takes what is held: from the first frame, or from the one chosen.
    RunTool("receive city-720x405 " + (mFolder / "late-%d.png") + " --frames 33:");
    EXPECT_FALSE(std::filesystem::exists(mFolder / "late-32.png"));
    EXPECT_TRUE(std::filesystem::exists(mFolder / "late-33.png") && std::filesystem::exists(mFolder / "late-34.png"));
    EXPECT_EQ(publisher.End(SIGTERM).exitCode, 0);
    EXPECT_EQ(NamesLeft(), 0U);
}

// Whatever the publisher drops, a frame is never taken for another.
TEST_F(Sharing, ASlowReceiverMissesFramesAndKeepsTheirNumbers) {
    const std::string small = " --frames :100 --size 64x36 --format bgra";
    RunTool("convert " + kCockatoo + " " + (mFolder / "own-%d.png") + small);
    BackgroundTool receiver("receive c " + (mFolder / "got-%d.png"));
    BackgroundTool publisher("publish " + kCockatoo + " --name c --rate 50 --budget 40000" + small);
    const auto gotFrame = [this](int number) {
        return std::filesystem::exists(mFolder / ("got-" + std::to_string(number) + ".png"));
    };
    WaitUntil([&gotFrame] {
        int number = 0;
        while (number < 100 && !gotFrame(number)) {
            ++number;
        }
        return number < 100;
    });
    kill(receiver.Process(), SIGSTOP);
    WaitUntil([&publisher] { return publisher.Errors().find("all 100 frames") != std::string::npos; });
    kill(receiver.Process(), SIGCONT);
    const Result received = receiver.Wait();
    EXPECT_EQ(received.exitCode, 0) << received.errors;
    int first = 100;
    int got = 0;
    for (int number = 99; number >= 0; --number) {
        if (gotFrame(number)) {
            ++got;
            first = number;
            const std::string name = std::to_string(number) + ".png";
            EXPECT_TRUE(ReadFile(mFolder / ("got-" + name)) == ReadFile(mFolder / ("own-" + name))) << number;
        }
    }
    EXPECT_NE(received.output.find(": " + std::to_string(got) + " frame"), std::string::npos) << received.output;
    EXPECT_EQ(received.output.find(" missed") != std::string::npos, got < 100 - first) << received.output;
    // The budget has room for the last two frames: 9,344 bytes each, placed for reads of 4,096.
    const Result late = RunTool("receive c " + (mFolder / "late-%d.png"));
    EXPECT_NE(late.output.find(": 2 frames"), std::string::npos) << late.output;
    EXPECT_TRUE(ReadFile(mFolder / "late-99.png") == ReadFile(mFolder / "own-99.png"));
}

TEST_F(Sharing, NothingOfAKilledPublisherStays) {
    BackgroundTool receiver("receive c " + (mFolder / "cut.mkv"));
    BackgroundTool publisher("publish " + kCity + " --name c --loop --rate 100");
    ASSERT_EQ(RunTool("dump c:3 " + (mFolder / "3.png") + " --wait 60").exitCode, 0);
    EXPECT_EQ(publisher.End(SIGKILL).exitCode, -1);
    const Result received = receiver.Wait();
    EXPECT_EQ(received.exitCode, 7);
    EXPECT_NE(received.errors.find("has gone before the end"), std::string::npos) << received.errors;
    EXPECT_GE(Decode(mFolder / "cut.mkv").pictures.size(), 1U); // what came is a whole file

    BackgroundTool second("publish " + kCity + " --name c");
    ASSERT_EQ(RunTool("dump c:3 " + (mFolder / "3.png") + " --wait 60").exitCode, 0);
    second.End(SIGKILL);
    EXPECT_GE(NamesLeft(), 4U);
    const std::string cleaned = RunTool("clean").output;
    EXPECT_NE(cleaned.find("; 0 files, 0 B now"), std::string::npos) << cleaned;
    EXPECT_EQ(NamesLeft(), 0U);
    EXPECT_NE(RunTool("list").output.find("held 0 blocks"), std::string::npos);
}

// The test itself is a process that shares.
class SharingHere : public Sharing {
protected:
    SharingHere() { EXPECT_TRUE(framebroker::InitializeClient()); }
    ~SharingHere() override { framebroker::UninitializeClient(); }

    static Guid IdOf(int number) { return {static_cast<std::uint32_t>(number), 1, 2, {3}}; }

    static boost::shared_ptr<framebroker::WritableBinaryReference> Put(const Guid& id, const std::string& bytes) {
        boost::shared_ptr<framebroker::WritableBinaryReference> block;
        EXPECT_EQ(framebroker::GetWritableBinaryData(bytes.size(), block), kResult_Success);
        void* const data = block->AcquireDataPointer();
        std::memcpy(data, bytes.data(), bytes.size());
        block->ReleaseDataPointer(data);
        EXPECT_EQ(framebroker::PutCompletedBinaryData(id, block), kResult_Success);
        return block;
    }

    // A block of a 16x8 BGRA frame after a change to its header.
    template <class Change>
    static std::string FrameBytes(Change change) {
        VF::SharedMemoryVideoFrameHeader header{};
        header.headerSize = VF::kSharedMemoryHeaderSize;
        header.version = VF::kSharedMemoryVersion;
        header.pixelFormat = zynmediatypes::kPixelFormat_BGRA_4444_8u;
        header.width = 16;
        header.height = 8;
        header.rowBytes = 64;
        header.blockSize = 128 + 512;
        change(header);
        std::string bytes(640, '\x40');
        std::memcpy(bytes.data(), &header, sizeof(header));
        return bytes;
    }
};

TEST_F(SharingHere, BlocksThatLieAreNoFrames) {
    using Header = VF::SharedMemoryVideoFrameHeader;
    const std::vector<std::string> liars{
        std::string(4096, '\xFF'),
        "vf clip 1\nname ../x\nrate 1 0\n",
        FrameBytes([](Header& header) { header.height = 9; }),
        FrameBytes([](Header& header) { header.rowBytes = -64; }),
        FrameBytes([](Header& header) { header.pixelOffset = 0xFFFFFFFF; }),
        FrameBytes([](Header& header) { header.width = header.height = 0x7FFFFFFF; }),
        FrameBytes([](Header& header) { header.pixelFormat = {}; }),
    };
    int number = 1;
    for (const std::string& bytes : liars) {
        Put(IdOf(number), bytes);
        const Result dumped = RunTool("dump " + IdOf(number).ToString() + " " + (mFolder / "o.png"));
        EXPECT_EQ(dumped.exitCode, 6) << number << dumped.errors;
        ++number;
    }
    const std::string list = RunTool("list --json").output;
    EXPECT_EQ(Count(list, R"("kind":"other")"), liars.size()) << list;
    EXPECT_FALSE(std::filesystem::exists(mFolder / "o.png"));

    // The same header without a lie, with a shape of pixels that nothing can have.
    Put(IdOf(100), FrameBytes([](Header& header) { header.aspectRatio = {0, 0xFFFFFFFF}; }));
    EXPECT_EQ(RunTool("dump " + IdOf(100).ToString() + " " + (mFolder / "o.png")).exitCode, 0);
    EXPECT_EQ(Decode(mFolder / "o.png").pictures.at(0)->width, 16);
}

TEST_F(SharingHere, WhatIsNotThereIsTold) {
    framebroker::PutBinaryDataGenerationError(IdOf(1), -1);
    std::filesystem::create_directory(mFolder / "open");
    const std::string out = " " + (mFolder / "o.png");
    const struct {
        std::string arguments;
        int exitCode;
        const char* message;
    } cases[] = {
        {"dump " + IdOf(2).ToString() + out, 7, "nothing is shared"},
        {"dump nobody:3" + out + " --wait 0.1", 7, "in the time given"},
        {"dump " + IdOf(1).ToString() + out + " --wait 60", 7, "will not come"},
        {"dump 00000001-0001" + out, 2, "NAME:INDEX"},
        {"dump nobody:3 " + (mFolder / "o.y4m"), 2, ".png"},
        {"receive nobody" + out + " --wait 0.1", 7, "nobody publishes"},
        {"publish " + kCity + " --rate 0", 2, "--rate"},
        {"publish " + kCity + " --frames 5000: --rate max", 2, "fewer pictures"},
        {"publish " + kCity + " --name ''$'\\n'", 2, "control characters"},
    };
    for (const auto& one : cases) {
        const Result result = RunProgram("bash -c \"'" + std::string(VF_TOOL_BINARY) + "' " + one.arguments + '"');
        EXPECT_EQ(result.exitCode, one.exitCode) << one.arguments << "\n" << result.errors;
        EXPECT_NE(result.errors.find(one.message), std::string::npos) << one.arguments << "\n" << result.errors;
    }
    for (const char* command : {"list", "clean", "watch", "dump a:1 o.png", "receive a o.png", "publish nothing"}) {
        setenv("VF_SHAREHUB_DIR", (mFolder / "open").c_str(), 1); // others may look into it
        EXPECT_EQ(RunTool(command).exitCode, 8) << command;
    }
    setenv("VF_SHAREHUB_DIR", mShared.c_str(), 1);
}

// Errors live as long as anybody shares, here the test.
TEST_F(SharingHere, TheEndOfAnEarlierPublicationIsNotTheEnd) {
    const std::string publish = "publish " + kCity + " --name 'Größe 1' --frames ";
    EXPECT_EQ(RunTool(publish + ":3 --rate max --hold 0").exitCode, 0);
    BackgroundTool publisher(publish + ":8 --rate 10 --hold 60");
    const Result received = RunTool("receive 'Größe 1' " + (mFolder / "o.y4m"));
    EXPECT_EQ(received.exitCode, 0) << received.errors;
    EXPECT_NE(received.output.find(": 8 frames"), std::string::npos) << received.output;
    EXPECT_NE(RunTool("list").output.find("Größe 1:7\n"), std::string::npos);
}

TEST_F(SharingHere, WatchTellsEachChange) {
    for (const char* option : {"", " --json"}) {
        BackgroundTool watch(std::string("watch") + option);
        const auto put = [](int number) { return Put(IdOf(number), FrameBytes([](auto&) {})); };
        int lines = 0;
        const auto expect = [&](const std::string& event, int number) {
            ++lines;
            WaitUntil([&] { return Count(watch.Output(), "\n") >= static_cast<std::size_t>(lines); });
            const std::string output = watch.Output();
            const std::string line = output.substr(output.rfind('\n', output.size() - 2) + 1);
            EXPECT_NE(line.find(event), std::string::npos) << line;
            EXPECT_NE(line.find(IdOf(number).ToString()), std::string::npos) << line;
        };
        put(1);
        expect("put", 1);
        boost::shared_ptr<framebroker::BinaryReference> block;
        framebroker::GetBinaryDataIfAvailable(IdOf(1), block);
        framebroker::MakeBinaryDataAlias(IdOf(1), block, IdOf(2));
        expect("alias", 2);
        framebroker::PutBinaryDataGenerationError(IdOf(3), -1);
        expect("error", 3);
        block.reset();
        framebroker::SetPutBudget(0);
        framebroker::SetPutBudget(framebroker::kDefaultPutBudget);
        WaitUntil([&watch] { return Count(watch.Output(), "removed") == 2; }); // the names go one by one
        EXPECT_EQ(Count(watch.Output(), "16x8 bgra") + Count(watch.Output(), R"("format":"bgra")"), 2U);
        EXPECT_EQ(watch.End(SIGINT).exitCode, 0);
        put(3); // takes the error away
        framebroker::SetPutBudget(0);
        framebroker::SetPutBudget(framebroker::kDefaultPutBudget);
    }
}

} // namespace
} // namespace tooltest
