#include "emulator/EmulatorFolder.h"

#include <cstdlib>

namespace tavu {

namespace {

std::string dataHome() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg != nullptr && *xdg != '\0') {
        return xdg;
    }
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/.local/share";
}

}  // namespace

std::string joinPath(std::string_view first, std::string_view second) {
    if (second.empty()) {
        return std::string(first);
    }
    if (first.empty()) {
        return std::string(second);
    }
    std::string joined(first);
    joined += '/';
    joined += second;
    return joined;
}

EmulatorFolder::EmulatorFolder()
    : device_(joinPath(joinPath(dataHome(), "OREK Systems/TAVU"), kEmulatorName)) {}

std::string EmulatorFolder::recordingPath(const std::string& port, const std::string& stem) const {
    return joinPath(joinPath(device_, port), stem);
}

std::string EmulatorFolder::framePath(uint32_t fileId) const {
    return recordingPath(kEmulatorPortName, std::to_string(fileId));
}

}  // namespace tavu
