#pragma once

/// The border between formats and resampling: picture rows as four compact planes of floats.
///
/// Rows count from the top of the picture. The planes hold, in this order, R G B A or V U Y A as the caller chose;
/// a resampler treats all four alike. Callers that need it premultiply before and divide after.

namespace PixelBlitter {

/// Delivers rows. Reads may come in any order and more than once, and from several threads at once.
class FloatRowSource {
public:
    /// Stores the samples of columns [left, right) of a row in planes[0..3][0 .. right - left). Up to kPlanePadding
    /// more may be overwritten, with finite numbers, here and by Write.
    virtual void Read(int row, int left, int right, float* const planes[4]) const noexcept = 0;

protected:
    ~FloatRowSource() = default;
};

/// Takes rows. Each sample is written once; different rows may come from several threads at once.
class FloatRowSink {
public:
    /// Takes the samples of columns [left, right) of a row from planes[0..3][0 .. right - left), which it may use up.
    virtual void Write(int row, int left, int right, float* const planes[4]) noexcept = 0;

protected:
    ~FloatRowSink() = default;
};

} // namespace PixelBlitter
