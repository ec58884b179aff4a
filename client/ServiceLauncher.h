#pragma once
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavu::client {

// Finds the tavusvc executable and starts it as a daemon of its own. The service ends with
// its last client, so a client that finds nobody listening starts one.
class ServiceLauncher {
public:
    // Searches the given folders in order; with none given, the folder of the running
    // executable and then the folders of PATH.
    explicit ServiceLauncher(std::vector<std::filesystem::path> folders = {});

    std::optional<std::filesystem::path> find() const;

    // Starts the service detached from this process: new session, standard streams on
    // /dev/null, the environment passed on as it is. Returns the executable's path; raises
    // NoServiceError when there is none or it can't be run.
    std::filesystem::path start() const;

    // The folders searched, for messages: "/opt/tavu/bin, /usr/bin".
    std::string searchedFolders() const;

private:
    std::vector<std::filesystem::path> folders_;
};

}  // namespace tavu::client
