#include "Peers.h"
#include "ReferencePixels.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iterator>

namespace converterbench {
namespace {

struct Mats {
    const cv::Mat& in;
    cv::Mat& out;
};
using Function = void(const Mats& mats, const Job& job);

void Copy(const Mats& mats, const Job& /*job*/) {
    mats.in.copyTo(mats.out);
}

void Fill(const Mats& mats, const Job& /*job*/) {
    mats.out.setTo(cv::Scalar::all(255));
}

void Reverse(const Mats& mats, const Job& /*job*/) {
    constexpr int kPairs[] = {0, 3, 1, 2, 2, 1, 3, 0};
    cv::mixChannels(&mats.in, 1, &mats.out, 1, kPairs, 4);
}

template <cv::ColorConversionCodes code>
void Colours(const Mats& mats, const Job& /*job*/) {
    cv::cvtColor(mats.in, mats.out, code);
}

double OneOf(int depth) {
    return depth == CV_8U ? 255 : depth == CV_16U ? 32768 : 1;
}
void Depth(const Mats& mats, const Job& /*job*/) {
    mats.in.convertTo(mats.out, mats.out.type(), OneOf(mats.out.depth()) / OneOf(mats.in.depth()));
}

void Linear(const Mats& mats, const Job& /*job*/) {
    static const cv::Mat sTable = [] {
        cv::Mat table(1, 256, CV_32FC4);
        for (int code = 0; code < 256; ++code) {
            const auto light = static_cast<float>(reference::ToLinear(code / 255.0));
            table.at<cv::Vec4f>(code) = {light, light, light, static_cast<float>(code) / 255};
        }
        return table;
    }();
    cv::LUT(mats.in, sTable, mats.out);
}

// Its linear and cubic filters do not widen when the picture shrinks, and its cubic one has a = -3/4.
void Scale(const Mats& mats, const Job& job) {
    constexpr int kFilters[] = {cv::INTER_AREA, cv::INTER_LINEAR, cv::INTER_CUBIC};
    cv::resize(mats.in, mats.out, mats.out.size(), 0, 0, kFilters[job.quality - 1]);
}

struct Row {
    PB_PixelFormat from, to;
    bool scales;
    Function* function;
};
constexpr Row kRows[] = {
    {0x4, 0x4, false, Copy},
    {0x811, 0x811, false, Copy},
    {0x104, 0x104, false, Copy},
    {0x4, 0x1004, false, Reverse},
    {0x1004, 0x4, false, Reverse},
    {0x4, 0x8, false, Colours<cv::COLOR_RGBA2mRGBA>},
    {0x8, 0x4, false, Colours<cv::COLOR_mRGBA2RGBA>},
    {0x811, 0x4, false, Colours<cv::COLOR_YUV2BGRA_UYVY>},
    {0x4, 0xA000831, false, Colours<cv::COLOR_BGRA2YUV_I420>},
    {0x4, 0xC000831, false, Colours<cv::COLOR_BGRA2YUV_I420>},
    {0xA000831, 0x4, false, Colours<cv::COLOR_YUV2BGRA_I420>},
    {0xC000831, 0x4, false, Colours<cv::COLOR_YUV2BGRA_I420>},
    {0x4, 0x104, false, Depth},
    {0x104, 0x4, false, Depth},
    {0x4, 0x84, false, Depth},
    {0x84, 0x4, false, Depth},
    {0x4, 0x106, false, Linear},
    {0x4, 0x4, true, Scale},
    {0x8, 0x8, true, Scale},
};

// Rows stay in the order in which they lie: what goes to or comes from planes is upside down.
cv::Mat Wrap(const Image& image) {
    const reference::Format format(image.format);
    if (image.rowBytes == 0) {
        return {image.height * 3 / 2, image.width, CV_8UC1, image.data};
    }
    const int type = format.layout == reference::Layout::Floats  ? CV_32FC4
                     : format.layout == reference::Layout::Words ? CV_16UC4
                     : format.layout == reference::Layout::Pairs ? CV_8UC2
                                                                 : CV_8UC4;
    return {image.height, image.width, type, image.data, static_cast<std::size_t>(image.rowBytes)};
}

class OpenCV final : public Worker {
public:
    OpenCV(const Job& job, Function* function) : mJob(job), mFunction(function) { cv::setNumThreads(1); }
    const char* Name() const override { return "OpenCV"; }
    void Run(const Image& in, const Image& out) override {
        const cv::Mat from = Wrap(in);
        cv::Mat to = Wrap(out);
        mFunction({from, to}, mJob);
    }

private:
    Job mJob;
    Function* mFunction;
};

} // namespace

std::unique_ptr<Worker> MakeOpenCV(const Job& job) {
    if (job.kind == Kind::Fill) {
        return std::make_unique<OpenCV>(job, Fill);
    }
    if (job.Scales() && job.quality > 3) {
        return nullptr; // its Lanczos filter has four lobes
    }
    const auto* const row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& r) {
        return r.from == job.from && r.to == job.to && r.scales == job.Scales();
    });
    return row == std::end(kRows) ? nullptr : std::make_unique<OpenCV>(job, row->function);
}

} // namespace converterbench
