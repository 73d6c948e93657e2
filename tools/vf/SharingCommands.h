#pragma once

/// The commands of `vf` on frames that processes share: one file each. They throw Failure to end with an exit code
/// other than 0. Arguments are as the user wrote them (docs/tool.md); the commands parse texts.

#include "sharehub.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

struct PublishArguments {
    std::string input;
    std::string name;   ///< empty: the file's
    std::string size;   ///< empty: the pictures' own
    std::string format; ///< empty: the pictures' own
    std::string frames; ///< empty: all
    std::int64_t every = 1;
    bool loop = false;
    std::string rate;                                      ///< empty: the clip's own
    std::string hold;                                      ///< empty: until Ctrl-C
    std::uint64_t budget = framebroker::kDefaultPutBudget; ///< bytes
};
/// `vf publish FILE`: shares the frames of a clip.
void Publish(const PublishArguments& arguments);

struct ReceiveArguments {
    std::string name;
    std::string output;
    std::string frames; ///< empty: all
    std::string wait;   ///< empty: until Ctrl-C
};
/// `vf receive NAME OUT`: writes the frames of a clip that another process publishes.
void Receive(const ReceiveArguments& arguments);

struct ListArguments {
    bool json = false;
};
/// `vf list`: what is shared now.
void ListBlocks(const ListArguments& arguments);

struct WatchArguments {
    bool json = false;
};
/// `vf watch`: what is shared and dropped, as it happens.
void WatchBlocks(const WatchArguments& arguments);

struct DumpArguments {
    std::string frame;
    std::string output;
    std::string wait = "0";
};
/// `vf dump FRAME OUT`: a shared frame as a picture.
void Dump(const DumpArguments& arguments);

/// `vf clean`: removes what dead processes left.
void Clean();

struct MonitorArguments {
    std::vector<std::string> files;
    int selected = 1; ///< from 1; 0 for none
    bool large = false;
    bool yellow = false;
    std::string size = "1920x1080";
    std::string rate;   ///< empty: the first camera's
    std::string frames; ///< empty: all
    std::string output; ///< empty: no file
    bool show = false;
};
/// `vf monitor FILES`: up to four clips side by side, into a file or a window.
void RunMonitor(const MonitorArguments& arguments);

struct CameraArguments {
    std::string input;
    std::string name;
    std::string cell;
    std::string format;
    std::uint64_t ahead = 1; ///< frames
};
/// `vf camera`: the process of a monitor's camera.
void RunCamera(const CameraArguments& arguments);

} // namespace tool
