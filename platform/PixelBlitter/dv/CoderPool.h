#pragma once

/// Open decoders and encoders that wait for their next frame. Safe from any thread; nothing is locked while one works.

#include "dv/Coder.h"

namespace PixelBlitter::dv {

/// A coder for the time of one conversion. It goes back to the pool afterwards, unless it has failed.
class CoderLoan {
public:
    CoderLoan(const Kind& kind, Task task) noexcept;
    ~CoderLoan();
    CoderLoan(const CoderLoan&) = delete;
    CoderLoan& operator=(const CoderLoan&) = delete;

    /// Why there is no coder; kPB_Success when there is one.
    PB_Result Result() const noexcept { return mResult; }
    Coder* operator->() const noexcept { return mCoder.get(); }

private:
    PB_Result mResult = kPB_Success;
    std::unique_ptr<Coder> mCoder;
};

/// Closes those that wait. Coders on loan are closed or kept when they come back.
void CloseIdleCoders() noexcept;

} // namespace PixelBlitter::dv
