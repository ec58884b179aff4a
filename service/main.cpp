#include <malloc.h>
#include <strings.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <memory>

#include "service/ConnectionServer.h"
#include "service/StopSignals.h"

int main(int argc, char** argv) {
    // Log lines go out whole even when standard output is a pipe or a file.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::signal(SIGPIPE, SIG_IGN);
    // Each client holds a descriptor; the soft limit is often far below what the system allows.
    if (rlimit files{}; ::getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
    // Connection threads allocate little, and each allocator arena keeps some memory after the
    // threads that used it are gone; the default, eight arenas a core, would keep it for
    // hundreds of them after a crowd of clients on a large machine.
    ::mallopt(M_ARENA_MAX, 2);
    const tavu::StopSignals stopSignals;
    try {
        auto server = std::make_unique<tavu::ConnectionServer>();
        server->stopSignals = stopSignals.descriptor();
        for (int i = 1; i < argc; ++i) {
            if (strcasecmp(argv[i], "noautoclose") == 0) {
                server->autoClose = false;
            }
        }
        server->run();
    } catch (...) {
        // The exit status is 0 whatever made the service stop.
    }
    return 0;
}
