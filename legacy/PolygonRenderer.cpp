#include "PolygonRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <vector>

namespace VF::Polygons {
namespace {

/// What is interpolated along edges and across spans, besides x.
struct Attributes {
    float u = 0;
    float v = 0;
    float opacity = 0;
};

/// Where an edge crosses the current scanline's centre, and how far it moves by the next.
struct ActiveEdge {
    std::size_t index = 0; // edge i joins corner i to the one after it
    float x = 0;
    float xStep = 0;
    Attributes at;
    Attributes step;
};

/// Active edges in the order of x. Scanlines change that order little, and a comparison that fails (not a number, from
/// coordinates whose differences overflow) must not do harm, so this is an insertion sort.
void SortByX(std::span<ActiveEdge> edges) {
    for (std::size_t i = 1; i < edges.size(); ++i) {
        const ActiveEdge edge = edges[i];
        std::size_t place = i;
        for (; place > 0 && edge.x < edges[place - 1].x; --place) {
            edges[place] = edges[place - 1];
        }
        edges[place] = edge;
    }
}

ActiveEdge EvaluateEdge(std::size_t index, const Vertex& from, const Vertex& to, float scanlineCentre) {
    const float height = to.y - from.y;
    const float below = scanlineCentre - from.y;
    ActiveEdge edge;
    edge.index = index;
    edge.xStep = (to.x - from.x) / height;
    edge.step = {(to.u - from.u) / height, (to.v - from.v) / height, (to.opacity - from.opacity) / height};
    edge.x = from.x + below * edge.xStep;
    edge.at = {from.u + below * edge.step.u, from.v + below * edge.step.v, from.opacity + below * edge.step.opacity};
    return edge;
}

/// The sample's column or row and the fraction beside it, from -0.5 to 0.5.
struct Place {
    std::int32_t whole = 0;
    float fraction = 0;
};

Place PlaceOf(float coordinate, std::int32_t last) {
    // Written so that not a number becomes 0.
    const float inside = std::min(coordinate > 0.0F ? coordinate : 0.0F, static_cast<float>(last));
    const auto whole = static_cast<std::int32_t>(std::lround(inside));
    return {whole, inside - static_cast<float>(whole)};
}

float Mix(float a, float b, float share) {
    return a + (b - a) * share;
}

std::array<std::uint8_t, 4> Sample(const Surface& source, float u, float v) {
    const Place column = PlaceOf(u - 0.5F, source.width - 1);
    const Place row = PlaceOf(v - 0.5F, source.height - 1);
    const std::ptrdiff_t right = column.whole < source.width - 1 ? 4 : 0;
    const std::ptrdiff_t up = row.whole < source.height - 1 ? source.rowBytes : 0;
    const std::uint8_t* here =
        source.pixels + std::ptrdiff_t{row.whole} * source.rowBytes + std::ptrdiff_t{column.whole} * 4;
    std::array<std::uint8_t, 4> sample{};
    for (std::ptrdiff_t channel = 0; channel < 4; ++channel) {
        const float leftSide = Mix(here[channel], here[channel + up], row.fraction);
        const float rightSide = Mix(here[channel + right], here[channel + right + up], row.fraction);
        const float value = leftSide + (rightSide - leftSide) * column.fraction + 0.5F;
        sample[static_cast<std::size_t>(channel)] = static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F));
    }
    return sample;
}

std::uint8_t Blend(std::uint8_t destination, std::uint8_t sample, std::uint32_t alpha) {
    const std::uint32_t sum = destination * (255 - alpha) + 128 + sample * alpha;
    return static_cast<std::uint8_t>((sum + (sum >> 8)) >> 8);
}

/// Pixels from..to of one row, and what is interpolated at the centre of the first.
struct Span {
    std::int32_t from = 0;
    std::int32_t to = 0;
    Attributes at;
    Attributes step;
};

/// A fraction below which a bilinear sample is the pixel itself, whatever its neighbours are: it moves the value by
/// less than 255 x / + (255 + 2 * 255 x) * x, which must stay below one half with room for the roundings of the floats.
constexpr float kNoFraction = 1.0F / 1200.0F;

/// Whether every sample of an opaque span is the very source pixel of its column. u counts by whole pixels: such steps
/// are exact but for one rounding at each power of two, together less than an ulp of the largest u; v and the opacity
/// stay as they are when adding their step changes nothing.
bool CopiesPixels(const Surface& source, const Span& span, std::int32_t sourceRow) {
    if (span.step.u != 1.0F || span.at.v + span.step.v != span.at.v || span.at.opacity != 255.0F ||
        span.at.opacity + span.step.opacity != 255.0F || span.to >= source.width || sourceRow >= source.height) {
        return false;
    }
    const float end = static_cast<float>(span.to) + 1.0F;
    const float drift = std::nextafter(end, 2.0F * end) - end;
    return std::abs(span.at.u - (static_cast<float>(span.from) + 0.5F)) + drift <= kNoFraction &&
           std::abs(span.at.v - (static_cast<float>(sourceRow) + 0.5F)) <= kNoFraction;
}

/// Spans of this many rows further on are fetched while one is copied: a processor that looks ahead by itself starts
/// anew in every row.
constexpr std::ptrdiff_t kRowsAhead = 2;

void FetchAhead(const std::uint8_t* span, std::size_t bytes, std::int32_t rowBytes) {
    constexpr std::size_t kLineBytes = 64;
    // The address may lie beyond the picture, where a prefetch does nothing but a pointer must not be formed.
    const std::uintptr_t first =
        reinterpret_cast<std::uintptr_t>(span) + static_cast<std::uintptr_t>(kRowsAhead * rowBytes);
    for (std::size_t i = 0; i < bytes; i += kLineBytes) {
        __builtin_prefetch(reinterpret_cast<const void*>(first + i));
    }
}

void FillSpan(const Surface& destination, const Surface& source, Span span, std::int32_t row) {
    std::uint8_t* pixel =
        destination.pixels + std::ptrdiff_t{row} * destination.rowBytes + std::ptrdiff_t{span.from} * 4;
    if (CopiesPixels(source, span, row)) {
        const auto bytes = static_cast<std::size_t>(span.to - span.from + 1) * 4;
        const std::uint8_t* const samples =
            source.pixels + std::ptrdiff_t{row} * source.rowBytes + std::ptrdiff_t{span.from} * 4;
        FetchAhead(samples, bytes, source.rowBytes);
        FetchAhead(pixel, bytes, destination.rowBytes);
        std::memmove(pixel, samples, bytes);
        return;
    }
    for (std::int32_t column = span.from; column <= span.to; ++column, pixel += 4) {
        const std::array<std::uint8_t, 4> sample = Sample(source, span.at.u, span.at.v);
        const auto alpha = static_cast<std::uint32_t>(std::min(std::max(0.0F, span.at.opacity + 0.5F), 255.0F)) & 0xFF;
        for (std::size_t channel = 0; channel < 3; ++channel) {
            pixel[channel] = Blend(pixel[channel], sample[channel], alpha);
        }
        pixel[3] = sample[3];
        span.at.u += span.step.u;
        span.at.v += span.step.v;
        span.at.opacity += span.step.opacity;
    }
}

void FillBetween(const Surface& destination, const Surface& source, const ActiveEdge& left, const ActiveEdge& right,
                 std::int32_t row) {
    // Limited as floats, for 2^31 does not fit an integer.
    if (!std::isfinite(left.x) || !std::isfinite(right.x)) {
        return; // differences of coordinates overflowed
    }
    const float first = std::max(0.0F, std::ceil(left.x - 0.5F));
    const float last = std::min(static_cast<float>(destination.width - 1), std::floor(right.x - 0.5F));
    if (!(first <= last)) {
        return;
    }
    const float width = right.x == left.x ? 1.0F : right.x - left.x;
    Span span;
    span.from = static_cast<std::int32_t>(first);
    span.to = static_cast<std::int32_t>(last);
    span.step = {(right.at.u - left.at.u) / width, (right.at.v - left.at.v) / width,
                 (right.at.opacity - left.at.opacity) / width};
    const float inside = first + 0.5F - left.x;
    span.at = {left.at.u + inside * span.step.u, left.at.v + inside * span.step.v,
               left.at.opacity + inside * span.step.opacity};
    FillSpan(destination, source, span, row);
}

/// The edges that cross the current scanline.
class ActiveEdges {
public:
    explicit ActiveEdges(std::span<const Vertex> polygon) : mPolygon(polygon) { mEdges.reserve(polygon.size()); }

    /// A corner at or before the centre of this scanline was reached: its edges start or end.
    void Reach(std::size_t corner, float scanline) {
        const std::size_t count = mPolygon.size();
        const std::size_t before = (corner + count - 1) % count;
        Reach(before, mPolygon[corner], mPolygon[before], scanline);
        Reach(corner, mPolygon[corner], mPolygon[(corner + 1) % count], scanline);
    }

    std::span<const ActiveEdge> SortedByX() {
        SortByX(mEdges);
        return mEdges;
    }

    void Advance() {
        for (ActiveEdge& edge : mEdges) {
            edge.x += edge.xStep;
            edge.at.u += edge.step.u;
            edge.at.v += edge.step.v;
            edge.at.opacity += edge.step.opacity;
        }
    }

private:
    void Reach(std::size_t edge, const Vertex& here, const Vertex& other, float scanline) {
        const float centre = scanline + 0.5F;
        if (!(other.y > scanline - 0.5F)) {
            std::erase_if(mEdges, [edge](const ActiveEdge& active) { return active.index == edge; });
        } else if (other.y > centre) {
            mEdges.push_back(EvaluateEdge(edge, here, other, centre));
        }
    }

    std::span<const Vertex> mPolygon;
    std::vector<ActiveEdge> mEdges;
};

} // namespace

void Fill(const Surface& destination, const Surface& source, std::span<const Vertex> polygon) {
    if (polygon.empty()) {
        return;
    }
    std::vector<std::size_t> byY(polygon.size());
    std::iota(byY.begin(), byY.end(), std::size_t{0});
    std::stable_sort(byY.begin(), byY.end(), [&](std::size_t a, std::size_t b) { return polygon[a].y < polygon[b].y; });
    ActiveEdges edges(polygon);

    const float top = static_cast<float>(destination.height - 1);
    const float first = std::max(0.0F, std::ceil(polygon[byY.front()].y - 0.5F));
    const float last = std::min(top, std::floor(polygon[byY.back()].y - 0.5F));
    std::size_t next = 0;
    for (float scanline = first; scanline <= last; scanline += 1.0F) {
        for (; next < byY.size() && polygon[byY[next]].y <= scanline + 0.5F; ++next) {
            edges.Reach(byY[next], scanline);
        }
        const std::span<const ActiveEdge> crossing = edges.SortedByX();
        for (std::size_t edge = 0; edge + 1 < crossing.size(); edge += 2) {
            FillBetween(destination, source, crossing[edge], crossing[edge + 1], static_cast<std::int32_t>(scanline));
        }
        edges.Advance();
    }
}

} // namespace VF::Polygons
