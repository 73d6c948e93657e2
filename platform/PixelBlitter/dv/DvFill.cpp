#include "dv/DvFill.h"

#include "dv/CoderPool.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace PixelBlitter::dv {
namespace {

// Black and white of all kinds, together 4.4 MB.
constexpr std::size_t kMaxImages = 16;

using Image = std::vector<std::uint8_t>;
struct Entry {
    const Kind* kind;
    ColourCodes codes;
    std::shared_ptr<const Image> image;
};

// The most recently used image comes first.
struct Cache {
    std::mutex mutex;
    std::list<Entry> entries;
};

// Never destroyed: frames that outlive the process's static objects may still be filled.
Cache& TheCache() noexcept {
    static zyncore::detail::Immortal<Cache> cache;
    return cache.Get();
}

std::shared_ptr<const Image> FindImage(const Kind& kind, const ColourCodes& codes) noexcept {
    Cache& cache = TheCache();
    const std::lock_guard lock(cache.mutex);
    const auto entry = std::find_if(cache.entries.begin(), cache.entries.end(),
                                    [&](const Entry& e) { return e.kind == &kind && e.codes == codes; });
    if (entry == cache.entries.end()) {
        return nullptr;
    }
    cache.entries.splice(cache.entries.begin(), cache.entries, entry);
    return entry->image;
}

void KeepImage(const Kind& kind, const ColourCodes& codes, std::shared_ptr<const Image> image) {
    std::list<Entry> fresh; // allocated, and what it replaces freed, outside the lock
    fresh.push_back({&kind, codes, std::move(image)});
    std::list<Entry> dropped;
    Cache& cache = TheCache();
    const std::lock_guard lock(cache.mutex);
    cache.entries.splice(cache.entries.begin(), fresh);
    if (cache.entries.size() > kMaxImages) {
        dropped.splice(dropped.begin(), cache.entries, std::prev(cache.entries.end()));
    }
}

PB_Result EncodeColour(const Kind& kind, const Format& format, const ColourCodes& codes, Image& outImage) {
    outImage.resize(kind.bytes);
    const CoderLoan encoder(kind, Task::Encode);
    if (encoder.Result() != kPB_Success) {
        return encoder.Result();
    }
    if (const PB_Result result = encoder->MakePlanes(); result != kPB_Success) {
        return result;
    }
    const DestinationPicture planes = encoder->Planes(format);
    const int chromaRows = kind.chroma == zynmediatypes::Chroma::C420 ? kind.height / 2 : kind.height;
    const int chromaWidth = kind.chroma == zynmediatypes::Chroma::C411 ? kind.width / 4 : kind.width / 2;
    for (int row = 0; row < kind.height; ++row) {
        std::fill_n(planes.LumaRow(row), kind.width, codes[0]);
    }
    for (int row = 0; row < chromaRows; ++row) {
        std::fill_n(planes.ChromaRow(0, row), chromaWidth, codes[1]);
        std::fill_n(planes.ChromaRow(1, row), chromaWidth, codes[2]);
    }
    return encoder->Encode(outImage.data());
}

} // namespace

PB_Result Fill(const DestinationPicture& picture, const ColourCodes& codes) noexcept {
    const Kind& kind = *KindOf(picture.format);
    if (!HasRaster(kind, picture.width, picture.height)) {
        return kPB_UnsupportedGeometry;
    }
    if (!StatesWholeFrame(kind, picture.stride)) {
        return kPB_BadArgument;
    }
    try {
        std::shared_ptr<const Image> image = FindImage(kind, codes);
        if (!image) {
            Image encoded;
            if (const PB_Result result = EncodeColour(kind, picture.format, codes, encoded); result != kPB_Success) {
                return result;
            }
            image = std::make_shared<const Image>(std::move(encoded));
            KeepImage(kind, codes, image);
        }
        std::memcpy(picture.base, image->data(), kind.bytes);
    } catch (const std::bad_alloc&) {
        return kPB_OutOfMemory;
    }
    return kPB_Success;
}

void ReleaseFillImages() noexcept {
    std::list<Entry> dropped;
    Cache& cache = TheCache();
    const std::lock_guard lock(cache.mutex);
    dropped.swap(cache.entries);
}

} // namespace PixelBlitter::dv
