#include "service/StopSignals.h"

#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tavu {

StopSignals::StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &signals, &before);
    fd_ = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd_ < 0) {
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
}

StopSignals::~StopSignals() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

}  // namespace tavu
