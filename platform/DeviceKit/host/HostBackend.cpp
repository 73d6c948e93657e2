#include "HostBackend.h"

#include "BRTFoundation.h"
#include "PixelBlitter.h"

#include <boost/make_shared.hpp>

#include <cstring>
#include <fstream>
#include <new>

namespace DK::Details {
namespace {

/// Complete whenever it is asked.
class HostEvent final : public Event {
public:
    int RecordOnStream(void* /*inStream*/) override { return kResult_Success; }
    int Query() override { return kResult_Success; }
    int Wait() override { return kResult_Success; }
};

// "MemTotal:  1234 kB"; 0 when there is no such line.
std::uint64_t KernelFigure(const char* name) {
    std::ifstream lines("/proc/meminfo");
    std::string label;
    std::uint64_t kibibytes = 0;
    for (std::string unit; lines >> label >> kibibytes; std::getline(lines, unit)) {
        if (label == name) {
            return kibibytes * 1024;
        }
    }
    return 0;
}

} // namespace

int HostBackend::GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept {
    try {
        outTotal = KernelFigure("MemTotal:");
        outFree = KernelFigure("MemAvailable:");
        return outTotal != 0 ? kResult_Success : kResult_UnknownFailure;
    } catch (const std::bad_alloc&) {
        return kResult_OutOfMemory;
    }
}

void* HostBackend::Allocate(MemoryKind /*kind*/, std::uint64_t bytes) noexcept {
    try {
        return BRT::MemoryRecycler::Instance().AllocateBuffer(bytes).data;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void HostBackend::Free(MemoryKind /*kind*/, void* data, std::uint64_t bytes) noexcept {
    BRT::MemoryRecycler::Instance().RecycleBuffer({data, bytes});
}

int HostBackend::Fill(const FillJob& job) noexcept {
    return CodeOfConverterResult(job.fill(job.data, job.rowBytes, job.width, job.height, job.converterFormat));
}

int HostBackend::Copy(const CopyJob& job, Event* event) noexcept {
    auto* destination = static_cast<std::uint8_t*>(job.destination.data);
    const auto* source = static_cast<const std::uint8_t*>(job.source.data);
    for (int row = 0; row < job.height; ++row) {
        PB_CopyMemory(destination + row * job.destination.rowBytes, source + row * job.source.rowBytes,
                      job.usedRowBytes);
    }
    return event != nullptr ? event->Record() : kResult_Success;
}

boost::shared_ptr<Event> HostBackend::CreateEvent() {
    return boost::make_shared<HostEvent>();
}

} // namespace DK::Details
