#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace tavu {

// The emulated device's name and its one port's name; both also name folders.
inline constexpr const char* kEmulatorName = "Emulator";
inline constexpr const char* kEmulatorPortName = "Emu";

// Joins two path parts with "/"; an empty part adds nothing.
std::string joinPath(std::string_view first, std::string_view second);

// Where the emulated device keeps its files: "OREK Systems/TAVU/Emulator" below the per-user
// data folder ($XDG_DATA_HOME, or $HOME/.local/share where that is unset or empty).
class EmulatorFolder {
public:
    // Reads the environment now; the paths stay as they are for the object's life.
    EmulatorFolder();

    // The port's configuration and pairing (a configuration record, despite the name).
    std::string configPath() const { return joinPath(device_, ".meta"); }
    // The catalogue.
    std::string cataloguePath() const { return joinPath(device_, ".files"); }
    std::string portFolder() const { return joinPath(device_, kEmulatorPortName); }
    // Frames of the recording in progress, or of one cut off.
    std::string incompletePath() const { return joinPath(portFolder(), ".incomplete"); }
    // A recording's frames, by the port's name and the file's stem; its description is this
    // path with ".meta" appended.
    std::string recordingPath(const std::string& port, const std::string& stem) const;
    std::string framePath(uint32_t fileId) const;

private:
    std::string device_;
};

}  // namespace tavu
