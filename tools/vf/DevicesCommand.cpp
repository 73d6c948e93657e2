#include "DeviceKit.h"
#include "PictureCommands.h"
#include "Text.h"

#include <cstdio>

namespace tool {

void PrintDevices() {
    std::printf("%-6s%-6s%12s%12s  %s\n", "index", "kind", "memory", "free", "name");
    for (const auto& device : DK::EnumerateDevices()) {
        std::uint64_t total = 0;
        std::uint64_t free = 0;
        const int result = device->GetMemorySize(total, free);
        const bool known = result == DK::kResult_Success;
        std::printf("%-6u%-6s%12s%12s  %s%s\n", device->GetIndex(), device->IsHost() ? "host" : "GPU",
                    known ? BytesText(total).c_str() : "-", known ? BytesText(free).c_str() : "-",
                    device->GetName().c_str(), known ? "" : (", CUDA error " + std::to_string(result)).c_str());
    }
    std::puts(DK::DescribeDriver().c_str());
}

} // namespace tool
