#include "CommandLine.h"
#include "ExitCodes.h"
#include "Libav.h"

#include <cstdio>
#include <exception>
#include <new>

namespace {

int Fail(tool::ExitCode code, const char* message) {
    std::fprintf(stderr, "vf: %s\n", message);
    return static_cast<int>(code);
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET); // damage is told by our own reports
    try {
        return tool::RunCommandLine(argc, argv);
    } catch (const tool::Failure& failure) {
        return Fail(failure.Code(), failure.what());
    } catch (const std::bad_alloc&) {
        return Fail(tool::ExitCode::Unexpected, "out of memory");
    } catch (const std::exception& error) {
        return Fail(tool::ExitCode::Unexpected, error.what());
    }
}
