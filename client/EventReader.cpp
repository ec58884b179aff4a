#include "client/EventReader.h"

#include <array>

namespace tavu::client {

EventReader::EventReader(Client& client) : client_(client), queueId_(client.createEventQueue()) {}

EventReader::~EventReader() {
    try {
        client_.destroyEventQueue(queueId_);
    } catch (...) {
        // Already destroyed by another client, or the connection is gone: nothing left to free.
    }
}

std::optional<DeviceEvent> EventReader::next() {
    const DeviceEvent event = client_.readEvent(queueId_);
    if (event.type == DeviceEvent::NoEvent) {
        return std::nullopt;
    }
    return event;
}

std::optional<DeviceEvent> EventReader::poll() { return client_.tryReadEvent(queueId_); }

const char* eventTypeName(uint32_t type) {
    static constexpr auto Names = std::to_array<const char*>(
        {"QueueClosed", "DevicesChanged", "RecordingStarted", "RecordingStopped", "FilesChanged", "PairingChanged",
         "NoEvent"});
    return type < Names.size() ? Names[type] : "Unknown";
}

}  // namespace tavu::client
