#pragma once

#include "DeviceVideoFrames.h"
#include "SharedMemoryVideoFrame/CreateFrames.h"
#include "TestFrames.h"

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <vector>

namespace vftest {

/// What a frame is made of; dataBytes counts for custom formats alone.
struct Picture {
    PixelFormat format;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::int32_t dataBytes = 0;
};

/// Sets properties and pixels before the frame may become read-only.
using Prepare = std::function<void(const FrameRef&)>;

/// One kind of frame.
struct FrameKind {
    const char* name;
    bool publishable;
    bool writable; ///< pixels and properties may be written, whatever the read-only flag says
    FrameRef (*make)(const Picture&, const Prepare&);
    bool view = false; ///< shows a part of another frame, from which it has most of its properties
    bool device = false; ///< its block is the image, and its alpha type that of its format
};

inline FrameRef MakeRecycled(const Picture& picture, const Prepare& prepare) {
    FrameRef frame;
    const bool custom = picture.dataBytes != 0;
    EXPECT_EQ(custom ? VF::CreateCustomVideoFrame(frame, picture.format, picture.width, picture.height,
                                                  picture.dataBytes, {1, 1})
                     : VF::CreateVideoFrame(frame, picture.format, picture.width, picture.height, {1, 1}, true, false),
              0);
    prepare(frame);
    return frame;
}

inline FrameRef MakeWritableBlock(const Picture& picture, const Prepare& prepare) {
    VF::SetCreatePublishableVideoFrames(true);
    FrameRef frame = MakeRecycled(picture, prepare);
    VF::SetCreatePublishableVideoFrames(false);
    return frame;
}

inline FrameRef MakePublished(const Picture& picture, const Prepare& prepare, const zyncore::utility::Guid& id) {
    FrameRef frame = MakeWritableBlock(picture, prepare);
    EXPECT_EQ(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame)->Publish(id), 0);
    return frame;
}

/// The frame under an identifier, empty without one.
inline FrameRef Receive(const zyncore::utility::Guid& id) {
    boost::shared_ptr<framebroker::BinaryReference> reference;
    static_cast<void>(framebroker::GetBinaryDataIfAvailable(id, reference));
    return VF::Details::WrapBinaryReference(reference, id);
}

/// A frame that another process published, which has ended since.
inline FrameRef MakeReceived(const Picture& picture, const Prepare& prepare) {
    const auto id = zyncore::utility::Guid::Generate();
    int published[2];
    int opened[2];
    EXPECT_EQ(pipe(published) | pipe(opened), 0);
    char token = 0;
    const pid_t child = fork();
    if (child == 0) {
        close(opened[1]); // a parent that ends must end the child too
        bool good = framebroker::InitializeClient();
        MakePublished(picture, prepare, id);
        good = good && write(published[1], &token, 1) == 1 && read(opened[0], &token, 1) == 1;
        framebroker::UninitializeClient();
        _exit(good ? 0 : 1);
    }
    close(published[1]);
    EXPECT_EQ(read(published[0], &token, 1), 1);
    FrameRef frame = Receive(id);
    EXPECT_EQ(write(opened[1], &token, 1), 1);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    for (const int descriptor : {published[0], opened[0], opened[1]}) {
        close(descriptor);
    }
    return frame;
}

/// Where a view of FrameKinds lies in its parent, which is as much larger: (6, 2) from the left and the first row.
constexpr Rect ViewRect(std::uint32_t width, std::uint32_t height) {
    return {6, 2, static_cast<std::int32_t>(width) + 6, static_cast<std::int32_t>(height) + 2};
}

/// A view of a frame of another kind.
template <FrameRef (*MakeParent)(const Picture&, const Prepare&)>
FrameRef MakeView(const Picture& picture, const Prepare& prepare) {
    FrameRef view;
    const auto makeView = [&](const FrameRef& parent) {
        VF::CreateVideoSubFrame(view, parent, ViewRect(picture.width, picture.height));
    };
    const FrameRef parent = MakeParent({picture.format, picture.width + 8, picture.height + 3},
                                       [&](const FrameRef& parentToBe) { makeView(parentToBe), prepare(view); });
    makeView(parent); // another frame than before where the parent was received
    return view;
}

inline const FrameKind kBlockKinds[] = {
    {"Recycled", false, true, MakeRecycled},
    {"WritableBlock", true, true, MakeWritableBlock},
    {"PublishedBlock", true, false,
     [](const Picture& picture, const Prepare& prepare) {
         return MakePublished(picture, prepare, zyncore::utility::Guid::Generate());
     }},
    {"WrappedBlock", true, false,
     [](const Picture& picture, const Prepare& prepare) {
         const auto id = zyncore::utility::Guid::Generate();
         const FrameRef published = MakePublished(picture, prepare, id);
         return Receive(id);
     }},
    {"ReceivedBlock", true, false, MakeReceived},
};

inline const FrameKind kViewKinds[] = {
    {"View", false, true, MakeView<MakeRecycled>, true},
    {"ViewOfAView", false, true, MakeView<MakeView<MakeWritableBlock>>, true},
    {"ViewOfAReceivedBlock", false, false, MakeView<MakeReceived>, true},
};

/// A frame in memory of the host device.
template <decltype(&VF::CreateGPUVideoFrame) Create>
FrameRef MakeOnDevice(const Picture& picture, const Prepare& prepare) {
    FrameRef frame;
    EXPECT_EQ(Create(frame, DK::GetHostDevice(), picture.format, picture.width, picture.height, {1, 1},
                     zynmediatypes::kFieldType_NotSet),
              0);
    prepare(frame);
    return frame;
}

inline const FrameKind kDeviceKinds[] = {
    {"PinnedMemory", false, true, MakeOnDevice<VF::CreatePinnedMemoryVideoFrame>, false, true},
    {"GPU", false, true, MakeOnDevice<VF::CreateGPUVideoFrame>, false, true},
};

/// The frame's access to memory or rows, whichever side it is for.
template <class Access, class GPUAccess>
BRT::InterfaceRef<Access> AccessOf(const FrameRef& frame) {
    const auto own = BRT::QueryInterface<Access>(frame);
    return own ? own : BRT::InterfaceRef<Access>(BRT::QueryInterface<GPUAccess>(frame).GetPtr());
}

inline std::vector<FrameKind> AllKinds() {
    std::vector<FrameKind> kinds(std::begin(kBlockKinds), std::end(kBlockKinds));
    kinds.insert(kinds.end(), std::begin(kViewKinds), std::end(kViewKinds));
    return kinds;
}

} // namespace vftest
