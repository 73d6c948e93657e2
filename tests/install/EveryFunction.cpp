// Calls every function that the library exports, from outside of it. CheckCalls.cmake sees from the dynamic linker that
// none is left out; what a call must do beyond a little is for the tests of its own.

#include "AlphaChannels.h"
#include "BitmapImport.h"
#include "ChannelFilters.h"
#include "ColourHistogram.h"
#include "DepthConversion.h"
#include "DeviceVideoFrames.h"
#include "Display.h"
#include "FxSupport.h"
#include "MaskedCopy.h"
#include "PaletteQuantizer.h"
#include "PixelFormatUtilities.h"
#include "Polygon.h"
#include "RunLength.h"
#include "SharedVideoFrameCache.h"
#include "TPix.h"
#include "TPixCopy.h"
#include "TPixHandleUtilities.h"
#include "VideoFrameFactory.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameMultiCam.h"
#include "VideoFrameSharing.h"
#include "VideoFrameUtilities.h"
#include "WindowsApi.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

using namespace zynmediatypes;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using Rect = BRT::ParamRect<BRT::CRect>;

bool failures = false;

void Check(bool holds, int line = __builtin_LINE()) {
    if (!holds) {
        std::printf("line %d\n", line);
        failures = true;
    }
}

constexpr PixelFormat kBgra = kPixelFormat_BGRA_4444_8u;
constexpr int kWidth = 8;
constexpr int kHeight = 6;
constexpr RECT kWhole{0, 0, kWidth, kHeight};

FrameRef NewFrame() {
    FrameRef frame;
    VF::CreateVideoFrame(frame, kBgra, kWidth, kHeight, kPixelAspectRatio_Square, true, true);
    return frame;
}

std::uint8_t* DataOf(const FrameRef& frame) {
    return static_cast<std::uint8_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetData());
}

std::uint32_t FirstPixel(const FrameRef& frame) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, DataOf(frame), sizeof pixel);
    return pixel;
}

zyncore::utility::Guid Id(std::uint32_t number) {
    return {number, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
}

void CallFormatFunctions() {
    Check(VF::SDKToBEPixelFormat(VF::BEToSDKPixelFormat(kBgra)) == kBgra);
    Check(VF::IsValidSDKPixelFormat(VF::BEToSDKPixelFormat(kBgra)));
    Check(VF::IsCustomSDKPixelFormat('@') && !VF::IsCustomBEPixelFormat(kBgra) && VF::IsStandardBEPixelFormat(kBgra));
    Check(VF::PixelFormatComponentPrecision(kBgra) == 8 && VF::PixelType2DMemoryAccessCapable(kBgra));
    Check(VF::PBPixelFormatToBEPixelFormat(VF::BEPixelFormatToPBPixelFormat(kBgra)) == kBgra);
    Check(VF::BEToPBPixelFormat(kBgra) == VF::BEPixelFormatToPBPixelFormat(kBgra));
    std::uint32_t pixel = 0;
    Check(VF::GetBlackForPixelFormat(kBgra, &pixel) == 0 && pixel == 0xFF000000);
    Check(VF::GetWhiteForPixelFormat(kBgra, &pixel) == 0 && pixel == 0xFFFFFFFF);
    Check(VF::ConvertColorToPixelFormattedData(kBgra, 0, 1, 0, 1, &pixel) == 0 && pixel == 0x00FF00FF);
    Check(VF::RectIsValidForPixelFormat(kBgra, {0, 0, 3, 3}, kPixelAspectRatio_Square));
    Check(VF::IsRectNativeToFrame({0, 0, 4, 4}, {0, 0, 4, 4}, kBgra));
}

void CallFrameFactories() {
    FrameRef frame;
    VF::CreateDiskAlignedVideoFrame(frame, kBgra, kWidth, kHeight, kPixelAspectRatio_Square, 0, 4096, 0, false, false);
    Check(frame && reinterpret_cast<std::uintptr_t>(DataOf(frame)) % 4096 == 0);
    VF::CreateCustomVideoFrame(frame, VF::SDKToBEPixelFormat('@'), 1, 1, 77, kPixelAspectRatio_Square);
    Check(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize() == 77);
    frame = NewFrame();
    Check(VF::MakeWriteableVideoFrame(frame, kRenderQuality_Low) == frame);
    FrameRef view;
    Check(VF::CreateVideoSubFrame(view, frame, Rect{2, 1, 6, 3}) == 0 && view->GetBounds() == Rect(0, 0, 4, 2));
    bool caught = false;
    try {
        view->SetReadOnly(true);
    } catch (const VF::IllegalVideoSubFrameOperation&) {
        caught = true;
    }
    Check(caught);
    const auto host = DK::GetHostDevice();
    VF::CreateGPUVideoFrame(frame, host, kBgra, 2, 2, kPixelAspectRatio_Square, kFieldType_Progressive);
    Check(frame->GetBounds().Width() == 2);
    VF::CreatePinnedMemoryVideoFrame(frame, host, kBgra, 3, 2, kPixelAspectRatio_Square, kFieldType_Progressive);
    Check(frame->GetBounds().Width() == 3);
    VF::SetCreatePublishableCustomVideoFrames(true);
    Check(VF::GetCreatePublishableCustomVideoFrames() && !VF::GetCreatePublishableVideoFrames());
    VF::SetCreatePublishableCustomVideoFrames(false);
    VF::SetCreatePublishableVideoFrames(false);
}

void CallManipulators() {
    namespace Do = VF::VideoFrameManipulators;
    const FrameRef white = NewFrame();
    BRT::QueryInterface<RK::IVideoFrameClearable>(white)->FillWithOpaqueWhite();
    const auto copies = [&](const auto& copy) {
        const FrameRef to = NewFrame();
        to->SetFieldType(kFieldType_LowerFirst); // field 0 has stored row 0
        copy(to);
        return FirstPixel(to) == 0xFFFFFFFF;
    };
    const Rect whole(0, 0, kWidth, kHeight);
    Check(copies([&](auto& to) { Do::CopyRect(white, whole, to, whole, kRenderQuality_High, -1); }));
    Check(copies([&](auto& to) { Do::CopyFrame(white, to, kRenderQuality_High); }));
    Check(copies([&](auto& to) { Do::CopyFrameWithFields(white, to, kRenderQuality_High, kFieldType_OfSource); }));
    Check(copies([&](auto& to) { Do::CopyField(white, to, 0, kRenderQuality_High); }));
    Check(copies([&](auto& to) { Do::InterpFieldToFrame(white, to, 0); }));
    Check(copies([&](auto& to) { Do::VerticalConvolve(white, to); }));
    Check(copies([&](auto& to) { Do::SwapFields(white, to); }));
    FrameRef same;
    Check(Do::MakeAddressableVideoFrame(white, same, kBgra, kRenderQuality_High) == 0 && same == white);
    Do::DeinterlaceVideoFrame(white, 0);
    Check(Do::MergePulldownFrames(NewFrame(), white) == 0);
    std::array<std::uint32_t, kWidth * kHeight> block{};
    Check((Do::StoreExternal(white, block.data(), kWidth * 4), block.back() == 0xFFFFFFFF));
    Check(copies([&](auto& to) { Do::LoadExternal(to, block.data(), kWidth * 4); }));
    Check((Do::StoreExternal(NewFrame(), block.data(), kWidth, kHeight, kWidth * 4), block.back() == 0));
    Check((Do::LoadExternal(white, block.data(), kWidth, kHeight, kWidth * 4), FirstPixel(white) == 0));
    Check((Do::InvertAlpha(white), FirstPixel(white) == 0xFF000000));
    Rect bounds;
    Check((Do::CalculateAlphaBounds(white, bounds), bounds == whole));
    Check((Do::OpaqueAlpha(white), FirstPixel(white) == 0xFF000000));
}

void CallSharingAndCache() {
    const FrameRef frame = NewFrame();
    std::uint64_t size = 0;
    Check(VF::GetRequiredSharedMemorySizeForVideoFrame(frame, size) == 0 && size == 128 + kWidth * kHeight * 4);
    std::vector<std::uint8_t> block(size);
    Check(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, block.data(), size) == 0 && block[0] == 128);
    Check(VF::GetRequiredSharedMemorySizeForVideoFrame(kBgra, kWidth, kHeight, 0, 0, 0, size) == 0);
    Check(size == block.size() && VF::DeterminePixelOffsetForVideoFrame(block.data(), 0, 0, 0) == 0);
    boost::shared_ptr<framebroker::WritableBinaryReference> kept;
    Check(VF::PublishVideoFrameProvidingReference(frame, Id(1), kept) == 0 && kept);
    Check(VF::PublishVideoFrame(frame, Id(2)) == 0);
    for (const std::uint32_t number : {1U, 2U}) {
        boost::shared_ptr<framebroker::BinaryReference> found;
        framebroker::GetBinaryDataIfAvailable(Id(number), found);
        FrameRef wrapped;
        Check(VF::WrapVideoFrameAroundBinaryReference(found, Id(number), wrapped) == 0 && wrapped->GetReadOnly());
    }

    namespace Cache = VF::SharedVideoFrameCache;
    static int notified = 0;
    Cache::SetNotificationFunction([](const zyncore::utility::Guid&) { ++notified; });
    Cache::RegisterDependencyOnFrame(Id(3));
    Check((Cache::InsertIntoCache(frame, Id(3), 1), notified == 1 && Cache::RetrieveFromCache(Id(3)) == frame));
    Cache::UnregisterDependencyOnFrame(Id(3));
    Check((Cache::ExpireFromCache(Id(3)), !Cache::RetrieveFromCache(Id(3))));
    Cache::InsertIntoCache(frame, Id(4), 1);
    Check((Cache::ExpireAllFramesFromCache(), !Cache::RetrieveFromCache(Id(4))));
    Cache::SetNotificationFunction(nullptr);

    VF::MultiCamRenderParams monitor;
    monitor.width = 16;
    monitor.height = 8;
    monitor.pixelAspectRatio = kPixelAspectRatio_Square;
    monitor.pixelFormat = kBgra;
    Check(VF::UnSelectedRenderParams(monitor, true).width == 4 && VF::SelectedRenderParams(monitor, true).width == 8);
    Check(VF::RenderMulticam({frame}, 0, false, true, monitor, false)->GetBounds() == Rect(0, 0, 16, 8));
    Check(VF::RenderNonMulticam({frame}, false, monitor, {}, false)->GetBounds() == Rect(0, 0, 16, 8));
}

void CallPixmapFunctions() {
    const FrameRef frame = NewFrame();
    frame->SetRenderTime(41);
    const TPixHand hand = VF::NewTPixFromVideoFrame(frame);
    Check(VF::GetUnderlyingVideoFrameRenderTime(hand) == 41 && !VF::GetUnderlyingVideoFrameReadOnly(hand));
    unsigned numerator = 0;
    unsigned denominator = 0;
    VF::GetUnderlyingVideoFrameAspectRatio(hand, &numerator, &denominator);
    Check(numerator == 1 && denominator == 1 && VF::GetUnderlyingVideoFramePixelFormat(hand) == kBgra);
    Check(VF::GetUnderlyingVideoFrameFieldType(hand) == frame->GetFieldType());
    Check(VF::GetVideoFrameFromTPix(hand) == frame && VF::GetTPixHandFrameMapping(hand));
    RECT bounds = kWhole;
    const PixelFormat custom = VF::SDKToBEPixelFormat('@');
    for (const TPixHand other :
         {VF::NewTPixFromVideoFrame(frame, true, kFieldType_UpperFirst, 0),
          VF::NewTPixWithVideoFrame(&bounds, kBgra, false, 0, kPixelAspectRatio_Square, 0, 0, 0),
          VF::NewTPixWithRawFrame(64, 16),
          VF::NewTPixFromVideoMemoryAccess(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)),
          VF::NewCustomTPixWithVideoFrame(&bounds, custom, 64, kPixelAspectRatio_Square)}) {
        Check(other != nullptr && (*other)->pixels != nullptr);
        VF::DisposeTPixFromVideoFrame(other);
    }

    Check(tpixFillRect(hand, nullptr, RGB(1, 2, 3)) == 0 && tpixGetPixel(hand, 0, 0) == 0x010203);
    const RECT corner{0, 0, 1, 1};
    Check(tpixFillRectTransparent(hand, &corner, RGB(4, 5, 6)) == 0 && tpixGetPixel(hand, 0, 0) == 0x040506);
    Check((tpixFillAlpha(hand, 9), FirstPixel(frame) == 0x09010203 && CalcRowBytes(3, 24) == 12));
    Check(tpixLockPixels(hand) == 0 && tpixUnlockPixels(hand) == 0 && tpixGetPixels(hand) == DataOf(frame));
    tpixGetBounds(hand, &bounds);
    Check(bounds.right == kWidth && tpixGetRowbytes(hand) == kWidth * 4 && tpixGetPixelAspectRatio(hand) == 0x10001);
    Check((tpixGetAlphaBounds(hand, &bounds), bounds.bottom == kHeight && GetPixFieldbase(hand) == 0));
    std::uint8_t* const top = tpixTopLine(tpixGetPixels(hand), kWidth * 4, kHeight);
    Check(tpixNextLine(top, kWidth * 4) == top - kWidth * 4 && tpixCalcNextSkip(40, kWidth) == -40 - kWidth * 4);
    Check(GetScreenColors() != 0 && GetScreenDepth() > 0);

    Check((TPixFieldsPrep(hand, 1), TPixFields_PointAtField(hand, 1) == *hand && GetPixFieldbase(hand) == 2));
    const TPixHand clone = TPixFieldsClone(hand);
    Check(clone != nullptr && GetPixFieldbase(clone) == 2);
    TPixFieldsCloneFree(clone);
    Check((TPixFields_PointAtFull(hand), GetPixFieldbase(hand) == 0));
    TPixFieldsCleanup(hand);

    const std::int16_t number = RegTWorldBits(hand, 0);
    Check(twGetTPix(number) == hand);
    twDispose(number, 0);
    std::int16_t made = 0;
    Check(twNew(&made, &kWhole, nullptr, 0) == 0 && twGetTPix(made) != nullptr);
    twDispose(made, 0);
    VF::DisposeTPixFromVideoFrame(hand);

    EW_LayerDef world{};
    VF::NewEW_WorldFromExistingVideoFrame(frame, world, false, kFieldType_Progressive, 0);
    PixelFormat format;
    Check(VF::GetEWWorldVideoFramePixelType(world.data, kBgra, format) && format == kBgra);
    Check(VF::GetEWWorldVideoFramePixelType(world.data) == kBgra && VF::GetEWWorldFrameMapping(world.data));
    VF::DisposeEW_WorldFromVideoFrame(world.data);
    Check(VF::NewEW_WorldWithNewVideoFrame(4, 4, kBgra, kPixelAspectRatio_Square, world) && world.height == 4);
    VF::DisposeEW_WorldFromVideoFrame(world.data);
}

void CallDepthAndChannelFunctions() {
    constexpr int count = 4;
    const std::array<std::uint32_t, count> pixels{0xFF102030, 0x80405060, 0x00FFFFFF, 0x40000000};
    std::array<std::uint32_t, count> copy{};
    Check(_KxCopy32(pixels.data(), copy.data(), 1, 1, 16, 16) == 0 && copy[0] == pixels[0]);
    Check(KxCopy32(pixels.data(), copy.data(), 2, 1, 16, 16) == 0 && copy[1] == pixels[1]);
    Check(Copy32(pixels.data(), copy.data(), count, 1, 16, 16) == 0 && copy == pixels);
    std::array<std::uint16_t, count> narrow{};
    DepthCon32To16(pixels.data(), narrow.data(), count, 1, 16, 8);
    Check((DepthCon16To32(narrow.data(), copy.data(), count, 1, 8, 16), narrow[2] == 0x7FFF && copy[0] == 0xFF102030));
    std::array<std::uint8_t, 3 * count> bytes{};
    Check(_KxDepthCon32To24(pixels.data(), bytes.data(), 2, 1, 16, 12) == 0 && bytes[5] == 0x40);
    Check(DepthCon32To24(pixels.data(), bytes.data(), count, 1, 16, 12) == 0 && bytes[6] == 0xFF);
    Check(_KxDepthCon24To32(bytes.data(), copy.data(), 2, 1, 12, 16) == 0 && copy[1] == 0xFF405060);
    Check(DepthCon24To32(bytes.data(), copy.data(), count, 1, 12, 16) == 0 && copy[3] == 0xFF000000);
    const std::array<std::uint8_t, count> indexes{0, 1, 2, 3};
    DepthCon8To32(indexes.data(), copy.data(), count, 1, 4, 16, pixels.data());
    Check(copy == pixels && Con32ToQ32(pixels.data(), copy.data(), 16, 16, count, 1) == 0 && copy[0] == 0x302010FF);
    copy = pixels;
    Check((A_AlphaToRGB(copy.data(), count, 1, 16), copy[1] == 0x80808080));

    const TPixHand hand = tpixNew(&kWhole);
    std::array<std::uint8_t, kWidth * kHeight> buffer{};
    const auto first = [&] { return tpixGetPixel(hand, 0, kHeight - 1); };
    buffer[0] = 7;
    GreyBufferToAlpha(hand, buffer.data());
    Check((AlphaToRGB(hand), first() == 0x070707));
    Check((AlphaToInverseRGB(hand), first() == 0xF8F8F8));
    buffer = {};
    AlphaToGreyBuffer(hand, buffer.data());
    Check((ReplaceChannel(buffer.data(), kWidth, kHeight, 7), buffer[0] == 31 && buffer[1] == 0));
    std::uint8_t* const data = (*hand)->pixels;
    auto other = buffer;
    Check((EdgeAliasChannel(data, kWidth * 4, kWidth, kHeight, buffer.data()), buffer[0] == 255));
    buffer = {31};
    EdgePaintChannel(data, kWidth * 4, kWidth, kHeight, 0x123456, buffer.data(), other.data());
    Check(first() == 0x123456 && buffer == other);
    const std::array<std::uint8_t, kWidth * kHeight> none{};
    EdgeReconstructAlphas(buffer.data(), none.data(), data, buffer.data(), kWidth, kHeight, kWidth * 4);
    Check(data[3] == 31);
    std::array<std::uint8_t, 256> map{};
    std::iota(map.rbegin(), map.rend(), std::uint8_t{0});
    Check((bn_DoIndexMap(data, data, kWidth * 4, 1, 1, map.data(), map.data(), map.data()), first() == 0xEDCBA9));
    const std::int16_t kernel[kConvolveKernel_Numbers] = {0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 4};
    Check((DoConvolve(data, data, kernel, kWidth * 4, 1, 1), first() == 0x766554));
    const std::uint32_t white = 0xFFFFFFFF;
    const std::uint8_t full = 255;
    Check((CopyMask8(&white, data, 1, 1, 4, 4, 1, &full), first() == 0xFFFFFF));
    const std::array<std::uint16_t, kHeight> bits{0x80};
    const TPixHand black = tpixNew(&kWhole);
    tpixFillRect(black, nullptr, 0);
    CopyMaskTPix(*hand, *black, &kWhole, &kWhole, 0, bits.data());
    Check(tpixGetPixel(black, 0, 0) == tpixGetPixel(hand, 0, 0) && tpixGetPixel(black, 1, 0) == 0);
    tpixDispose(black);
    tpixDispose(hand);
}

void CallQuantizerFunctions() {
    void* const histogram = InitHistogram(nullptr);
    const std::uint32_t pixel32 = 0x00F80000; // red 31
    const std::uint16_t pixel16 = 31 << 10;
    const std::array<std::uint16_t, 256> table{pixel16, pixel16};
    const std::uint8_t index = 0;
    Histogram32(&pixel32, 1, 1, 4, histogram);
    Histogram24(&pixel32, 1, 1, 3, histogram);
    Histogram16(&pixel16, 1, 1, 2, histogram);
    Histogram8(&index, 1, 1, 1, histogram, table.data());
    Histogram4(&index, 2, 1, 1, histogram, table.data());
    Histogram1(&index, 8, 1, 1, histogram, table.data());
    Check(Histogram32Hist(&pixel32, 1, 1, 4, histogram) == 1);
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = header.biHeight = header.biPlanes = 1;
    header.biBitCount = 32;
    Check(DibHistogram(&header, &pixel32, 0, 0, 1, 1, histogram) == 1);
    Check((UseHistogram(nullptr), GetHistogram(31, 0, 0) == 0));
    UseHistogram(histogram);
    IncHistogram(pixel16);
    IncHistogramHist(0, histogram);
    Check(GetHistogram(31, 0, 0) == 1 + 1 + 1 + 1 + 2 + 8 + 1 + 1 + 1 && GetHistogram(0, 0, 0) == 1);

    ColourBox box{nullptr, 0, 31, 0, 31, 0, 31, 0, 0};
    Check((ShrinkBox(&box), box.count == 18 && box.score > 0));
    box.count = 0;
    ShrinkBoxHist(&box, histogram);
    const std::uint32_t projection[] = {1, 0, 1};
    Check(box.count == 18 && AddAxisVariance(0, projection, 0, 2, 2) == 2);
    Check(FindSplitAxis(&box).axis == 0 && FindSplitAxisHist(&box, histogram).place == 0);
    Check(InitBoxes(4) == 1);
    ColourBox half = box;
    Check(SplitBoxAxis(&half, {15, 1}) == 0 && half.greenMax == 15);
    half = box;
    Check(SplitBox(&half) == 0 && half.count == 1);
    half = box;
    Check(SplitBoxHist(&half, histogram) == 0 && half.count == 1);
    SortBoxes();
    std::vector<std::uint8_t> map(kColourIndexes, 9);
    Check(DetermineRepresentative(&half, 1) == DetermineRepresentativeHist(&half, 5, map.data(), histogram));
    Check(map[0] == 5 && map[pixel16] == 9);
    DeleteBoxes();

    Check((DeleteObject(HistogramPalette(histogram, map.data(), 2)), map[pixel16] == 0 && map[0] == 1));
    const HPALETTE palette = HistogramToPalette(histogram, nullptr, 2);
    PALETTEENTRY entries[2]{};
    Check(GetPaletteEntries(palette, 0, 2, entries) == 2 && entries[0].peRed > 240 && entries[1].peRed == 0);
    std::fill(map.begin(), map.end(), std::uint8_t{9});
    Check((MakePalLookup(map.data(), palette), map[pixel16] == 0 && map[0] == 1));
    std::uint32_t row = 0xFFFFFFFF;
    Check((ReducePixels(&header, &pixel32, &header, &row, palette, map.data()), (row & 0xFF) == 0));
    row = 0xFFFFFFFF;
    Check((ReducePixelsHist(&header, &pixel32, &header, &row, palette, map.data(), 0, 0), (row & 0xFF) == 0));
    DeleteObject(palette);
    FreeHistogram(histogram);
}

void CallCopyFunctions() {
    const TPixHand white = tpixNew(&kWhole);
    tpixFillRect(white, nullptr, RGB(255, 255, 255));
    const TPixHand grey = tpixNew(&kWhole);
    tpixFillRect(grey, nullptr, RGB(9, 9, 9));
    // What a call writes into a black picture, at its left top pixel.
    const auto result = [](const auto& call) {
        const TPixHand to = tpixNew(&kWhole);
        tpixFillRect(to, nullptr, 0);
        call(to);
        const std::uint32_t pixel = tpixGetPixel(to, 0, 0);
        tpixDispose(to);
        return pixel;
    };
    constexpr std::uint32_t isWhite = 0xFFFFFF;
    RECT all = kWhole;
    const std::array<std::uint16_t, kHeight> bits{0x80};
    const HRGN region = CreateRectRgn(0, 0, 1, 1);
    Check(result([&](auto to) { MyCopyPix(*white, *to, &all, &all, 0, nullptr); }) == isWhite);
    Check(result([&](auto to) { tpixCopy(white, to, &all, &all, 0); }) == isWhite);
    Check(result([&](auto to) { tpixCopyRgn(white, to, &all, &all, 0, region); }) == isWhite);
    Check(result([&](auto to) { bn_StretchBits(white, to, &all, &all, 0, nullptr); }) == isWhite);
    Check(result([&](auto to) { tpixStraightCopyRect(white, {0, 0}, to, &all); }) == isWhite);
    Check(result([&](auto to) { tpixStraightCopy(white, to); }) == isWhite);
    Check(result([&](auto to) { tpixStraightScaleRect(white, &all, to, &all); }) == isWhite);
    Check(result([&](auto to) { tpixStraightScale(white, to); }) == isWhite);
    Check(result([&](auto to) { tpixOneBitMaskComposite(white, grey, to, bits.data()); }) == isWhite);
    Check(result([&](auto to) { tpixOneBitMaskRegionComposite(white, grey, to, region); }) == isWhite);
    Check(result([&](auto to) {
              tpixOneBitMaskCompositeRect(white, {0, 0}, grey, {0, 0}, to, &all, bits.data(), {1, 0});
          }) == 0x090909);
    Check(result([&](auto to) {
              tpixOneBitMaskRegionCompositeRect(white, {0, 0}, grey, {0, 0}, to, &all, region, {1, 0});
          }) == 0x090909);
    Check(result([&](auto to) { tpixCompositeToBlack(white, to); }) == isWhite);
    const POINT quad[] = {{0, 0}, {kWidth, 0}, {kWidth, kHeight}, {0, kHeight}};
    std::array<TPixFixedPoint, 4> fixed{};
    std::transform(quad, quad + 4, fixed.begin(), [](POINT p) { return TPixFixedPoint{p.x << 16, p.y << 16}; });
    Check(result([&](auto to) { bn_FixedToFixed(white, to, fixed.data(), fixed.data()); }) == isWhite);
    Check(result([&](auto to) { bn_MapPolygon(white, to, quad, quad); }) == isWhite);
    Check(result([&](auto to) { bn_DistortPolygon(white, to, &all, quad); }) == isWhite);
    Check(result([&](auto to) { bn_DistortFixed(white, to, &all, fixed.data()); }) == isWhite);
    std::array<PolygonPoint, 4> corners{{{-9, -9}, {99, -9}, {99, 99}, {-9, 99}}};
    const PolygonPointArray points{corners.data(), corners.size(), corners.size()};
    Check(result([&](auto to) { DoRenderPolygon(to, white, &points, 0); }) == isWhite);
    std::array<PolygonPoint, 7> curves{{{-9, -9}, {50, -9}, {99, -9}, {99, 50}, {99, 99}, {50, 99}, {-9, 99}}};
    const PolygonPointArray controls{curves.data(), curves.size(), curves.size()};
    Check(result([&](auto to) { DoRenderPolyBezier(to, white, &controls, 0); }) == isWhite);
    Check(result([&](auto to) {
              std::memset((*to)->pixels + kWidth * 4 * (kHeight - 2), 7, kWidth * 4);
              InterpFrame(to, &kWhole, 0); // the top row is a copy of the one below it
          }) == 0x070707);
    bn_AudioMix();
    bn_AudioLimit();
    bn_AudioMunge();
    bn_AudioStretch();
    bn_AudioSum();
    bn_ImageKey();
    bn_Resample();
    DeleteObject(region);

    const HDC context = CreateCompatibleDC(nullptr);
    const HBITMAP bitmap = CreateBitmap(kWidth, kHeight, 1, 32, nullptr);
    SelectObject(context, bitmap);
    const auto shown = [&] {
        std::uint32_t pixel = 0;
        GetBitmapBits(bitmap, 4, &pixel);
        return pixel & 0xFFFFFF;
    };
    Check(tpixToScreen(white, context, &kWhole, &kWhole) == 0 && shown() == isWhite);
    Check(DoDrawDib(grey, context, &kWhole, &kWhole) == 1 && shown() == 0x090909);
    Check(ExecDrawDib(*white, context, &kWhole, &kWhole) == 1 && shown() == isWhite);
    DeleteDC(context);
    DeleteObject(bitmap);
    tpixDispose(white);
    tpixDispose(grey);
}

void CallBitmapFunctions() {
    struct Packed {
        BITMAPINFOHEADER header{};
        std::array<RGBQUAD, 2> colours{{{0, 0, 0, 0}, {3, 2, 1, 0}}};
        std::array<std::uint8_t, 8> rows{4, 1, 0, 1}; // four pixels of colour 1, the end
    } packed;
    packed.header.biSize = sizeof packed.header;
    packed.header.biWidth = 4;
    packed.header.biHeight = packed.header.biPlanes = 1;
    packed.header.biBitCount = 8;
    packed.header.biCompression = BI_RLE8;
    packed.header.biClrUsed = 2;
    std::uint32_t row = 0;
    Check((DecodeRle(&packed.header, &row, packed.rows.data()), row == 0x01010101));
    row = 0;
    Check((PlayRle(&packed.header, &row, packed.rows.data()), row == 0x01010101));
    const HGLOBAL source = GlobalAlloc(GMEM_FIXED, sizeof packed);
    std::memcpy(source, &packed, sizeof packed);
    const HGLOBAL played = GlobalAlloc(GMEM_FIXED, sizeof packed);
    std::memcpy(played, &packed, sizeof packed);
    PlayRleDib(played, source);
    std::memcpy(&row, static_cast<std::uint8_t*>(played) + offsetof(Packed, rows), 4);
    Check(row == 0x01010101);
    GlobalFree(source);
    GlobalFree(played);

    RegisterModuleResource(nullptr, MAKEINTRESOURCEW(7), RT_BITMAP, &packed, sizeof packed);
    const TPixHand imported = Bmp2TPix(7, nullptr, nullptr);
    Check(imported != nullptr && tpixGetPixel(imported, 3, 0) == 0x010203);
    tpixDispose(imported);
    UnregisterModuleResources(nullptr);
}

} // namespace

int main() {
    VF::Initialize();
    CallFormatFunctions();
    CallFrameFactories();
    CallManipulators();
    CallSharingAndCache();
    CallPixmapFunctions();
    CallDepthAndChannelFunctions();
    CallQuantizerFunctions();
    CallCopyFunctions();
    CallBitmapFunctions();
    VF::Shutdown();
    return failures ? 1 : 0;
}
