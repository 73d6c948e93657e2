#pragma once

#include <filesystem>
#include <string>

/// Runs programs as a user would.
namespace tooltest {

struct Result {
    int exitCode = -1;
    std::string output; ///< what went to the standard output
    std::string errors; ///< what went to the error output
};

/// Runs the built `vf` with these arguments, given as in a shell.
Result RunTool(const std::string& arguments);

Result RunProgram(const std::string& commandLine);

/// A new folder that goes away with the object.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string operator/(const std::string& name) const { return (mPath / name).string(); }

private:
    std::filesystem::path mPath;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

inline const std::string kSourceFolder = VF_SOURCE_FOLDER;
inline const std::string kCockatoo = kSourceFolder + "/media/cockatoo-1280x720-420.mp4";
inline const std::string kCity = kSourceFolder + "/media/city-720x405.mpg";

} // namespace tooltest
