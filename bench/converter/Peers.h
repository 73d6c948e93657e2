#pragma once

/// Other libraries that convert the same bytes to the same bytes.

#include "PixelBlitter.h"

#include <cstdint>
#include <memory>

/// A picture without gaps between its rows.
struct PeerImage {
    std::uint8_t* data;
    PB_PixelFormat format;
    int width, height;
};

class Peer {
public:
    virtual ~Peer() = default;
    virtual const char* Name() const = 0;
    virtual void Run(const PeerImage& in, const PeerImage& out) = 0;
};

/// Null where the library does not know the pair or its range and matrix.
std::unique_ptr<Peer> MakeSwscale(PB_PixelFormat from, PB_PixelFormat to, int width, int height);
std::unique_ptr<Peer> MakeLibyuv(PB_PixelFormat from, PB_PixelFormat to);
