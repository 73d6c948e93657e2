#pragma once

/// Video frames lent to host plug-ins as pixel maps (TPix.h): handles around frames, and the frame behind a handle.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "TPix.h"
#include "VFExport.h"
#include "VideoFrameInterfaces.h"
#include "zynmediatypes.h"

#include <cstdint>

namespace VF {

VF_API TPixHand NewTPixFromVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inVideoFrame, bool inAsField,
                                      zynmediatypes::FieldType inFieldType, int inWhichField);
VF_API TPixHand NewTPixFromVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inVideoFrame);
VF_API TPixHand NewTPixWithVideoFrame(RECT* inBounds, zynmediatypes::PixelFormat inPixelFormat, bool inAsField,
                                      int inWhichField, const zynmediatypes::PixelAspectRatio& inPixelAspectRatio,
                                      int inA, int inB, int inC);
VF_API TPixHand NewTPixWithRawFrame(std::uint64_t inSize, std::uint64_t inAlignment);
VF_API TPixHand NewTPixFromVideoMemoryAccess(BRT::InterfaceRef<IVideoFrameMemoryAccess> inMemoryAccess);
VF_API TPixHand NewCustomTPixWithVideoFrame(RECT* inBounds, zynmediatypes::PixelFormat inPixelFormat, int inCustomArg,
                                            const zynmediatypes::PixelAspectRatio& inPixelAspectRatio);
VF_API void DisposeTPixFromVideoFrame(TPixHand inTPixHand);
VF_API bool GetUnderlyingVideoFrameReadOnly(TPixHand inTPixHand);
VF_API unsigned int GetUnderlyingVideoFrameRenderTime(TPixHand inTPixHand);
VF_API void GetUnderlyingVideoFrameAspectRatio(TPixHand inTPixHand, unsigned int* outAspectNum,
                                               unsigned int* outAspectDen);
VF_API zynmediatypes::PixelFormat GetUnderlyingVideoFramePixelFormat(TPixHand inTPixHand);
VF_API zynmediatypes::FieldType GetUnderlyingVideoFrameFieldType(TPixHand inTPixHand);
VF_API BRT::InterfaceRef<RK::IVideoFrame> GetVideoFrameFromTPix(TPixHand inTPixHand);
VF_API BRT::InterfaceRef<BRT::BRTUnknown> GetTPixHandFrameMapping(TPixHand inTPixHand);

} // namespace VF
