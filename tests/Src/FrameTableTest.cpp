// Other modules call the tables directly, so every slot is reached through raw pointers here.

#include "RawFrame.h"
#include "TestFrames.h"
#include "VFResults.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace vftest;
using zyncore::utility::Guid;

void* Query(void* object, const Guid& id) {
    void* found = nullptr;
    static_cast<BRT::BRTUnknown*>(object)->QueryInterface(id, &found);
    return found;
}

// The function in a slot of the table that an object's first word points to.
template <class Signature>
Signature* Slot(void* object, std::size_t slot) {
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Signature*>(table[slot]);
}

class FrameTable : public LibraryTest {};

TEST_F(FrameTable, VideoFrameSlots) {
    FrameRef frame = MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, 5, 3);
    void* const object = frame.GetPtr();

    EXPECT_EQ(Slot<std::uint32_t(void*)>(object, 0)(object), 2U);
    EXPECT_EQ(Slot<std::uint32_t(void*)>(object, 1)(object), 1U);
    void* found = nullptr;
    EXPECT_EQ(Slot<std::int32_t(void*, const Guid&, void**)>(object, 3)(object, RK::IVideoFrame::kInterfaceID, &found),
              0);
    EXPECT_EQ(found, object);
    frame->Release();
    EXPECT_EQ(Slot<Rect(void*)>(object, 4)(object), (Rect{0, 0, 5, 3}));
    EXPECT_TRUE(Slot<bool(void*, const Rect&)>(object, 5)(object, Rect{0, 0, 5, 3}));
    using Aspect = zynmediatypes::PixelAspectRatio;
    Slot<void(void*, const Aspect&)>(object, 7)(object, Aspect{10, 11});
    EXPECT_EQ(Slot<Aspect(void*)>(object, 6)(object), (Aspect{10, 11}));
    EXPECT_EQ(Slot<PixelFormat(void*)>(object, 8)(object), zynmediatypes::kPixelFormat_BGRA_4444_8u);
    Slot<void(void*, bool)>(object, 10)(object, true);
    EXPECT_TRUE(Slot<bool(void*)>(object, 9)(object));
    Slot<void(void*, bool)>(object, 10)(object, false);
    Slot<void(void*, std::int32_t)>(object, 12)(object, 2);
    EXPECT_EQ(Slot<std::int32_t(void*)>(object, 11)(object), 2);
    Slot<void(void*, std::uint32_t)>(object, 14)(object, 2);
    EXPECT_EQ(Slot<std::uint32_t(void*)>(object, 13)(object), 2U);
    EXPECT_TRUE(Slot<bool(void*)>(object, 15)(object));
    using Point = BRT::ParamPoint<BRT::CPoint>;
    Slot<void(void*, const Point&)>(object, 17)(object, Point{3, 4});
    EXPECT_EQ(Slot<Point(void*)>(object, 16)(object), (Point{3, 4}));
    Slot<void(void*, const Rect&)>(object, 19)(object, Rect{1, 2, 3, 4});
    EXPECT_EQ(Slot<Rect(void*)>(object, 18)(object), (Rect{1, 2, 3, 4}));
    Slot<void(void*, const RK::UserTriple&)>(object, 21)(object, RK::UserTriple{1, 2, 3});
    EXPECT_EQ(Slot<RK::UserTriple(void*)>(object, 20)(object), RK::UserTriple{});
    Slot<void(void*, std::uint32_t)>(object, 23)(object, 77);
    EXPECT_EQ(Slot<std::uint32_t(void*)>(object, 22)(object), 77U);
    EXPECT_TRUE(Slot<FrameRef(void*)>(object, 24)(object));
    Rect bounds;
    Slot<void(void*, const Rect&)>(object, 26)(object, Rect{1, 1, 2, 2});
    EXPECT_TRUE(Slot<bool(void*, Rect&)>(object, 25)(object, bounds));
    EXPECT_EQ(bounds, (Rect{1, 1, 2, 2}));
    Slot<void(void*)>(object, 27)(object);
    EXPECT_TRUE(frame->GetAlphaBounds(bounds));
    EXPECT_EQ(bounds, (Rect{0, 0, 5, 3}));

    // Behind the interface: block for writing, block for reading, whether it can be published, the object itself.
    void* const block = Slot<void*(void*)>(object, 28)(object);
    EXPECT_EQ(Slot<const void*(void*)>(object, 29)(object), block);
    EXPECT_EQ(static_cast<std::uint32_t*>(block)[0], 128U);
    EXPECT_FALSE(Slot<bool(void*)>(object, 30)(object));
    EXPECT_EQ((Slot<FrameRef(void*)>(object, 31)(object)), frame);
}

TEST_F(FrameTable, AccessSlots) {
    FrameRef frame = MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, 5, 3);
    void* const memory = Query(frame.GetPtr(), VF::IVideoFrameMemoryAccess::kInterfaceID);
    ASSERT_TRUE(memory);
    auto* const data = static_cast<std::uint8_t*>(Slot<void*(void*)>(memory, 4)(memory));
    EXPECT_EQ(Slot<std::uint64_t(void*)>(memory, 5)(memory), 60U);
    EXPECT_EQ(Slot<std::uint64_t(void*)>(memory, 6)(memory), 188U);

    void* const rows = Query(frame.GetPtr(), VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID);
    ASSERT_TRUE(rows);
    EXPECT_EQ(Slot<std::uint32_t(void*)>(rows, 4)(rows), 4U);
    EXPECT_EQ(Slot<std::int32_t(void*)>(rows, 5)(rows), 20);
    EXPECT_EQ(Slot<void*(void*)>(rows, 6)(rows), data + 20);
    EXPECT_EQ(Slot<void*(void*)>(rows, 7)(rows), data);
    EXPECT_EQ(Slot<std::int32_t(void*)>(rows, 8)(rows), 40);
    EXPECT_EQ((Slot<std::uint32_t(void*, std::uint32_t)>(rows, 9)(rows, 0)), 1U);

    void* const clearable = Query(frame.GetPtr(), RK::IVideoFrameClearable::kInterfaceID);
    ASSERT_TRUE(clearable);
    const std::uint32_t expected[4] = {0xFF000000U, 0xFFFFFFFFU, 0x00000000U, 0x00FFFFFFU};
    for (std::size_t slot = 4; slot < 8; ++slot) {
        EXPECT_EQ(Slot<std::int32_t(void*)>(clearable, slot)(clearable), 0);
        EXPECT_EQ(PixelAt(frame, 4, 2), expected[slot - 4]) << "slot " << slot;
    }

    FrameRef block = MakePublishableFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, 5, 3);
    void* const publishable = Query(block.GetPtr(), VF::IPublishableVideoFrame::kInterfaceID);
    ASSERT_TRUE(publishable);
    EXPECT_EQ((Slot<std::int32_t(void*, const Guid&)>(publishable, 4)(publishable, Guid::Generate())), 0);

    // Every interface of an object shares its count and its identity.
    for (void* const interface : {memory, rows, clearable}) {
        EXPECT_EQ(Query(interface, BRT::BRTUnknown::kInterfaceID), frame.GetPtr());
        frame->Release();
        Slot<std::uint32_t(void*)>(interface, 1)(interface);
    }
    EXPECT_EQ(frame->AddRef(), 2U);
    EXPECT_EQ(frame->Release(), 1U);
    Slot<std::uint32_t(void*)>(publishable, 1)(publishable);
}

TEST_F(FrameTable, TheDestructorSlotFreesOnlyWhenAsked) {
    const auto inUse = [] { return BRT::MemoryRecycler::Instance().GetStatistics().buffersInUse; };
    auto* const frame = new VF::RawFrame;
    ASSERT_EQ(frame->Initialize(100, 0), 0);
    const std::uint64_t before = inUse();
    EXPECT_EQ((Slot<void*(void*, unsigned)>(frame, 2)(frame, 0)), frame);
    EXPECT_EQ(inUse(), before - 1) << "the object was not destroyed";
    BRT::Allocator::Dispose(frame, sizeof(VF::RawFrame));
}

} // namespace
