#include "bench/RawFanOut.h"

#include "bench/Measure.h"
#include "support/ServiceProcess.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace tavu::bench {

using namespace std::chrono_literals;

RawFanOut::RawFanOut(unsigned clients, size_t messageSize, Writers writers, size_t answerSize, bool readAnswers)
    : message_(messageSize, 'e'), answer_(answerSize, 'a'), writers_(writers), clients_(clients), queues_(clients) {
    for (Client& client : clients_) {
        int fds[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
            throw std::runtime_error("socketpair failed");
        }
        client.serverFd = fds[0];
        client.clientFd = fds[1];
    }
    for (unsigned i = 0; i < clients; ++i) {
        threads_.emplace_back([this, i] { read(clients_[i]); });
        if (writers_ == Writers::ThreadPerClient) {
            threads_.emplace_back([this, i] { serve(clients_[i], queues_[i]); });
        }
        if (readAnswers && answerSize > 0) {
            threads_.emplace_back([this, i] { this->readAnswers(clients_[i]); });
        }
    }
    const auto expected = static_cast<unsigned>(threads_.size());
    if (!test::eventually([&] { return started_ == expected; }, 10s)) {
        throw std::runtime_error("fan-out threads did not start");
    }
}

RawFanOut::~RawFanOut() {
    stop_ = true;
    for (Writer& writer : queues_) {
        std::lock_guard guard(writer.mutex);
        writer.wake.notify_one();
    }
    for (const Client& client : clients_) {
        ::shutdown(client.serverFd, SHUT_RDWR);
    }
    threads_.clear();
    for (const Client& client : clients_) {
        ::close(client.serverFd);
        ::close(client.clientFd);
    }
}

double RawFanOut::sendToAll() {
    {
        std::lock_guard guard(tidsMutex_);
        if (!waitUntilAsleep(tids_)) {
            throw std::runtime_error("fan-out threads did not settle");
        }
    }
    ++rounds_;
    const auto start = Clock::now();
    for (unsigned i = 0; i < clients_.size(); ++i) {
        if (writers_ == Writers::OneThread) {
            write(clients_[i]);
        } else {
            Writer& writer = queues_[i];
            {
                std::lock_guard guard(writer.mutex);
                ++writer.pending;
            }
            writer.wake.notify_one();
        }
    }
    const auto target = rounds_ * static_cast<unsigned>(clients_.size());
    if (!test::eventually([&] { return arrived_ == target; }, 10s)) {
        throw std::runtime_error("a fan-out message got lost");
    }
    int64_t last = 0;
    for (const Client& client : clients_) {
        last = std::max(last, client.arrival.load());
    }
    return Seconds(Clock::duration(last) - start.time_since_epoch()).count() * 1e6;
}

void RawFanOut::read(Client& client) {
    {
        std::lock_guard guard(tidsMutex_);
        tids_.push_back(::gettid());
    }
    started_.fetch_add(1);
    std::vector<char> buffer(message_.size());
    for (;;) {
        size_t got = 0;
        while (got < buffer.size()) {
            const ssize_t done = ::read(client.clientFd, buffer.data() + got, buffer.size() - got);
            if (done <= 0) {
                return;
            }
            got += static_cast<size_t>(done);
        }
        client.arrival = Clock::now().time_since_epoch().count();
        arrived_.fetch_add(1);
        // Nobody reads the answers: a run leaves a few hundred bytes in each socket.
        if (!answer_.empty() &&
            ::write(client.clientFd, answer_.data(), answer_.size()) != static_cast<ssize_t>(answer_.size())) {
            return;
        }
    }
}

void RawFanOut::readAnswers(const Client& client) {
    {
        std::lock_guard guard(tidsMutex_);
        tids_.push_back(::gettid());
    }
    started_.fetch_add(1);
    std::vector<char> buffer(answer_.size());
    while (::read(client.serverFd, buffer.data(), buffer.size()) > 0) {
    }
}

void RawFanOut::write(const Client& client) const {
    if (::write(client.serverFd, message_.data(), message_.size()) != static_cast<ssize_t>(message_.size())) {
        throw std::runtime_error("fan-out write failed");
    }
}

void RawFanOut::serve(Client& client, Writer& writer) {
    {
        std::lock_guard guard(tidsMutex_);
        tids_.push_back(::gettid());
    }
    started_.fetch_add(1);
    std::unique_lock lock(writer.mutex);
    for (;;) {
        writer.wake.wait(lock, [&] { return writer.pending > 0 || stop_; });
        if (stop_) {
            return;
        }
        --writer.pending;
        lock.unlock();
        write(client);
        lock.lock();
    }
}

}  // namespace tavu::bench
