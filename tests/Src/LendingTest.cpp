// Frames lent to plug-ins: as pixmaps, and as worlds of effects.

#include "../platform/PixelBlitterScale/FailingAllocator.h"
#include "ContractLog.h"
#include "FrameKinds.h"
#include "FxSupport.h"
#include "HandleMemory.h"
#include "LentPixmaps.h"
#include "TPixHandleUtilities.h"
#include "TestHelpers.h"
#include "VectorFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace vftest;
using namespace zynmediatypes;
using BRT::NullInterfaceException;
using Conditions = std::vector<std::string>;

using Rows = VF::Details::PixelRows;
constexpr auto kBGRA = kPixelFormat_BGRA_4444_8u;

/// A handle that the library never made.
TPixHand Stranger(std::uintptr_t address) {
    return reinterpret_cast<TPixHand>(address); // NOLINT(performance-no-int-to-ptr)
}

/// Every handle and world must be given back by the end of a test.
class Lending : public LibraryTest {
protected:
    void TearDown() override {
        EXPECT_EQ(KxGetLiveHandleCount(), mHandles);
        EXPECT_EQ(Restart(), Conditions{});
        LibraryTest::TearDown();
    }

    /// Stops the library and starts it again. Returns what that traced.
    static std::vector<std::string> Restart() {
        std::vector<std::string> lines;
        zyncore::debug::SetTraceSink(AddLine, &lines);
        VF::Shutdown();
        VF::Initialize();
        zyncore::debug::SetTraceSink(nullptr, nullptr);
        return lines;
    }

    const std::uint64_t mHandles = KxGetLiveHandleCount();
    ContractLog mLog;
};

/// The picture line that a painted pixel (PaintCoordinates) came from.
int LineAt(const void* row) {
    return static_cast<int>(*static_cast<const std::uint32_t*>(row) >> 12U & 0xFFFU);
}

std::vector<int> Lines(const void* row, std::ptrdiff_t rowBytes, int count) {
    std::vector<int> lines;
    for (const auto* bytes = static_cast<const std::uint8_t*>(row); count > 0; --count, bytes += rowBytes) {
        lines.push_back(LineAt(bytes));
    }
    return lines;
}

/// Every step-th line upwards or downwards.
std::vector<int> LinesOf(int first, int step, int height) {
    std::vector<int> lines;
    for (int line = first; line >= 0 && line < height; line += step) {
        lines.push_back(line);
    }
    return lines;
}

/// How a picture or one of its fields is asked for.
struct View {
    bool asField;
    FieldType type;
    int which;
    int row; ///< stored row at which it begins
    int mode;
};
constexpr View kViews[] = {
    {false, kFieldType_NotSet, 0, 0, 0},    {false, kFieldType_LowerFirst, 1, 0, 0},
    {true, kFieldType_LowerFirst, 0, 0, 1}, {true, kFieldType_LowerFirst, 1, 1, 2},
    {true, kFieldType_UpperFirst, 0, 1, 1}, {true, kFieldType_UpperFirst, 1, 0, 2},
    {true, kFieldType_UpperFirst, 2, 1, 2}, {true, kFieldType_Progressive, 0, 1, 1},
};

class LentFrame : public Lending, public ::testing::WithParamInterface<FrameKind> {};

TEST_P(LentFrame, ShowsThePictureOrOneOfItsFields) {
    for (const int height : {8, 9}) {
        for (const View& view : kViews) {
            SCOPED_TRACE(testing::Message() << height << " lines, view " << &view - kViews);
            FrameRef frame = GetParam().make({kBGRA, 16, static_cast<std::uint32_t>(height)}, [](const FrameRef& made) {
                if (BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(made)) {
                    PaintCoordinates(made);
                }
            });
            TPixHand const hand = VF::NewTPixFromVideoFrame(frame, view.asField, view.type, view.which);
            ASSERT_TRUE(hand);
            EXPECT_EQ(VF::GetVideoFrameFromTPix(hand), frame);
            EXPECT_EQ(VF::GetTPixHandFrameMapping(hand), BRT::QueryInterface<BRT::BRTUnknown>(frame));
            EXPECT_EQ(VF::GetUnderlyingVideoFrameReadOnly(hand), frame->GetReadOnly());
            const bool memory = static_cast<bool>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame));
            frame.Reset(); // the handle alone keeps it
            const TPix& record = **hand;
            if (memory) {
                const int step = view.asField ? 2 : 1;
                const auto expected = LinesOf(height - 1 - view.row, -step, height);
                EXPECT_EQ(Lines(record.pixels, record.rowbytes, record.bounds.bottom), expected);
                EXPECT_EQ(record.fieldsBase, record.pixels);
                EXPECT_EQ(record.fieldMode, view.mode);
                const int upperRow = !view.asField ? 0 : view.type == kFieldType_LowerFirst ? 1 : 0;
                EXPECT_EQ(LineAt(record.field1Base), height - 1 - upperRow);
                EXPECT_EQ(LineAt(record.field0Base), height - 1 - (view.asField ? 1 - upperRow : 0));
                const VF::Details::LentPixels pixels(hand);
                EXPECT_EQ(pixels.MayWrite(), GetParam().writable);
                EXPECT_TRUE(pixels.Contain(Rows{record.pixels, record.rowbytes, record.bounds.bottom, 64}));
                EXPECT_FALSE(pixels.Contain(Rows{record.pixels, record.rowbytes, 100'000, 64}));
                EXPECT_FALSE(pixels.Contain(Rows{record.pixels, -record.rowbytes, 100'000, 64}));
            } else {
                EXPECT_EQ(record.pixels, nullptr) << "on a device";
                EXPECT_EQ(record.bounds.bottom, height);
                TPixFieldsPrep(hand, 0); // half of the fields' addresses are no longer null
                TPixFields_PointAtField(hand, 1);
                EXPECT_LT(tpixFillRect(hand, nullptr, 0), 0);
                EXPECT_EQ(tpixGetPixel(hand, 0, 0), 0xFFFFFFU);
                TPixFieldsCleanup(hand);
            }
            VF::DisposeTPixFromVideoFrame(hand);
            VF::DisposeTPixFromVideoFrame(hand);
            EXPECT_EQ(KxGetLiveHandleCount(), mHandles);
        }
    }
}
INSTANTIATE_TEST_SUITE_P(EveryKind, LentFrame, ::testing::ValuesIn(AllKinds()),
                         [](const auto& kind) { return std::string(kind.param.name); });
INSTANTIATE_TEST_SUITE_P(OnTheHostDevice, LentFrame, ::testing::ValuesIn(kDeviceKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_F(Lending, ANewFrameIsMadeInTheFormatAndFieldWanted) {
    struct Wanted {
        PixelFormat format;
        LONG height;
        bool asField;
        int which;
        LONG lines;
        int row; ///< stored row at which the view begins
        int bits;
    };
    const PixelFormat planar = kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601;
    const Wanted table[] = {
        {kBGRA, 8, true, 0, 4, 1, 32},
        {kBGRA, 9, true, 1, 5, 1, 32},
        {kPixelFormat_BGRA_4444_16u, 8, true, 1, 4, 0, 64},
        {kPixelFormat_BGRA_4444_32f, 9, false, 0, 9, 0, 128},
        {planar, 8, true, 1, 4, 0, 0},
    };
    for (const Wanted& wanted : table) {
        SCOPED_TRACE(&wanted - table);
        RECT bounds{-5, 20, 11, 20 + wanted.height};
        TPixHand const hand =
            VF::NewTPixWithVideoFrame(&bounds, wanted.format, wanted.asField, wanted.which, {10, 11}, 512, 512, 0);
        ASSERT_TRUE(hand);
        const TPix& record = **hand;
        EXPECT_EQ(record.bounds.bottom, wanted.lines);
        const int rowBytes = wanted.bits * 2; // of 16 pixels
        EXPECT_EQ(record.rowbytes, rowBytes * (wanted.asField ? 2 : 1));
        EXPECT_EQ(record.bitsPerPixel, wanted.bits);
        EXPECT_EQ(record.pixelAspectRatio, 10U << 16 | 11U);
        EXPECT_EQ(record.fieldMode, !wanted.asField ? 0 : wanted.which == 0 ? 1 : 2);
        const FrameRef frame = VF::GetVideoFrameFromTPix(hand);
        EXPECT_EQ(VF::GetUnderlyingVideoFramePixelFormat(hand), wanted.format);
        EXPECT_EQ(VF::GetUnderlyingVideoFrameFieldType(hand), record.fieldMode);
        EXPECT_EQ(record.pixels, Pixels(frame) + wanted.row * rowBytes);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Pixels(frame)) % 512, 0U);
        VF::DisposeTPixFromVideoFrame(hand);
    }

    const PixelFormat kOwn{FourCharacterCode("@own"), kPixelFormatProperties_Custom};
    RECT picture{0, 0, 16, 9};
    TPixHand const custom = VF::NewCustomTPixWithVideoFrame(&picture, kOwn, 100, {1, 1});
    ASSERT_TRUE(custom);
    EXPECT_EQ((*custom)->rowbytes | (*custom)->bitsPerPixel, 0);
    EXPECT_EQ(VF::GetUnderlyingVideoFramePixelFormat(custom), kOwn);
    VF::DisposeTPixFromVideoFrame(custom);
}

TEST_F(Lending, RatiosArePackedInThousandths) {
    const std::pair<PixelAspectRatio, std::uint64_t> table[] = {{{9, 10}, 900U << 16 | 1000U},
                                                                {{40, 33}, 1212U << 16 | 1000U},
                                                                {{2, 3}, 666U << 16 | 1000U},
                                                                {{1001, 1000}, 1000U << 16 | 1000U},
                                                                {{1, 0}, 1000U},
                                                                {{70, 1}, (70'000U << 16) | 1000U},
                                                                {{0xFFFFFFFF, 1}, 1000U}};
    for (const auto& [ratio, packed] : table) {
        const FrameRef frame = MakeFrame(kBGRA, 4, 4);
        frame->SetPixelAspectRatio(ratio);
        TPixHand const hand = VF::NewTPixFromVideoFrame(frame);
        EXPECT_EQ((*hand)->pixelAspectRatio, packed) << ratio.numerator;
        unsigned numerator = 1, denominator = 1;
        VF::GetUnderlyingVideoFrameAspectRatio(hand, &numerator, &denominator);
        EXPECT_EQ((PixelAspectRatio{numerator, denominator}), ratio);
        VF::DisposeTPixFromVideoFrame(hand);
    }
}

TEST_F(Lending, ARawBlockIsLentWithoutBeingAFrame) {
    TPixHand const hand = VF::NewTPixWithRawFrame(1000, 4096);
    ASSERT_TRUE(hand);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>((*hand)->pixels) % 4096, 0U);
    EXPECT_EQ((*hand)->fieldsBase, (*hand)->pixels);
    std::memset((*hand)->pixels, 0x5A, 1000);
    EXPECT_FALSE(VF::GetUnderlyingVideoFrameReadOnly(hand));
    EXPECT_FALSE(VF::GetVideoFrameFromTPix(hand));
    EXPECT_EQ(VF::GetUnderlyingVideoFramePixelFormat(hand), kBGRA);
    const VF::Details::LentPixels pixels(hand);
    EXPECT_TRUE(pixels.Contain(Rows{(*hand)->pixels, 100, 10, 100}));
    EXPECT_FALSE(pixels.Contain(Rows{(*hand)->pixels, 100, 11, 100}));

    // Lent a second time.
    const auto memory = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(VF::GetTPixHandFrameMapping(hand));
    TPixHand const again = VF::NewTPixFromVideoMemoryAccess(memory);
    ASSERT_TRUE(again);
    EXPECT_EQ((*again)->pixels, (*hand)->pixels);
    VF::DisposeTPixFromVideoFrame(hand);
    EXPECT_EQ(*(*again)->pixels, 0x5A);
    VF::DisposeTPixFromVideoFrame(again);
    EXPECT_EQ(VF::NewTPixFromVideoMemoryAccess(nullptr), nullptr);
    EXPECT_EQ(VF::NewTPixWithRawFrame(1000, 3), nullptr);
    EXPECT_EQ(VF::NewTPixWithRawFrame(~std::uint64_t{0}, 16), nullptr);
    EXPECT_EQ(mLog.TakeConditions(), Conditions{});
    VF::DisposeTPixFromVideoFrame(VF::NewTPixWithRawFrame(0, 16));
    EXPECT_EQ(mLog.Take(), Conditions{"inSize @ Src/RawFrame:60"});
}

TEST_F(Lending, BadInputIsReportedAndKeepsNothing) {
    const auto make = [](RECT* bounds) {
        return VF::NewTPixWithVideoFrame(bounds, kPixelFormat_BGRA_4444_32f, false, 0, kPixelAspectRatio_Square, 0, 0,
                                         0);
    };
    EXPECT_EQ(make(nullptr), nullptr);
    EXPECT_EQ(VF::NewCustomTPixWithVideoFrame(nullptr, kBGRA, 100, {1, 1}), nullptr);
    EXPECT_EQ(mLog.TakeConditions(), (Conditions{"bounds", "bounds"}));
    constexpr LONG kLeast = std::numeric_limits<LONG>::min();
    constexpr LONG kMost = std::numeric_limits<LONG>::max();
    for (RECT inverted : {RECT{10, 0, 0, 10}, RECT{0, 10, 10, 0}, RECT{kLeast, 0, kMost, 10}}) {
        EXPECT_EQ(make(&inverted), nullptr);
        EXPECT_EQ(VF::NewCustomTPixWithVideoFrame(&inverted, kBGRA, 100, {1, 1}), nullptr);
    }
    RECT huge{0, 0, kMost, kMost};
    EXPECT_EQ(make(&huge), nullptr);
    EXPECT_THROW(VF::NewCustomTPixWithVideoFrame(&huge, kBGRA, -1, {1, 1}), NullInterfaceException);
    EXPECT_THROW(VF::NewTPixFromVideoFrame(nullptr), NullInterfaceException);
    EXPECT_EQ(mLog.TakeConditions(), (Conditions{"inVideoFrame != NULL", "inVideoFrame != NULL"}));
    VectorFrame unreachable(kBGRA, 4, 4);
    unreachable.memory = false;
    FrameRef view;
    VF::CreateVideoSubFrame(view, unreachable.Ref(), {0, 0, 2, 2});
    EXPECT_THROW(VF::NewTPixFromVideoFrame(view), NullInterfaceException);
    view.Reset();

    mLog.Take();
    unsigned word = 7;
    VF::DisposeTPixFromVideoFrame(nullptr);
    EXPECT_TRUE(VF::GetUnderlyingVideoFrameReadOnly(nullptr));
    EXPECT_EQ(VF::GetUnderlyingVideoFrameRenderTime(nullptr), 0U);
    VF::GetUnderlyingVideoFrameAspectRatio(nullptr, &word, nullptr);
    EXPECT_EQ(word, 7U);
    EXPECT_EQ(VF::GetUnderlyingVideoFramePixelFormat(nullptr), kBGRA);
    EXPECT_EQ(VF::GetUnderlyingVideoFrameFieldType(nullptr), kFieldType_NotSet);
    EXPECT_FALSE(VF::GetVideoFrameFromTPix(nullptr));
    EXPECT_FALSE(VF::GetTPixHandFrameMapping(nullptr));
    const std::string hand = "inTPixHand != NULL";
    EXPECT_EQ(mLog.TakeConditions(),
              (Conditions{"tpixHandle != NULL", hand, hand, hand, "outAspectNum != NULL && outAspectDen != NULL", hand,
                          hand, hand, hand}));

    VF::DisposeTPixFromVideoFrame(Stranger(0x1230));
    EXPECT_TRUE(VF::Details::MayWritePixelsOf(Stranger(0x1230)));
    EXPECT_EQ(mLog.TakeConditions(), Conditions{}) << "and the registry has not learned the handle";
}

/// Asks about a handle that nobody knows, by questions that make it count as lent.
const std::function<void(TPixHand)> kRememberingQuestions[] = {
    [](TPixHand hand) { EXPECT_TRUE(VF::GetUnderlyingVideoFrameReadOnly(hand)); },
    [](TPixHand hand) { EXPECT_EQ(VF::GetUnderlyingVideoFrameRenderTime(hand), 0U); },
    [](TPixHand hand) { EXPECT_FALSE(VF::GetVideoFrameFromTPix(hand)); },
    [](TPixHand hand) { EXPECT_FALSE(VF::GetTPixHandFrameMapping(hand)); },
};

TEST_F(Lending, TheLastStopNamesWhatWasNeverGivenBack) {
    const std::string prefix = "<" + std::to_string(zyncore::threads::GetCurrentThreadID()) + "> <TPix> <0> ";
    for (const auto& question : kRememberingQuestions) {
        question(Stranger(0x1230));
        EXPECT_EQ(Restart(), Conditions{prefix + "1 TPix frames were leaked at shutdown!\r\n"});
    }

    VectorFrame foreign(kBGRA, 5, 4);
    struct Lent {
        TPixHand hand;
        std::string sizes;
    };
    std::vector<Lent> lent{
        {VF::NewTPixFromVideoFrame(MakeFrame(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 6, 4)),
         "data size:36"},
        {VF::NewTPixFromVideoFrame(MakeFrame(kPixelFormat_BGRA_4444_16u, 6, 4)), "row bytes:48, data size:192"},
        {VF::NewTPixWithRawFrame(77, 16), "data size:77"},
        {VF::NewTPixFromVideoFrame(foreign.Ref()), "row bytes:20, data size:80"},
    };
    std::ranges::sort(lent, {}, &Lent::hand);
    Conditions expected{prefix + "5 TPix frames were leaked at shutdown!\r\n"};
    for (const Lent& one : lent) {
        char name[9];
        std::snprintf(name, sizeof name, "%x",
                      static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(one.hand) & 0xFFFFFFFF));
        expected.push_back(prefix + "<Leaked Video frame,0x" + name + "> " + one.sizes + "\r\n");
    }
    expected.push_back(prefix + "2 EWWorlds were leaked at shutdown!\r\n");
    VF::GetVideoFrameFromTPix(Stranger(0x10));
    EW_LayerDef world{};
    VF::NewEW_WorldFromExistingVideoFrame(foreign.Ref(), world, false, kFieldType_NotSet, 0);
    VF::GetEWWorldFrameMapping(reinterpret_cast<EW_Pixel*>(&world)); // nobody knows
    EXPECT_EQ(Restart(), expected);
    EXPECT_EQ(foreign.References(), 0U);
    EXPECT_EQ(KxGetLiveHandleCount(), mHandles + lent.size()) << "the handles are their holders'";
    EXPECT_FALSE(VF::GetVideoFrameFromTPix(lent[0].hand));

    zyncore::debug::SetTraceLevel("TPix", -1);
    VF::GetVideoFrameFromTPix(Stranger(0x10));
    EXPECT_EQ(Restart(), Conditions{});
    zyncore::debug::SetTraceLevel("TPix", 0);
    KxRecordHandleOrigins(1);
    TPixHand const known = VF::NewTPixFromVideoFrame(foreign.Ref());
    KxRecordHandleOrigins(0);
    EXPECT_EQ(std::ranges::count_if(Restart(), [](const auto& line) { return line.find("> made by ") != line.npos; }),
              1);
    VF::DisposeTPixFromVideoFrame(known);
    for (const Lent& one : lent) {
        VF::DisposeTPixFromVideoFrame(one.hand);
    }
}

TEST_F(Lending, HandlesComeAndGoOnManyThreads) {
    const FrameRef frames[] = {MakeFrame(kBGRA, 16, 9), MakeFrame(kPixelFormat_BGRA_4444_16u, 8, 6)};
    std::vector<TPixHand> stale;
    for (int n = 0; n < 16; ++n) {
        stale.push_back(VF::NewTPixFromVideoFrame(frames[0]));
        VF::DisposeTPixFromVideoFrame(stale.back());
    }
    std::atomic<int> wrong{0};
    OnThreads(4, [&](unsigned thread) {
        const FrameRef& frame = frames[thread % 2];
        EW_LayerDef world{};
        for (int n = 0; n < 1500; ++n) {
            TPixHand const hand = VF::NewTPixFromVideoFrame(frame, true, kFieldType_LowerFirst, 1);
            VF::DisposeTPixFromVideoFrame(stale[static_cast<unsigned>(n) % stale.size()]);
            VF::NewEW_WorldFromExistingVideoFrame(frame, world, true, kFieldType_LowerFirst, static_cast<int>(thread));
            const bool good = VF::GetVideoFrameFromTPix(hand) == frame &&
                              VF::GetUnderlyingVideoFramePixelFormat(hand) == frame->GetPixelType() &&
                              (*hand)->bounds.bottom == frame->GetBounds().bottom / 2;
            wrong += good ? 0 : 1;
            VF::DisposeEW_WorldFromVideoFrame(world.data);
            VF::DisposeTPixFromVideoFrame(hand);
            VF::DisposeTPixFromVideoFrame(hand);
        }
    });
    EXPECT_EQ(wrong, 0);
}

// Memory runs out at every allocation in turn: what could not be made is answered, and nothing of it stays.
TEST_F(Lending, NothingIsKeptWhenMemoryRunsOut) {
    VectorFrame frame(kBGRA, 16, 9);
    RECT bounds{0, 0, 16, 9};
    EW_LayerDef world{};
    EW_LayerDef untouched{};
    const auto givenBack = [](TPixHand hand) {
        VF::DisposeTPixFromVideoFrame(hand);
        return hand != nullptr;
    };
    const std::function<bool()> creators[] = {
        [&] { return givenBack(VF::NewTPixFromVideoFrame(frame.Ref())); },
        [&] {
            return givenBack(VF::NewTPixWithVideoFrame(&bounds, kBGRA, true, 0, {1, 1}, 0, 0, 0));
        },
        [&] {
            return givenBack(VF::NewCustomTPixWithVideoFrame(&bounds, kBGRA, 100, {1, 1}));
        },
        [&] { return givenBack(VF::NewTPixWithRawFrame(1000, 64)); },
        [&] {
            world = untouched;
            const bool made = VF::NewEW_WorldWithNewVideoFrame(16, 9, kBGRA, {1, 1}, world);
            EXPECT_EQ(std::memcmp(&world, &untouched, sizeof world) == 0, !made);
            return made && (VF::DisposeEW_WorldFromVideoFrame(world.data), true);
        },
        [&] {
            try {
                VF::NewEW_WorldFromExistingVideoFrame(frame.Ref(), world, false, kFieldType_NotSet, 0);
            } catch (const std::bad_alloc&) {
                return false;
            }
            return VF::DisposeEW_WorldFromVideoFrame(world.data), true;
        },
    };
    for (const auto& create : creators) {
        SCOPED_TRACE(&create - creators);
        bool made = false;
        for (int failing = 0; !made; ++failing) {
            ASSERT_LT(failing, 50);
            BRT::MemoryRecycler::Instance().ReleaseIdleBuffers();
            const auto buffers = BRT::MemoryRecycler::Instance().GetStatistics().buffersInUse;
            scaletest::allocationsUntilFailure = failing;
            made = create();
            scaletest::allocationsUntilFailure = -1;
            EXPECT_EQ(KxGetLiveHandleCount(), mHandles);
            EXPECT_EQ(BRT::MemoryRecycler::Instance().GetStatistics().buffersInUse, buffers);
            EXPECT_EQ(frame.References(), 0U);
            EXPECT_EQ(Restart(), Conditions{}) << "something stayed lent";
        }
    }
}

TEST_F(Lending, AWorldShowsTheLinesFromTheTop) {
    struct Shown {
        int height;
        FieldType own;
        bool asField;
        FieldType type;
        int which;
        int first; ///< line of the picture
        int lines;
    };
    const Shown table[] = {
        {8, kFieldType_NotSet, false, kFieldType_NotSet, 0, 0, 8},
        {8, kFieldType_Progressive, true, kFieldType_LowerFirst, 0, 1, 4},
        {9, kFieldType_NotSet, true, kFieldType_LowerFirst, 1, 0, 5},
        {9, kFieldType_NotSet, true, kFieldType_UpperFirst, 1, 1, 4},
        {8, kFieldType_NotSet, true, kFieldType_NotSet, 1, 0, 4},
        {8, kFieldType_UpperFirst, true, kFieldType_LowerFirst, 0, 0, 4},
        {8, kFieldType_LowerFirst, true, kFieldType_UpperFirst, 0, 1, 4},
        {1, kFieldType_NotSet, true, kFieldType_LowerFirst, 0, 1, 0},
    };
    for (const Shown& shown : table) {
        SCOPED_TRACE(&shown - table);
        FrameRef frame = MakeFrame(kBGRA, 16, static_cast<std::uint32_t>(shown.height));
        PaintCoordinates(frame);
        frame->SetFieldType(shown.own);
        frame->SetPixelAspectRatio({7, 8});
        EW_LayerDef world;
        std::memset(&world, 0xA5, sizeof world);
        VF::NewEW_WorldFromExistingVideoFrame(frame, world, shown.asField, shown.type, shown.which);
        frame.Reset(); // the world alone keeps it
        EXPECT_EQ(world.height, shown.lines);
        EXPECT_EQ(Lines(world.data, world.rowbytes, world.height),
                  LinesOf(shown.first, shown.asField ? 2 : 1, shown.height));
        EXPECT_EQ(world.frameRect.bottom, shown.lines);
        EXPECT_EQ((PixelAspectRatio{world.aspectNumerator, world.aspectDenominator}), (PixelAspectRatio{7, 8}));
        EXPECT_EQ(world.pixelFormat, kBGRA.name);
        EXPECT_EQ(world.reserved0 | world.reserved8 | world.reserved64 | world.reserved116, 0U);
        for (const std::uint8_t* bytes : {world.sdk20, world.sdk60, world.sdk72, world.sdk72 + 12, world.sdk96 + 12}) {
            EXPECT_EQ(std::count(bytes, bytes + 4, 0xA5), 4) << "the SDK's own";
        }
        PixelFormat format = kPixelFormat_Invalid;
        EXPECT_TRUE(VF::GetEWWorldVideoFramePixelType(world.data, kPixelFormat_Invalid, format));
        EXPECT_EQ(format, kBGRA);
        VF::DisposeEW_WorldFromVideoFrame(world.data);
        EXPECT_FALSE(VF::GetEWWorldVideoFramePixelType(world.data, kPixelFormat_Invalid, format));
    }
}

TEST_F(Lending, ANewWorldKeepsItsFrameAndRunsFromTheBottom) {
    EW_LayerDef world{};
    world.pixelFormat = 0x1234;
    ASSERT_TRUE(VF::NewEW_WorldWithNewVideoFrame(16, 9, kPixelFormat_VUYA_4444_16u, {4, 3}, world));
    EXPECT_EQ(world.worldFlags, 1);
    EXPECT_EQ(world.rowbytes, 128);
    EXPECT_EQ(world.height, 9);
    EXPECT_EQ(world.aspectNumerator, 4U);
    EXPECT_EQ(world.pixelFormat, 0x1234U);
    EXPECT_EQ(VF::GetEWWorldVideoFramePixelType(world.data), kPixelFormat_VUYA_4444_16u);
    const auto memory = VF::GetEWWorldFrameMapping(world.data);
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->GetData(), static_cast<void*>(world.data));
    // A second world at the same place takes the place of the first.
    const FrameRef frame = BRT::QueryInterface<RK::IVideoFrame>(memory);
    EW_LayerDef other{};
    VF::NewEW_WorldFromExistingVideoFrame(frame, other, false, kFieldType_NotSet, 0);
    EXPECT_EQ(reinterpret_cast<std::uint8_t*>(other.data),
              reinterpret_cast<std::uint8_t*>(world.data) + std::ptrdiff_t{128} * 8);
    EW_LayerDef same{};
    VF::NewEW_WorldFromExistingVideoFrame(frame, same, true, kFieldType_UpperFirst, 0);
    EXPECT_EQ(same.data, other.data);
    VF::DisposeEW_WorldFromVideoFrame(same.data);
    EXPECT_EQ(VF::GetEWWorldVideoFramePixelType(other.data), kBGRA);
    VF::DisposeEW_WorldFromVideoFrame(world.data);

    const EW_LayerDef before = world;
    EXPECT_FALSE(VF::NewEW_WorldWithNewVideoFrame(16, 9, kPixelFormat_NTSCDV25, {1, 1}, world));
    EXPECT_FALSE(VF::NewEW_WorldWithNewVideoFrame(0x80000000U, 9, kBGRA, {1, 1}, world));
    EXPECT_EQ(std::memcmp(&world, &before, sizeof world), 0);
    EXPECT_THROW(VF::NewEW_WorldFromExistingVideoFrame(nullptr, world, false, kFieldType_NotSet, 0),
                 NullInterfaceException);
    VF::DisposeEW_WorldFromVideoFrame(nullptr);
    EXPECT_EQ(VF::GetEWWorldVideoFramePixelType(nullptr), kBGRA);
}

} // namespace
