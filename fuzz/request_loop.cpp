// An arbitrary byte stream as one client's requests, served by the request loop of a server
// with no devices. The loop ends when the bytes do, or earlier at a fault of the envelope.
#include "protocol/RequestLoop.h"
#include "service/ClientConnection.h"
#include "service/ConnectionServer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>

namespace {

// A connection whose peer is a fixed run of bytes; replies are counted and dropped.
class MemoryConnection : public tavu::ClientConnection {
public:
    MemoryConnection(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint64_t read(void* buffer, uint64_t byteCount) override {
        const uint64_t count = std::min<uint64_t>(byteCount, size_ - position_);
        std::memcpy(buffer, data_ + position_, count);
        position_ += count;
        return count;
    }
    uint64_t write(const void*, uint64_t byteCount) override { return byteCount; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t position_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Each error reply prints a line on standard output; libFuzzer reports on standard error.
    const int devNull = open("/dev/null", O_WRONLY);
    dup2(devNull, STDOUT_FILENO);
    close(devNull);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tavu::ConnectionServer server;
    MemoryConnection connection(data, size);
    try {
        tavu::runRequestLoop(server, connection);
    } catch (const std::exception&) {
    }
    // The queue and the global lock that the client may hold go with the server.
    return 0;
}
