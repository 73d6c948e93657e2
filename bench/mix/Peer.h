#pragma once

/// What other libraries can do of the jobs, on 8-bit pixels of four bytes.

#include <cstdint>

/// Pictures without gaps between rows of so many bytes.
struct Pictures {
    const std::uint8_t* a;
    const std::uint8_t* b;
    std::uint8_t* destination;
    int rowBytes;
    int height;
};

struct Peer {
    const char* name;
    /// destination = a * (1 - weight) + b * weight.
    void (*dissolve)(const Pictures& pictures, float weight);
    /// The odd rows of the destination become the mean of the rows above and below.
    void (*deinterlace)(const Pictures& pictures);
    /// Rows of the destination become (1, 2, 1) / 4 of those of a, by two means.
    void (*blur)(const Pictures& pictures);
    void (*invertAlpha)(const Pictures& pictures); ///< of a, in BGRA
    void (*opaqueAlpha)(const Pictures& pictures);
};

/// One for each library that was installed where this was built.
#ifdef BENCH_WITH_LIBYUV
extern const Peer kLibyuvPeer;
#endif
#ifdef BENCH_WITH_OPENCV
extern const Peer kOpenCVPeer;
#endif
