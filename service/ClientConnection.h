#pragma once
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "protocol/ClientHoldings.h"
#include "transport/BufferedSocket.h"

namespace tavu {

// One client of the service: its end of the socket, its thread, and what it holds, so
// that all of it can be given back however the client goes away.
class ClientConnection : public BufferedSocket {
public:
    ClientConnection() = default;

    std::thread thread;
    bool closing = false;
    ClientHoldings holdings;
};

}  // namespace tavu
