#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// Runs programs as a user would.
namespace tooltest {

inline const std::string kSourceFolder = VF_SOURCE_FOLDER;
inline const std::string kCockatoo = kSourceFolder + "/media/cockatoo-1280x720-420.mp4";
inline const std::string kCity = kSourceFolder + "/media/city-720x405.mpg";

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A new folder that goes away with the object.
class ScratchFolder {
public:
    ScratchFolder() {
        mPath = (std::filesystem::temp_directory_path() / ("vf-tool-" + std::string(6, 'X'))).string();
        if (!mkdtemp(mPath.data())) {
            throw std::runtime_error("no temporary folder");
        }
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string operator/(const std::string& name) const { return mPath + '/' + name; }

private:
    std::string mPath;
};

struct Result {
    int exitCode = -1;
    std::string output; ///< what went to the standard output
    std::string errors; ///< what went to the error output
};

inline Result RunProgram(const std::string& commandLine) {
    const ScratchFolder scratch;
    const std::string output = scratch / "output";
    const std::string errors = scratch / "errors";
    const int status = std::system((commandLine + " >'" + output + "' 2>'" + errors + "' </dev/null").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(output), ReadFile(errors)};
}

/// Runs the built `vf` with these arguments, given as in a shell.
inline Result RunTool(const std::string& arguments) {
    return RunProgram(std::string("'") + VF_TOOL_BINARY + "' " + arguments);
}

} // namespace tooltest
