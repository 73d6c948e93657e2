#pragma once

#include "GraphicsObjects.h"
#include "Screen.h"

#include <mutex>

namespace WindowsApi {

/// What all contexts share.
class DeviceContext : public GraphicsObject {
public:
    Deletion HowDeleted() const noexcept override { return Deletion::Elsewhere; }
    virtual int GetCapability(int inIndex) = 0;
};

class ScreenContext final : public DeviceContext {
public:
    int GetCapability(int inIndex) override;

private:
    std::once_flag mLookedUp; ///< looked up by the first question, since few users of a screen context ask one
    Screen mScreen;
};

class MemoryContext final : public DeviceContext {
public:
    int GetCapability(int inIndex) override;
};

} // namespace WindowsApi
