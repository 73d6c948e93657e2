#include "Origins.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

namespace HandleMemory {
namespace {

constexpr const char* kSwitch = "KX_RECORD_HANDLE_ORIGINS";

enum class Recording : unsigned char { NotAsked, Off, On };
constinit std::atomic<Recording> sRecording{Recording::NotAsked};

bool IsRecording() noexcept {
    Recording recording = sRecording.load(std::memory_order_relaxed);
    if (recording == Recording::NotAsked) {
        const char* const value = std::getenv(kSwitch);
        const Recording asked = value && std::strcmp(value, "0") != 0 ? Recording::On : Recording::Off;
        // A call of RecordOrigins that came in between wins.
        recording = sRecording.compare_exchange_strong(recording, asked) ? asked : recording;
    }
    return recording == Recording::On;
}

/// Where the module around an address was loaded; null for none.
const void* ModuleOf(const void* address) noexcept {
    Dl_info info;
    return address && dladdr(address, &info) ? info.dli_fbase : nullptr;
}

struct Free {
    void operator()(char* text) const noexcept { std::free(text); }
};

} // namespace

void RecordOrigins(bool record) noexcept {
    sRecording.store(record ? Recording::On : Recording::Off, std::memory_order_relaxed);
}

std::unique_ptr<Origin> RecordOrigin() noexcept {
    if (!IsRecording()) [[likely]] {
        return nullptr;
    }
    std::unique_ptr<Origin> origin(new (std::nothrow) Origin);
    if (!origin) {
        return nullptr;
    }
    std::array<void*, Origin::kMostCalls + 8> calls{};
    const int found = backtrace(calls.data(), static_cast<int>(calls.size()));
    const auto end = calls.begin() + std::max(found, 0);
    // A sanitizer's backtrace adds calls of its own in front of this library's.
    const auto isOwn = [own = ModuleOf(&sRecording)](const void* call) { return ModuleOf(call) == own; };
    const auto first = std::find_if_not(std::find_if(calls.begin(), end, isOwn), end, isOwn);
    origin->count = std::min(static_cast<std::size_t>(end - first), Origin::kMostCalls);
    std::copy_n(first, origin->count, origin->returnAddresses.begin());
    return origin;
}

std::size_t DescribeOrigin(const Origin& origin, const void* insideModule, char* text, std::size_t textBytes) noexcept {
    const void* const inside = ModuleOf(insideModule);
    const auto end = origin.returnAddresses.begin() + static_cast<std::ptrdiff_t>(origin.count);
    const auto call = std::find_if(origin.returnAddresses.begin(), end,
                                   [inside](const void* address) { return !inside || ModuleOf(address) != inside; });
    Dl_info info{};
    if (call == end || !dladdr(*call, &info) || textBytes == 0) {
        return 0;
    }
    const char* const path = info.dli_fname ? info.dli_fname : "";
    const char* const slash = std::strrchr(path, '/');
    const auto offset = reinterpret_cast<std::uintptr_t>(*call) - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    int length = 0;
    if (info.dli_sname) {
        const std::unique_ptr<char, Free> plain(abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr));
        length = std::snprintf(text, textBytes, "%s+0x%zx (%s)", slash ? slash + 1 : path, offset,
                               plain ? plain.get() : info.dli_sname);
    } else {
        length = std::snprintf(text, textBytes, "%s+0x%zx", slash ? slash + 1 : path, offset);
    }
    return length < 0 ? 0 : std::min(static_cast<std::size_t>(length), textBytes - 1);
}

} // namespace HandleMemory
