#pragma once
#include <cstdint>
#include <string>

#include "tools/tavuctl/Session.h"

namespace tavu::tavuctl {

// Export formats that put every frame of a stream into one file.
inline constexpr const char* Hdf5Format = "h5";
inline constexpr const char* TiffStackFormat = "tiff-stack";

bool isStackFormat(const std::string& format);

struct StackExport {
    uint32_t device = 0;
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    std::string frames;  // as for images: "N", "FIRST-LAST" or "FIRST-"; empty for all
    std::string out;     // folder
    std::string format;
    bool force = false;
};

// Writes out/recording_<file>_<stream>.h5 (or .tiff), replacing it only with force.
void exportStack(Session& session, const StackExport& request);

}  // namespace tavu::tavuctl
