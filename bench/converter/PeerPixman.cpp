#include "Peers.h"

#include <pixman.h>

#include <cstdlib>

namespace converterbench {
namespace {

// Its names read a pixel as a 32-bit number, too. Its pixels are premultiplied; a copy does not care.
pixman_format_code_t PixmanFormat(PB_PixelFormat format) {
    switch (format) {
    case 0x4:
    case 0x8:
        return PIXMAN_a8r8g8b8;
    case 0x1004:
    case 0x1008:
        return PIXMAN_b8g8r8a8;
    default: // any number may come
        return static_cast<pixman_format_code_t>(0);
    }
}

constexpr int kPhaseBits = 4; // 16 tables of weights between two samples

class Pixman final : public Worker {
public:
    explicit Pixman(const Job& job) : mJob(job) {
        if (!job.Scales()) {
            return;
        }
        // Where the picture shrinks, its kernels of sampling are as wide as a destination pixel; where it grows, those
        // of reconstruction as wide as a source pixel.
        const bool shrinks = job.out.width < job.in.width;
        const bool halves = job.in.width == 2 * job.out.width && job.in.height == 2 * job.out.height;
        if (job.quality == 1 ? halves : job.quality == 2 && !shrinks) {
            return; // its bilinear filter does that
        }
        const pixman_kernel_t shape = job.quality == 1   ? PIXMAN_KERNEL_BOX
                                      : job.quality == 2 ? PIXMAN_KERNEL_LINEAR
                                                         : PIXMAN_KERNEL_LANCZOS3;
        const pixman_kernel_t rebuild = shrinks ? PIXMAN_KERNEL_IMPULSE : shape;
        const pixman_kernel_t sample = shrinks ? shape : PIXMAN_KERNEL_IMPULSE;
        mParameters = pixman_filter_create_separable_convolution(
            &mParameterCount, shrinks ? Ratio(job.in.width, job.out.width) : pixman_fixed_1,
            shrinks ? Ratio(job.in.height, job.out.height) : pixman_fixed_1, rebuild, rebuild, sample, sample,
            kPhaseBits, kPhaseBits);
    }
    ~Pixman() override { std::free(mParameters); }
    const char* Name() const override { return "pixman"; }
    void Run(const Image& in, const Image& out) override {
        if (mJob.kind == Kind::Fill) {
            pixman_fill(reinterpret_cast<std::uint32_t*>(out.data), static_cast<int>(out.rowBytes / 4), 32, 0, 0,
                        out.width, out.height, 0xFFFFFFFF);
            return;
        }
        pixman_image_t* const from = Wrap(in);
        pixman_image_t* const to = Wrap(out);
        if (mJob.Scales()) {
            pixman_transform_t transform;
            pixman_transform_init_scale(&transform, Ratio(in.width, out.width), Ratio(in.height, out.height));
            pixman_image_set_transform(from, &transform);
            pixman_image_set_repeat(from, PIXMAN_REPEAT_REFLECT);
            pixman_image_set_filter(from, mParameters ? PIXMAN_FILTER_SEPARABLE_CONVOLUTION : PIXMAN_FILTER_BILINEAR,
                                    mParameters, mParameterCount);
        }
        pixman_image_composite32(PIXMAN_OP_SRC, from, nullptr, to, 0, 0, 0, 0, 0, 0, out.width, out.height);
        pixman_image_unref(from);
        pixman_image_unref(to);
    }

private:
    static pixman_fixed_t Ratio(int in, int out) { return pixman_double_to_fixed(static_cast<double>(in) / out); }
    static pixman_image_t* Wrap(const Image& image) {
        return pixman_image_create_bits(PixmanFormat(image.format), image.width, image.height,
                                        reinterpret_cast<std::uint32_t*>(image.data), static_cast<int>(image.rowBytes));
    }

    Job mJob;
    pixman_fixed_t* mParameters = nullptr;
    int mParameterCount = 0;
};

} // namespace

std::unique_ptr<Worker> MakePixman(const Job& job) {
    // Its cubic kernel is another one.
    const bool knows = PixmanFormat(job.from) != 0 && PixmanFormat(job.to) != 0 && (!job.Scales() || job.quality != 3);
    const bool sameAlpha = (job.from & 0xC) == (job.to & 0xC);
    return knows && sameAlpha ? std::make_unique<Pixman>(job) : nullptr;
}

} // namespace converterbench
