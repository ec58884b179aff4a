#pragma once

namespace tavu {

// Messages of the hardware device that several of its sources throw. Both forms of the drive set
// message are owed to clients, each in its place.
inline constexpr const char* kInvalidPortIndex = "Invalid port index.";
inline constexpr const char* kNoDriveSet = "no drive set.";
inline constexpr const char* kNoDriveSetCapital = "No drive set.";
inline constexpr const char* kVirtualCannotRecord = "Virtual devices cannot record.";

}  // namespace tavu
