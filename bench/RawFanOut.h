#pragma once
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace tavu::bench {

// The floor of an event's fan-out: Unix stream socket pairs whose client ends each have a
// thread blocked in read, and a message of a fixed size written to every one of them. The
// writes come from the calling thread, or, like the service's thread per connection, from a
// thread per client woken through a queue of its own. With an answer size, each client writes
// that many bytes back once it has the message, as a reader of events asks for the next one; with
// readAnswers, a thread per socket reads them, as a connection's thread takes its next request.
class RawFanOut {
public:
    enum class Writers { OneThread, ThreadPerClient };

    RawFanOut(unsigned clients, size_t messageSize, Writers writers, size_t answerSize = 0, bool readAnswers = false);
    ~RawFanOut();
    RawFanOut(const RawFanOut&) = delete;
    RawFanOut& operator=(const RawFanOut&) = delete;

    // Sends one message to every client once all threads sleep; returns the microseconds from
    // the first write (or push) until the last client had read the whole message.
    double sendToAll();

private:
    struct Client {
        int serverFd = -1;
        int clientFd = -1;
        std::atomic<int64_t> arrival{0};  // Clock ticks
    };
    struct Writer {
        std::mutex mutex;
        std::condition_variable wake;
        unsigned pending = 0;
    };

    void read(Client& client);
    void readAnswers(const Client& client);
    void write(const Client& client) const;
    void serve(Client& client, Writer& writer);

    std::vector<char> message_;
    std::vector<char> answer_;
    Writers writers_;
    std::vector<Client> clients_;
    std::vector<Writer> queues_;
    std::atomic<unsigned> arrived_{0};
    std::atomic<unsigned> started_{0};
    std::atomic<bool> stop_{false};
    std::mutex tidsMutex_;
    std::vector<pid_t> tids_;
    unsigned rounds_ = 0;
    std::vector<std::jthread> threads_;
};

}  // namespace tavu::bench
