#pragma once
#include <cstdint>
#include <optional>

#include "client/Client.h"
#include "wire/DeviceEvent.h"

namespace tavu::client {

// The event queue of a connection: created with this object, destroyed with it. Every event
// the service posts from then on arrives here, in order. A connection can have only one.
class EventReader {
public:
    explicit EventReader(Client& client);
    ~EventReader();
    EventReader(const EventReader&) = delete;
    EventReader& operator=(const EventReader&) = delete;

    // Waits up to half a second for the next event; nothing when none came. An event of type
    // QueueClosed means that another client destroyed this queue.
    std::optional<DeviceEvent> next();
    // Doesn't wait.
    std::optional<DeviceEvent> poll();
    uint32_t queueId() const { return queueId_; }

private:
    Client& client_;
    uint32_t queueId_;
};

// "RecordingStarted" and so on; "Unknown" for a type this client doesn't know.
const char* eventTypeName(uint32_t type);

}  // namespace tavu::client
