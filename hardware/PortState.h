#pragma once
#include "library/SerialPort.h"
#include "transport/SharedRegion.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace tavu {

// What a hardware device holds about one camera port. Guarded by the device mutex, except where a
// field names its own lock.
struct PortState {
    // The library port's name, unique within the recorder.
    std::string name;
    // The camera's serial channel; empty while closed. Used under portLock.
    boost::shared_ptr<Quillon::SerialPort> serialPort;
    // Held while liveFrame waits for a frame, with the device mutex given up.
    std::mutex grabLock;
    // Serialises the serial and register traffic of this port, with the device mutex given up.
    std::mutex portLock;

    // Pairing and configuration, kept in the ".config" record of the drive set.
    std::string pairedTo;
    // 0 means not configured.
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t pixelFormat = 0;
    uint32_t tapGeometry = 0;

    // State of the recording that this port takes part in.
    bool recording = false;
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    uint64_t numFrames = 0;
    // Storage cost of one frame, for the estimate of percentUsed during a recording.
    uint32_t frameBytes = 0;

    // A recording or a reconfiguration took the port away from live acquisition; the next
    // liveFrame restarts it.
    bool restartLive = false;
    SharedRegion liveRegion;

    // The pairing's block. Empty either for no block or for a large block that still lies only in
    // the port's ".pair" file; portIdentity tells the two apart by looking.
    std::vector<uint8_t> pairInfo;
    uint16_t framesPerPacket = 0;
};

}  // namespace tavu
