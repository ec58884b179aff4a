#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "protocol/ClientHoldings.h"
#include "registry/DeviceManager.h"
#include "service/ClientConnection.h"
#include "service/LocalSocketServer.h"

namespace tavu {

// Owns everything that lives as long as the service: the client connections, the device
// manager and the listener. With autoClose set, the service stops when its last client
// leaves.
class ConnectionServer {
public:
    static constexpr const char* BaseName = "tavusrv";

    // Accepts clients until the listener is aborted or fails, then shuts down.
    void run();

    // Listed before the connections, which take their holdings off the list as they go.
    Clients clients;
    std::mutex serverMutex;
    std::vector<std::unique_ptr<ClientConnection>> connections;
    DeviceManager manager;
    LocalSocketServer listener;
    bool autoClose = true;
    // Readable when the service is asked to stop by a signal: it then stops as after its last
    // client, once every running recording is stopped. -1 for none.
    int stopSignals = -1;

private:
    void acceptLoop();
    void startConnection(LocalSocket socket);
    void serveConnection(ClientConnection& connection);
    void shutdown();

    // The most connections at once since the allocator was last trimmed; under serverMutex.
    size_t crowd_ = 0;
};

}  // namespace tavu
