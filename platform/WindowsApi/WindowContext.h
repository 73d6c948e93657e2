#pragma once

#include "DeviceContexts.h"
#include "Window.h"

namespace WindowsApi {

/// The context of a window. It keeps the window's object, which draws nothing once it is closed.
class WindowContext final : public DeviceContext {
public:
    explicit WindowContext(std::shared_ptr<Window> inWindow) : mWindow(std::move(inWindow)) {}

    int GetCapability(int inIndex) override { return CapabilityOf(mWindow->GetScreen(), inIndex); }

protected:
    HGDIOBJ SelectBitmap(HGDIOBJ, const std::shared_ptr<Bitmap>&) noexcept override { return nullptr; }
    bool PaintBox(const Box& inBox, const Painter& inPainter) override { return mWindow->Paint(inBox, inPainter); }

private:
    std::shared_ptr<Window> mWindow;
};

} // namespace WindowsApi
