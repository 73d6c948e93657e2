#include "ToolProcess.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tooltest {

Result RunProgram(const std::string& commandLine) {
    const ScratchFolder scratch;
    const std::string output = scratch / "output";
    const std::string errors = scratch / "errors";
    const int status = std::system((commandLine + " >'" + output + "' 2>'" + errors + "' </dev/null").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(output), ReadFile(errors)};
}

Result RunTool(const std::string& arguments) {
    return RunProgram(std::string("'") + VF_TOOL_BINARY + "' " + arguments);
}

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / ("vf-tool-" + std::string(6, 'X'))).string();
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("no temporary folder");
    }
    mPath = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace tooltest
