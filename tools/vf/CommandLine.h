#pragma once

namespace tool {

/// Runs the command that the arguments of main name, and returns the exit status of the process: that of a success,
/// also of --help, or ExitCode::Usage, after a message to the user, for arguments that no command takes. Throws what
/// the command throws. Once in a process.
int RunCommandLine(int argc, const char* const* argv);

} // namespace tool
