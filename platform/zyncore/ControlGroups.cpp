#include "ControlGroups.h"

#include <fstream>

namespace zyncore::detail {

std::vector<std::string> ControlGroupFolders(const std::string& controller, const std::string& membership,
                                             const std::string& root) {
    std::vector<std::string> folders;
    const auto addPath = [&](const std::string& mount, std::string path) {
        for (; path.size() > 1; path.erase(path.rfind('/'))) {
            folders.push_back(mount + path);
        }
        folders.push_back(mount);
    };
    const std::string listed = "," + controller + ",";
    const std::string ownMount = root + "/" + controller;
    std::ifstream groups(membership);
    std::string number;
    std::string controllers;
    std::string path;
    while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':') && std::getline(groups, path)) {
        if (!path.starts_with('/')) {
            continue;
        }
        if (controllers.empty()) {
            addPath(root, path);
            addPath(root + "/unified", path); // where both versions are mounted side by side
        } else if (controllers.insert(0, 1, ',').append(1, ',').find(listed) != std::string::npos) {
            addPath(ownMount, path);
        }
    }
    return folders;
}

} // namespace zyncore::detail
