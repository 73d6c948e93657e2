#pragma once

#include "../Backend.h"
#include "CudaContext.h"

namespace DK::Details {

/// Enqueues a fill on the context's queue, in the context, which is current. Pictures that neither the driver nor a
/// kernel can fill (DV, rows at odd addresses) are made by the converter and copied; such a copy is complete when the
/// function returns.
CUresult EnqueueFill(CudaContext& context, const FillJob& job) noexcept;

} // namespace DK::Details
