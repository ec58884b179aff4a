// Who else on the machine can reach the service's socket and its frames: nobody but its user.

#include "Reliability.h"
#include "tests/recorder/RecorderFixture.h"

namespace tavu::test {
namespace {

using Permissions = RecorderFixture;

TEST_F(Permissions, SocketLockAndSharedRegionsAreTheUsersAlone) {
    // A recorder's live region lasts until the next start, and the killed service leaves it.
    const ScopedMount sharedMemory = ScopedMount::tmpfs("/dev/shm", 16 * 1024 * 1024);
    writeDescription({recorder("REC-A")});
    startService(2, {{"TAVUSRV_ENABLE_EMULATOR", "1"}});
    EXPECT_EQ(modeOf(home.socketPath()), 0600u);
    EXPECT_EQ(modeOf(home.socketPath() + ".lock"), 0600u);
    client().setPortConfig(0, 0, {8, 8, 0, 0});
    client().setPortConfig(1, 0, {8, 8, 0, 0});
    for (const uint32_t device : {0u, 1u}) {
        EXPECT_EQ(modeOf("/dev/shm/" + client().startLive(device, 0)), 0600u) << device;
    }
}

}  // namespace
}  // namespace tavu::test
