#pragma once
#include <cstdint>

namespace tavu {

// What clients learn about the recorders: a type and, where the type has them, a device index and a
// port (or port mask). Plain value; queues copy it.
struct DeviceEvent {
    static constexpr uint32_t QueueClosed = 0;
    static constexpr uint32_t DevicesChanged = 1;
    static constexpr uint32_t RecordingStarted = 2;
    static constexpr uint32_t RecordingStopped = 3;
    static constexpr uint32_t FilesChanged = 4;
    static constexpr uint32_t PairingChanged = 5;
    // Made by a timed read that found nothing; never stored in a queue.
    static constexpr uint32_t NoEvent = 6;

    uint32_t type = QueueClosed;
    uint32_t device = 0;
    uint32_t port = 0;

    bool operator==(const DeviceEvent&) const = default;
};

}  // namespace tavu
