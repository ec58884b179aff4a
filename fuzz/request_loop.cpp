// An arbitrary byte stream as one client's requests, served by the request loop with a device
// manager that was never started: no library, no devices. The loop ends when the bytes do, or
// earlier at a fault of the envelope.
#include "encoding/Stream.h"
#include "protocol/ClientHoldings.h"
#include "protocol/RequestLoop.h"
#include "registry/DeviceManager.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>

namespace {

// A client that sends a fixed run of bytes; replies are dropped.
class RequestBytes : public tavu::Stream {
public:
    RequestBytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}

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
    // The queue and the global lock that the client may hold go with the manager.
    tavu::DeviceManager manager;
    tavu::Clients clients;
    tavu::ClientHoldings holdings;
    const tavu::Clients::Entry listed(clients, holdings);
    RequestBytes requests(data, size);
    try {
        tavu::runRequestLoop(requests, holdings, manager, clients);
    } catch (const std::exception&) {
    }
    return 0;
}
