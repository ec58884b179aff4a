#pragma once
#include <atomic>
#include <string>

#include "transport/LocalSocket.h"

namespace tavu {

// The listening side of the local channel. One instance per base name and user: an
// advisory lock beside the socket decides which process listens, so two copies started
// at the same instant never both do, and a socket file left by a killed copy is replaced.
class LocalSocketServer {
public:
    LocalSocketServer();
    ~LocalSocketServer();
    LocalSocketServer(const LocalSocketServer&) = delete;
    LocalSocketServer& operator=(const LocalSocketServer&) = delete;

    // False when another instance listens, or the socket can't be set up.
    bool listen(const std::string& baseName, bool global);

    // Blocks until a client connects. Raises "Pipe not open." when not listening (never
    // listened, or aborted earlier) and "ConnectNamedPipe aborted." when abort ends the wait.
    // A passing shortage (descriptors, memory) is waited out with a growing pause; only a
    // failure of the listener itself raises anything else.
    LocalSocket accept();

    // From any thread: ends a waiting accept and stops listening for good.
    void abort();
    // A descriptor that aborts as soon as it turns readable, watched by accept; -1 for none.
    void abortOn(int descriptor) { stopFd_ = descriptor; }

private:
    void closeListener();

    std::string socketPath_;
    int lockFd_ = -1;
    int listenFd_ = -1;
    int abortFd_ = -1;  // eventfd, signalled once by abort
    int stopFd_ = -1;   // not ours
    std::atomic<bool> listening_{false};
    std::atomic<bool> aborted_{false};
};

}  // namespace tavu
