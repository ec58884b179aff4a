#include "service/ConnectionServer.h"

#include <malloc.h>
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <utility>

#include "library/ErrorText.h"
#include "protocol/RequestLoop.h"
#include "service/DeviceSources.h"
#include "transport/SharedRegion.h"

namespace tavu {

namespace {

// So many clients at once make a crowd, whose departure is worth a trim of the allocator.
constexpr size_t Crowd = 64;

}  // namespace

void ConnectionServer::run() {
    if (!listener.listen(BaseName, false)) {
        return;  // another copy of the service is listening
    }
    // Holding the lock, this copy is the only one of this user and socket; a killed one may
    // have left regions that nobody maps any longer.
    removeUnusedRegions(RegionBaseName);
    try {
        manager.start(deviceSources());
    } catch (...) {
        // An exception without a text goes on out of run.
        std::printf("caught exception: %s\n", currentExceptionText().c_str());
        return;
    }
    listener.abortOn(stopSignals);
    try {
        acceptLoop();
    } catch (...) {
        // The normal ways out: the last client left, or a signal came, and the listener was
        // aborted. A failure of the listener itself ends the service the same way.
    }
    shutdown();
}

void ConnectionServer::acceptLoop() {
    for (;;) {
        startConnection(listener.accept());
    }
}

void ConnectionServer::startConnection(LocalSocket socket) {
    auto connection = std::make_unique<ClientConnection>();
    std::lock_guard guard(serverMutex);
    connections.reserve(connections.size() + 1);
    connection->socket = BufferedSocket(std::move(socket));
    ClientConnection& record = *connection;
    // The thread can't reach its own removal before serverMutex is free, so the record is
    // always in the list by then.
    try {
        record.thread = std::thread([this, &record] { serveConnection(record); });
    } catch (const std::system_error&) {
        return;  // no thread to spare just now: this client alone is cut off
    }
    connections.push_back(std::move(connection));
    crowd_ = std::max(crowd_, connections.size());
}

void ConnectionServer::serveConnection(ClientConnection& connection) {
    {
        // Listed until its queue is given back: until then another client may destroy it.
        const Clients::Entry listed(clients, connection.holdings);
        try {
            runRequestLoop(connection.socket, connection.holdings, manager, clients);
        } catch (...) {
            // A client that went away or broke the protocol: no reply, no log line.
        }
        connection.socket.close();
        releaseHoldings(connection.holdings, manager, clients);
    }

    bool crowdLeft = false;
    {
        std::lock_guard guard(serverMutex);
        if (connection.closing) {
            return;  // the server is shutting down and joins this thread
        }
        const auto found = std::find_if(connections.begin(), connections.end(),
                                        [&](const auto& entry) { return entry.get() == &connection; });
        if (found != connections.end()) {
            connection.thread.detach();
            connections.erase(found);  // destroys the record; nothing below may touch it
        }
        if (autoClose && connections.empty()) {
            listener.abort();
        }
        crowdLeft = crowd_ >= Crowd && connections.size() <= crowd_ / 4;
        if (crowdLeft) {
            crowd_ = connections.size();
        }
    }
    // The allocator keeps what the threads of a crowd of clients freed, scattered among what
    // lives on; once most of them have left, it is made to give that back.
    if (crowdLeft) {
        ::malloc_trim(0);
    }
}

void ConnectionServer::shutdown() {
    listener.abort();
    {
        std::lock_guard guard(serverMutex);
        for (const auto& connection : connections) {
            connection->closing = true;
            connection->socket.close();
        }
    }
    // Every remaining record is now the server's: its thread leaves the list alone.
    for (const auto& connection : connections) {
        if (connection->thread.joinable()) {
            connection->thread.join();
        }
    }
    connections.clear();
    // No client is left to start another recording, and devices can't be let go of while
    // they record.
    if (pollfd signalled{stopSignals, POLLIN, 0}; ::poll(&signalled, 1, 0) == 1) {
        manager.stopRecordings();
    }
    manager.stop();
}

}  // namespace tavu
