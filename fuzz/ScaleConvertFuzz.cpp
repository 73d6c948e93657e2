// Callers hand the converter any pointers, sizes and strides. An input is a call: the function, both sides as a caller
// would state them, where the pictures lie, and what is in the source. Pictures lie between pages that may not be
// touched. What may be refused and what may be touched is worked out here from the header alone.

#include "PixelBlitter.h"
#include "zynmediatypes.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include <sys/mman.h>

namespace {

using Byte = std::uint8_t;
using Bytes = std::vector<Byte>;

void Require(bool held, const char* rule) {
    if (!held) {
        std::fprintf(stderr, "broken: %s\n", rule);
        std::abort();
    }
}

// The input as numbers; zeros when it is used up.
class Recipe {
public:
    Recipe(const Byte* bytes, std::size_t count) : mBytes(bytes, count) {}
    Byte Next() {
        if (mBytes.empty()) {
            return 0;
        }
        const Byte byte = mBytes.front();
        mBytes = mBytes.subspan(1);
        return byte;
    }
    int NextBytes(int count) {
        std::uint32_t value = 0;
        while (count-- > 0) {
            value = value << 8 | Next();
        }
        return static_cast<int>(value);
    }
    std::span<const Byte> Rest() const { return mBytes; }

private:
    std::span<const Byte> mBytes;
};

// Memory between two pages that may not be touched. The largest picture here is one of floats at the raster of DV100.
class GuardedMemory {
public:
    static constexpr std::size_t kBytes = std::size_t{32} << 20;
    static constexpr std::size_t kPage = 4096;
    GuardedMemory() {
        void* const map = mmap(nullptr, kBytes + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        Require(map != MAP_FAILED, "memory to test in");
        mFirst = static_cast<Byte*>(map) + kPage;
        Require(mprotect(mFirst, kBytes, PROT_READ | PROT_WRITE) == 0, "memory to test in");
    }
    Byte* First() const { return mFirst; }
    Byte* End() const { return mFirst + kBytes; }

private:
    Byte* mFirst;
};

struct Raster {
    int width, height;
};
struct DvKind {
    PB_PixelFormat value;
    Raster raster;
};
constexpr DvKind kDvKinds[] = {{0x1000821, {720, 480}}, {0x2000821, {720, 576}},   {0x3000A21, {960, 720}},
                               {0x4000A21, {960, 720}}, {0x5000A21, {1280, 1080}}, {0x6000A21, {1440, 1080}},
                               {0x7000821, {720, 480}}, {0x8000821, {720, 576}}};

enum class Family { Rows, Planar, Dv, Custom, Unknown };

Family FamilyOf(PB_PixelFormat format) {
    if (format == kPB_CustomFormat) {
        return Family::Custom;
    }
    if (zynmediatypes::FindPixelFormatByConverterValue(static_cast<std::uint32_t>(format)) == nullptr || format == 0) {
        return Family::Unknown;
    }
    const bool dv = std::any_of(std::begin(kDvKinds), std::end(kDvKinds),
                                [format](const DvKind& kind) { return kind.value == format; });
    return dv ? Family::Dv : (format >> 24) != 0 ? Family::Planar : Family::Rows;
}

std::uint64_t Magnitude(std::int64_t value) {
    return static_cast<std::uint64_t>(value < 0 ? -value : value);
}

constexpr PB_PixelFormat kV210[] = {0x851, 0xA51};

// Bytes that a line of pixels occupies; a stride of V210 is whole blocks of 48 pixels.
std::uint64_t LineBytes(PB_PixelFormat format, int width) {
    const bool groups = std::find(std::begin(kV210), std::end(kV210), format) != std::end(kV210);
    return groups ? (static_cast<std::uint64_t>(width) + 5) / 6 * 16 : PB_PixelFormatSize(format, width, 1);
}

// One side of a call, as the caller states it.
struct Side {
    PB_PixelFormat format = 0;
    int width = 0;
    int height = 0;
    int rowBytes = 0;
    int fieldType = 0;
    Byte placement = 0; // bytes between the picture and the page beside it
    bool null = false;

    bool IsEmpty() const { return width <= 0 || height <= 0; }
    bool HasRaster() const {
        return std::any_of(std::begin(kDvKinds), std::end(kDvKinds), [this](const DvKind& kind) {
            return kind.value == format && kind.raster.width == width && kind.raster.height == height;
        });
    }
};

// The memory of a side: lines of lineBytes, pitch apart.
struct Layout {
    std::uint64_t lineBytes = 0;
    std::uint64_t lines = 1;
    std::uint64_t pitch = 0;
    bool downwards = false; // the first line has the highest address

    std::uint64_t Extent() const { return pitch * (lines - 1) + lineBytes; }
    Byte* Base(Byte* low) const { return downwards ? low + pitch * (lines - 1) : low; }
};

// Nothing for a side that must be refused. The caller's own memory must have what this says.
std::optional<Layout> LayoutOf(const Side& side) {
    constexpr std::uint64_t kImpossible = std::uint64_t{1} << 56;
    const Family family = FamilyOf(side.format);
    Layout layout;
    if (family == Family::Unknown || side.null) {
        return std::nullopt;
    }
    if (family != Family::Rows) {
        layout.lineBytes = family == Family::Custom ? Magnitude(side.rowBytes)
                                                    : PB_PixelFormatSize(side.format, side.width, side.height);
        return layout.lineBytes > kImpossible ? std::nullopt : std::optional(layout);
    }
    layout.lineBytes = LineBytes(side.format, side.width);
    if (side.height > 1) {
        layout.lines = static_cast<std::uint64_t>(side.height);
        layout.pitch = Magnitude(side.rowBytes);
        layout.downwards = side.rowBytes < 0;
        if (layout.pitch < PB_PixelFormatSize(side.format, side.width, 1) ||
            layout.pitch * layout.lines > kImpossible) {
            return std::nullopt;
        }
    }
    return layout;
}

PB_PixelFormat NextFormat(Recipe& recipe) {
    const auto& table = zynmediatypes::kPixelFormatTable;
    const int choice = recipe.NextBytes(1);
    if (choice < 240) {
        // DV takes its time, so it comes by a choice of its own.
        const auto& row = table[static_cast<std::size_t>(choice) % table.size()];
        const auto value = static_cast<PB_PixelFormat>(row.converterValue);
        return FamilyOf(value) == Family::Dv ? 0x4 : value;
    }
    return choice < 241   ? kDvKinds[recipe.NextBytes(1) % 8].value
           : choice < 246 ? kPB_CustomFormat
           : choice < 248 ? 0
                          : recipe.NextBytes(4);
}

int NextSize(Recipe& recipe) {
    const int choice = recipe.NextBytes(1);
    return choice < 200   ? choice % 100
           : choice < 240 ? 1 + recipe.NextBytes(1)
           : choice < 247 ? 1 + recipe.NextBytes(2) % 600
           : choice < 250 ? INT_MAX - choice % 2
           : choice < 252 ? -choice
                          : recipe.NextBytes(4);
}

int NextFieldType(Recipe& recipe) {
    const int choice = recipe.NextBytes(1);
    return choice < 250 ? choice % 5 - 1 : recipe.NextBytes(4);
}

Side NextSide(Recipe& recipe, const Side* sameSize) {
    Side side;
    side.format = NextFormat(recipe);
    side.width = NextSize(recipe);
    side.height = NextSize(recipe);
    side.fieldType = NextFieldType(recipe);
    const int stride = recipe.NextBytes(1);
    const Byte placement = recipe.Next();
    if (FamilyOf(side.format) == Family::Dv && stride < 240) {
        for (const DvKind& kind : kDvKinds) {
            if (kind.value == side.format) {
                side.width = kind.raster.width;
                side.height = kind.raster.height;
            }
        }
    } else if (sameSize != nullptr) {
        side.width = sameSize->width;
        side.height = sameSize->height;
    }
    side.placement = placement < 128 ? 0 : placement % 64;
    side.null = placement == 0xFF;
    // At least a row but for a few; whole images have strides of their own.
    const std::uint64_t row =
        FamilyOf(side.format) == Family::Custom ? 700 : PB_PixelFormatSize(side.format, side.width, 1);
    const auto packed = static_cast<int>(std::min<std::uint64_t>(row, INT_MAX / 2));
    side.rowBytes = stride < 250 ? packed + stride % 80 : stride < 252 ? packed - 1 : recipe.NextBytes(4);
    if (stride % 8 == 3) {
        side.rowBytes = side.rowBytes == INT_MIN ? INT_MIN : -side.rowBytes;
    }
    if (stride == 249) {
        side.rowBytes = 0;
    }
    return side;
}

// Codes of all kinds: the input's own bytes over and over, or noise that they choose, or floats about 0 to 1.
Bytes ContentOf(const Side& side, const Layout& layout, std::span<const Byte> rest) {
    Bytes content(layout.Extent());
    const Byte kind = rest.empty() ? Byte{0} : rest.front();
    std::uint32_t noise = 2463534242U;
    for (const Byte byte : rest) {
        noise = (noise ^ byte) * 16777619U;
    }
    if (FamilyOf(side.format) == Family::Dv && kind < 240 && !content.empty()) {
        // A real frame, in which the input's bytes are damage. None where the size is not the format's.
        static_cast<void>(PB_FillWithOpaqueWhite(content.data(), 0, side.width, side.height, side.format));
        for (std::size_t i = 4; i < rest.size(); ++i) {
            content[(i * 7919U + noise) % content.size()] ^= rest[i];
        }
        return content;
    }
    for (std::size_t i = 0; i < content.size(); i += 4) {
        noise ^= noise << 13;
        noise ^= noise >> 17;
        noise ^= noise << 5;
        const float value = static_cast<float>(noise >> 8) / 14000000.0F - 0.1F;
        const std::size_t count = std::min<std::size_t>(4, content.size() - i);
        std::memcpy(&content[i], kind % 4 == 1 ? static_cast<const void*>(&value) : &noise, count);
    }
    for (std::size_t i = 0; kind % 4 == 0 && i < content.size(); ++i) {
        content[i] = rest.size() > 1 ? rest[i % rest.size()] : Byte{0};
    }
    return content;
}

// The call under test; source and destination are the addresses that the sides stand for.
struct Call {
    enum Function {
        ScaleConvert,
        Convert,
        OpaqueBlack,
        OpaqueWhite,
        TransparentBlack,
        TransparentWhite,
        Colour,
        Count
    };
    Function function = ScaleConvert;
    Side source;
    Side destination;
    int quality = 0;

    bool Fills() const { return function >= OpaqueBlack; }
    int operator()(const void* from, void* to) const {
        const Side& s = source;
        const Side& d = destination;
        switch (function) {
        case ScaleConvert:
            return PB_ScaleConvert(from, s.rowBytes, s.width, s.height, s.format, s.fieldType, to, d.rowBytes, d.width,
                                   d.height, d.format, d.fieldType, quality);
        case Convert:
            return PB_Convert(from, s.rowBytes, s.format, to, d.rowBytes, d.format, d.width, d.height, quality);
        case OpaqueBlack:
            return PB_FillWithOpaqueBlack(to, d.rowBytes, d.width, d.height, d.format);
        case OpaqueWhite:
            return PB_FillWithOpaqueWhite(to, d.rowBytes, d.width, d.height, d.format);
        case TransparentBlack:
            return PB_FillWithTransparentBlack(to, d.rowBytes, d.width, d.height, d.format);
        case TransparentWhite:
            return PB_FillWithTransparentWhite(to, d.rowBytes, d.width, d.height, d.format);
        case Colour:
            return PB_FillWithColor(to, d.rowBytes, d.width, d.height, d.format, from, s.format);
        case Count:
            break;
        }
        return 0;
    }
};

// Equal formats of whole images move one run of the lesser of the two stated sizes.
bool MovesOneRun(const Call& call) {
    const Family family = FamilyOf(call.source.format);
    const bool sameSize = call.source.width == call.destination.width && call.source.height == call.destination.height;
    return !call.Fills() && sameSize && call.source.format == call.destination.format &&
           (family == Family::Custom || (call.function == Call::Convert && family != Family::Rows));
}

struct Memories {
    GuardedMemory source;
    GuardedMemory destination;
};

class Trial {
public:
    Trial(const Call& call, const Layout& source, const Layout& destination, const Bytes& content)
        : mCall(call), mSource(source), mDestination(destination), mContent(content) {}

    struct Outcome {
        int result = 0;
        Bytes lines; // of the destination, in memory order from the lowest address
    };

    // Both pictures apart, both at the end or both at the start of their memory.
    Outcome Run(const Memories& memories, bool atEnd, Byte pattern) const {
        Byte* const from = Place(memories.source, mSource, mCall.source, atEnd);
        Byte* const to = Place(memories.destination, mDestination, mCall.destination, atEnd);
        std::copy(mContent.begin(), mContent.end(), from);
        return RunAt(memories.destination, from, to, pattern);
    }

    // Both in one memory, shift bytes apart.
    void RunOverlapping(const GuardedMemory& memory, int shift, const Outcome& expected) const {
        const std::uint64_t ahead = shift < 0 ? Magnitude(shift) : 0;
        const std::uint64_t behind = shift < 0 ? 0 : Magnitude(shift);
        if (std::max(ahead + mDestination.Extent(), behind + mSource.Extent()) > GuardedMemory::kBytes) {
            return;
        }
        Byte* const to = memory.First() + behind;
        Byte* const from = memory.First() + ahead;
        Byte* const end = std::max(to + mDestination.Extent(), from + mSource.Extent());
        std::fill(memory.First(), end, Byte{0x3C});
        std::copy(mContent.begin(), mContent.end(), from);
        Bytes wanted(memory.First(), end);
        if (expected.result == kPB_Success) {
            const Byte* line = expected.lines.data();
            for (std::uint64_t n = 0; n < mDestination.lines; ++n, line += mDestination.lineBytes) {
                std::copy_n(line, mDestination.lineBytes, wanted.data() + behind + n * mDestination.pitch);
            }
        }
        Require(mCall(mSource.Base(from), mDestination.Base(to)) == expected.result, "overlap changes no answer");
        Require(std::equal(wanted.begin(), wanted.end(), memory.First()), "overlap changes no picture");
    }

private:
    // Lowest address of a picture.
    static Byte* Place(const GuardedMemory& memory, const Layout& layout, const Side& side, bool atEnd) {
        const std::uint64_t extent = layout.Extent();
        const std::uint64_t gap = std::min<std::uint64_t>(side.placement, GuardedMemory::kBytes - extent);
        return atEnd ? memory.End() - extent - gap : memory.First() + gap;
    }

    Outcome RunAt(const GuardedMemory& memory, Byte* from, Byte* to, Byte pattern) const {
        constexpr std::ptrdiff_t kMargin = 256;
        const auto extent = static_cast<std::ptrdiff_t>(mDestination.Extent());
        Byte* const first = std::max(memory.First(), to - kMargin);
        Byte* const end = std::min(memory.End(), to + extent + kMargin);
        std::fill(first, end, pattern);
        Outcome outcome;
        outcome.result = mCall(mSource.Base(from), mDestination.Base(to));
        Require(std::equal(mContent.begin(), mContent.end(), from), "sources are only read");
        const auto untouched = [pattern](const Byte* a, const Byte* b) {
            return a == b || (*a == pattern && std::equal(a + 1, b, a));
        };
        if (outcome.result != kPB_Success) {
            Require(untouched(first, end), "an error has written nothing");
            return outcome;
        }
        const Byte* gap = first;
        for (std::uint64_t n = 0; n < mDestination.lines; ++n) {
            const Byte* const line = to + n * mDestination.pitch;
            Require(untouched(gap, line), "what lies between lines is not written");
            gap = line + mDestination.lineBytes;
            outcome.lines.insert(outcome.lines.end(), line, gap);
        }
        Require(untouched(gap, end), "what lies behind the picture is not written");
        return outcome;
    }

    const Call& mCall;
    const Layout& mSource;
    const Layout& mDestination;
    const Bytes& mContent;
};

// The answers that sides which are no fault of the caller's memory may have.
void CheckAnswer(const Call& call, int result) {
    Require(result != kPB_OutOfMemory, "memory did not run out");
    Require(result <= 0 && result >= kPB_BadData, "the header names the answer");
    if (call.Fills()) {
        const bool knows = FamilyOf(call.destination.format) != Family::Custom;
        const bool transparent = call.function == Call::TransparentBlack || call.function == Call::TransparentWhite;
        const bool colour = call.function != Call::Colour || FamilyOf(call.source.format) == Family::Rows ||
                            FamilyOf(call.source.format) == Family::Planar;
        if (FamilyOf(call.destination.format) != Family::Dv) {
            Require(transparent || (result == kPB_Success) == (knows && colour), "formats are filled");
        }
        return;
    }
    if (MovesOneRun(call)) {
        Require(result == kPB_Success, "equal formats copy");
        return;
    }
    const Side& s = call.source;
    const Side& d = call.destination;
    const PB_Plan plan = PB_PlanScaleConvert(s.width, s.height, s.format, s.fieldType, d.width, d.height, d.format,
                                             d.fieldType, call.quality);
    // Only the call itself sees compressed data and strides.
    const bool badData = result == kPB_BadData && FamilyOf(s.format) == Family::Dv;
    const bool badStride =
        result == kPB_BadArgument && (FamilyOf(s.format) == Family::Dv || FamilyOf(d.format) == Family::Dv);
    Require(result == plan.result || badData || badStride, "the plan tells the answer");
}

void CheckAddress(const Side& side, Recipe recipe) {
    const int left = NextSize(recipe) - 1, top = NextSize(recipe) - 1;
    const int width = NextSize(recipe), height = NextSize(recipe);
    Byte somewhere = 0;
    const void* start = nullptr;
    const int result = PB_ClipBufferToRect(side.null ? nullptr : static_cast<const void*>(&somewhere), side.rowBytes,
                                           width, height, side.format, left, top, &start);
    if (result != kPB_Success || start == nullptr) {
        Require(start == nullptr, "an error stores no address");
        return;
    }
    const auto offset = reinterpret_cast<std::intptr_t>(start) - reinterpret_cast<std::intptr_t>(&somewhere) -
                        std::int64_t{top} * side.rowBytes;
    if (FamilyOf(side.format) != Family::Rows) {
        Require(left == 0 && top == 0 && start == &somewhere, "whole images have one address");
    } else {
        // Where the unit that holds the pixel begins.
        Require(offset >= 0 && Magnitude(offset) <= PB_PixelFormatSize(side.format, std::max(left, 1), 1) &&
                    (left == 0) <= (offset == 0),
                "a pixel's address lies in its row");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Memories sMemories;
    Recipe recipe(data, size);
    Call call;
    const Byte function = recipe.Next();
    call.function = function < 160 ? Call::ScaleConvert : static_cast<Call::Function>(function % Call::Count);
    call.quality = recipe.NextBytes(1) % 8 - 1;
    const Byte overlap = recipe.Next();
    const int shift = recipe.NextBytes(2) % 5000 - 2500;
    call.destination = NextSide(recipe, nullptr);
    const bool sameSize = call.function == Call::Convert || overlap % 4 == 0;
    call.source = NextSide(recipe, sameSize ? &call.destination : nullptr);
    if (call.function == Call::Convert) {
        call.destination.width = call.source.width;
        call.destination.height = call.source.height;
    }
    CheckAddress(call.destination, recipe);

    if (call.function == Call::Colour) {
        // One pixel, or the smallest unit of pixels that has an address.
        call.source.width = call.source.height = 1;
        call.source.rowBytes = 0;
    }
    const bool empty = call.destination.IsEmpty() || (!call.Fills() && call.source.IsEmpty());
    std::optional<Layout> source = LayoutOf(call.source);
    std::optional<Layout> destination = LayoutOf(call.destination);
    if (call.Fills() && call.function != Call::Colour) {
        source = Layout{};
    }
    if (empty || !source || !destination) {
        // Addresses that would be fatal to touch: those that the call must not touch.
        const auto address = [](const Side& side, const GuardedMemory& memory) {
            return side.null ? nullptr : memory.End();
        };
        const int result =
            call(address(call.source, sMemories.source), address(call.destination, sMemories.destination));
        Require(empty ? result == kPB_Success : result < 0 && result >= kPB_BadData, "bad arguments have an error");
        return 0;
    }
    if (MovesOneRun(call)) {
        const auto stated = [&](const Side& side, std::uint64_t whole) {
            return side.rowBytes == 0 && FamilyOf(side.format) != Family::Custom
                       ? whole
                       : std::min(whole, Magnitude(side.rowBytes));
        };
        const std::uint64_t bytes =
            std::min(stated(call.source, source->lineBytes), stated(call.destination, destination->lineBytes));
        source->lineBytes = destination->lineBytes = bytes;
    }
    if (source->Extent() > GuardedMemory::kBytes || destination->Extent() > GuardedMemory::kBytes) {
        return 0; // a caller's lie, which nobody can see through
    }
    const Bytes content = ContentOf(call.source, *source, recipe.Rest());
    const Trial trial(call, *source, *destination, content);
    const Trial::Outcome first = trial.Run(sMemories, true, 0xA5);
    CheckAnswer(call, first.result);
    const Trial::Outcome second = trial.Run(sMemories, false, 0x5A);
    Require(first.result == second.result && first.lines == second.lines, "the same call gives the same bytes");
    if (!call.Fills() && overlap < 100) {
        trial.RunOverlapping(sMemories.destination, overlap % 8 == 1 ? 0 : shift, first);
    }
    return 0;
}
