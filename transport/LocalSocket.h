#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "encoding/Stream.h"

namespace tavu {

// Full path of the service's socket for a base name: $XDG_RUNTIME_DIR/<name>, or
// /tmp/<name>-<uid>/<name> where XDG_RUNTIME_DIR is unset or empty.
std::string localSocketPath(const std::string& baseName);

// One connected end of the service's local channel: a Unix domain stream socket.
// read and write block until every byte has moved or the channel fails, and report a
// failure only as a short count.
class LocalSocket : public Stream {
public:
    LocalSocket() = default;
    explicit LocalSocket(int fd) : fd_(fd) {}
    LocalSocket(LocalSocket&& other) noexcept;
    LocalSocket& operator=(LocalSocket&& other) noexcept;
    LocalSocket(const LocalSocket&) = delete;
    LocalSocket& operator=(const LocalSocket&) = delete;
    ~LocalSocket() override;

    uint64_t read(void* buffer, uint64_t byteCount) override;
    uint64_t write(const void* buffer, uint64_t byteCount) override;
    uint64_t writeNow(const void* buffer, uint64_t byteCount) override;

    // Ends the channel in both directions; a read blocked on another thread returns a
    // short count. The descriptor itself stays with this object until it is destroyed, so
    // that another thread can never end up reading a reused descriptor.
    void close();

    // Client side: connects to the service listening under the base name.
    bool connect(const std::string& baseName);
    bool connectPath(const std::string& path);

    bool isOpen() const { return fd_ >= 0; }
    int nativeHandle() const { return fd_; }

protected:
    // One receive of at most byteCount bytes; 0 on end or failure.
    uint64_t readSome(void* buffer, uint64_t byteCount);

private:
    void release();

    int fd_ = -1;
};

// Names of the sockets in the service's socket folder that begin with prefix.
std::vector<std::string> listLocalSockets(const std::string& prefix);

}  // namespace tavu
