#include "XPictureSender.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace WindowsApi {
namespace {

constexpr std::size_t kBytesPerBgrx = 4;
constexpr std::size_t kRequestHeaderInBytes = 64; // more than any header of PutImage

class FileDescriptor {
public:
    explicit FileDescriptor(int inNumber) noexcept : mNumber(inNumber) {}
    ~FileDescriptor() {
        if (mNumber >= 0) {
            close(mNumber);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Number() const noexcept { return mNumber; }
    int Release() noexcept { return std::exchange(mNumber, -1); }

private:
    int mNumber;
};

} // namespace

bool XPictureSender::SharedBlock::Attach(xcb_connection_t* inConnection, std::size_t inSize) noexcept {
    Detach();
    FileDescriptor file(memfd_create("picture", MFD_CLOEXEC));
    // Reserved at once, so that a machine without memory is noticed here and not by a fault while writing.
    if (file.Number() < 0 || posix_fallocate(file.Number(), 0, static_cast<off_t>(inSize)) != 0) {
        return false;
    }
    void* const memory = mmap(nullptr, inSize, PROT_READ | PROT_WRITE, MAP_SHARED, file.Number(), 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    mConnection = inConnection;
    mBytes = {static_cast<std::uint8_t*>(memory), inSize};
    const xcb_shm_seg_t segment = xcb_generate_id(inConnection);
    constexpr std::uint8_t kReadOnly = 1; // for the server
    // xcb closes the descriptor when it has sent it.
    if (!Succeeds(inConnection, xcb_shm_attach_fd_checked(inConnection, segment, file.Release(), kReadOnly))) {
        Detach();
        return false;
    }
    mSegment = segment;
    return true;
}

void XPictureSender::SharedBlock::Detach() noexcept {
    if (mSegment != 0) {
        xcb_shm_detach(mConnection, std::exchange(mSegment, 0));
    }
    if (!mBytes.empty()) {
        munmap(mBytes.data(), mBytes.size());
        mBytes = {};
    }
}

XPictureSender::XPictureSender(xcb_connection_t* inConnection, XPixelLayout inLayout, int inDepth)
    : mConnection(inConnection), mLayout(inLayout), mDepth(static_cast<std::uint8_t>(inDepth)),
      mShares(CanShareMemory(inConnection)) {}

XPictureSender::~XPictureSender() {
    const PipeSignalGuard guard;
    mShared.Detach();
}

bool XPictureSender::CanShareMemory(xcb_connection_t* inConnection) noexcept {
    // Descriptors pass only through a local socket, and since version 1.2.
    int domain = 0;
    socklen_t size = sizeof domain;
    if (getsockopt(xcb_get_file_descriptor(inConnection), SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 ||
        domain != AF_UNIX) {
        return false;
    }
    const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(inConnection, &xcb_shm_id);
    if (extension == nullptr || extension->present == 0) {
        return false;
    }
    const XReply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(inConnection, xcb_shm_query_version(inConnection), nullptr));
    return version && (version->major_version > 1 || (version->major_version == 1 && version->minor_version >= 2));
}

std::uint8_t* XPictureSender::Transfer(std::size_t inSize) {
    if (mShares && mShared.Bytes().size() < inSize) {
        mShares = mShared.Attach(mConnection, inSize);
    }
    if (mShares) {
        return mShared.Bytes().data();
    }
    if (mUnshared.size() < inSize) {
        mUnshared.resize(inSize);
    }
    return mUnshared.data();
}

Surface XPictureSender::Begin(int inWidth, int inHeight) {
    mWidth = inWidth;
    mHeight = inHeight;
    const auto height = static_cast<std::size_t>(inHeight);
    mTransfer = Transfer(mLayout.RowBytes(inWidth) * height);
    const std::size_t rowBytes = static_cast<std::size_t>(inWidth) * kBytesPerBgrx;
    if (mLayout.IsBgrx()) {
        return {mTransfer, static_cast<std::ptrdiff_t>(rowBytes)};
    }
    mUnpacked.resize(std::max(mUnpacked.size(), rowBytes * height));
    return {mUnpacked.data(), static_cast<std::ptrdiff_t>(rowBytes)};
}

bool XPictureSender::Send(xcb_drawable_t inDrawable, xcb_gcontext_t inGraphics, int inX, int inY) noexcept {
    const auto height = static_cast<std::size_t>(mHeight);
    if (!mLayout.IsBgrx()) {
        const std::size_t rowBytes = static_cast<std::size_t>(mWidth) * kBytesPerBgrx;
        for (std::size_t row = 0; row < height; ++row) {
            mLayout.Pack({mUnpacked.data() + row * rowBytes, rowBytes}, mTransfer + row * mLayout.RowBytes(mWidth));
        }
    }
    if (!mShares) {
        return SendThroughConnection(inDrawable, inGraphics, inX, inY);
    }
    const auto columns = static_cast<std::uint16_t>(mWidth);
    const auto rows = static_cast<std::uint16_t>(mHeight);
    constexpr std::uint8_t kNoEvent = 0;
    constexpr std::uint32_t kStart = 0;
    return Succeeds(mConnection,
                    xcb_shm_put_image_checked(mConnection, inDrawable, inGraphics, columns, rows, 0, 0, columns, rows,
                                              static_cast<std::int16_t>(inX), static_cast<std::int16_t>(inY), mDepth,
                                              XCB_IMAGE_FORMAT_Z_PIXMAP, kNoEvent, mShared.Segment(), kStart));
}

bool XPictureSender::SendThroughConnection(xcb_drawable_t inDrawable, xcb_gcontext_t inGraphics, int inX,
                                           int inY) noexcept {
    const std::size_t rowBytes = mLayout.RowBytes(mWidth);
    const std::size_t most = std::size_t{xcb_get_maximum_request_length(mConnection)} * 4;
    const int band = most <= kRequestHeaderInBytes ? 0 : static_cast<int>((most - kRequestHeaderInBytes) / rowBytes);
    if (band == 0) {
        return false;
    }
    for (int row = 0; row < mHeight; row += band) {
        const int rows = std::min(band, mHeight - row);
        const std::size_t from = static_cast<std::size_t>(row) * rowBytes;
        const std::size_t bytes = static_cast<std::size_t>(rows) * rowBytes;
        constexpr std::uint8_t kNoLeftPad = 0;
        if (!Succeeds(mConnection,
                      xcb_put_image_checked(mConnection, XCB_IMAGE_FORMAT_Z_PIXMAP, inDrawable, inGraphics,
                                            static_cast<std::uint16_t>(mWidth), static_cast<std::uint16_t>(rows),
                                            static_cast<std::int16_t>(inX), static_cast<std::int16_t>(inY + row),
                                            kNoLeftPad, mDepth, static_cast<std::uint32_t>(bytes), mTransfer + from))) {
            return false;
        }
    }
    return true;
}

} // namespace WindowsApi
