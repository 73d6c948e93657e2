#include "Commands.h"
#include "ExitCodes.h"

#include <cstdio>
#include <exception>
#include <new>

namespace {

int Fail(tool::ExitCode code, const char* message) {
    std::fprintf(stderr, "vf: %s\n", message);
    return static_cast<int>(code);
}

int Run(int argc, char** argv) {
    CLI::App app{"vf: real pictures through the frames of libvf"};
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 unexpected fault, 2 usage, 3 input missing, 4 input broken,\n"
               "5 output cannot be written, 6 frame or conversion refused by the library,\n"
               "7 not shared, or not in time, 8 shared memory cannot be used, 9 no display.");
    for (const auto add :
         {tool::AddConvertCommand,  tool::AddPublishCommand, tool::AddReceiveCommand, tool::AddListCommand,
          tool::AddWatchCommand,    tool::AddDumpCommand,    tool::AddCleanCommand,   tool::AddMonitorCommand,
          tool::AddCameraCommand,   tool::AddShowCommand,    tool::AddBoundsCommand,  tool::AddPaletteCommand,
          tool::AddConvolveCommand, tool::AddWarpCommand,    tool::AddTPixCommand,    tool::AddPolygonCommand,
          tool::AddBitmapCommand,   tool::AddExplainCommand, tool::AddFormatsCommand, tool::AddDevicesCommand}) {
        add(app);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Also thrown for --help, whose exit code is 0.
        return app.exit(error) == 0 ? 0 : static_cast<int>(tool::ExitCode::Usage);
    }
    return static_cast<int>(tool::ExitCode::Success);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const tool::Failure& failure) {
        return Fail(failure.Code(), failure.what());
    } catch (const std::bad_alloc&) {
        return Fail(tool::ExitCode::Unexpected, "out of memory");
    } catch (const std::exception& error) {
        return Fail(tool::ExitCode::Unexpected, error.what());
    }
}
