#include "Peer.h"

#include <opencv2/core.hpp>

namespace {

cv::Mat Wrap(const std::uint8_t* pixels, const Pictures& p) {
    return {p.height, p.rowBytes / 4, CV_8UC4, const_cast<std::uint8_t*>(pixels)};
}

void Dissolve(const Pictures& p, float weight) {
    const cv::Mat to = Wrap(p.destination, p);
    cv::addWeighted(Wrap(p.a, p), 1 - weight, Wrap(p.b, p), weight, 0, to);
}

void InvertAlpha(const Pictures& p) {
    const cv::Mat to = Wrap(p.destination, p);
    cv::bitwise_xor(Wrap(p.a, p), cv::Scalar(0, 0, 0, 255), to);
}

void OpaqueAlpha(const Pictures& p) {
    const cv::Mat to = Wrap(p.destination, p);
    cv::bitwise_or(Wrap(p.a, p), cv::Scalar(0, 0, 0, 255), to);
}

} // namespace

const Peer kOpenCVPeer{"OpenCV", Dissolve, nullptr, nullptr, InvertAlpha, OpaqueAlpha};
