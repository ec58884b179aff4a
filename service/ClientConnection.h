#pragma once
#include <thread>

#include "protocol/ClientHoldings.h"
#include "transport/BufferedSocket.h"

namespace tavu {

// One client of the service: its end of the socket, the thread that serves it, and what it
// holds, so that all of it can be given back however the client goes away.
struct ClientConnection {
    BufferedSocket socket;
    std::thread thread;
    // Under the server's mutex: set when the server shuts down and joins the thread.
    bool closing = false;
    ClientHoldings holdings;
};

}  // namespace tavu
