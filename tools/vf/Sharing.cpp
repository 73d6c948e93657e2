#include "Sharing.h"

#include "ExitCodes.h"

#include <cstdlib>

namespace tool {

using namespace framebroker;

SharingGuard::SharingGuard() {
    if (!InitializeClient()) {
        const char* configured = std::getenv("VF_SHAREHUB_DIR");
        throw Failure(
            ExitCode::SharingFailed,
            (configured && *configured ? configured : std::string("the folder of shared frames in /dev/shm")) +
                ": not usable; it must be a folder of this user's own, with the permissions 0700");
    }
}

SharingGuard::~SharingGuard() {
    UninitializeClient();
}

std::string ResultText(std::int32_t result) {
    switch (static_cast<Result>(result)) {
    case kResult_Success:
        return "done";
    case kResult_NotInitialized:
        return "sharing has ended in this process";
    case kResult_BadArgument:
        return "not a Guid that can name a block";
    case kResult_OutOfSpace:
        return "shared memory is full";
    case kResult_NameInUse:
        return "the Guid names data that is alive";
    case kResult_NotFound:
        return "nothing is shared under it";
    case kResult_GenerationError:
        return "its producer says that it will not come";
    case kResult_SystemError:
        return "the system refused an operation on shared memory";
    case kResult_Damaged:
        return "the block is damaged";
    case kResult_TimedOut:
        return "nothing was shared under it in the time given";
    case kResult_Gone:
        return "it was shared and dropped again before it could be had";
    }
    return "result " + std::to_string(result);
}

void ThrowRefusal(const std::string& what, std::int32_t result) {
    const bool absent = result == kResult_NotFound || result == kResult_GenerationError || result == kResult_TimedOut ||
                        result == kResult_Gone || result == kResult_BadArgument;
    const ExitCode code = absent                      ? ExitCode::NotShared
                          : result == kResult_Damaged ? ExitCode::ConversionRefused
                                                      : ExitCode::SharingFailed;
    throw Failure(code, what + ": " + ResultText(result));
}

} // namespace tool
