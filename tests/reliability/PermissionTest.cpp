// Who else on the machine can reach the service's socket and its frames: nobody but its user.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Reliability.h"
#include "tests/recorder/RecorderFixture.h"

extern char** environ;

namespace tavu::test {
namespace {

namespace fs = std::filesystem;

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

// The service without XDG_RUNTIME_DIR, so that it falls back to a folder in /tmp; it ends
// within the bound or is killed. Returns whether its socket appeared.
bool serveFromTmp(const fs::path& socket) {
    std::error_code ignored;
    fs::remove(socket, ignored);  // left by the copy before
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (text.rfind("XDG_RUNTIME_DIR=", 0) != 0 && text.rfind("TAVUSRV_", 0) != 0 && text.rfind("QUILLON_", 0) != 0) {
            environment.push_back(text);
        }
    }
    std::vector<char*> envPointers;
    for (std::string& entry : environment) envPointers.push_back(entry.data());
    envPointers.push_back(nullptr);
    std::string program = TAVUSVC_PATH, option = "noautoclose";
    char* argv[] = {program.data(), option.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, TAVUSVC_PATH, &actions, nullptr, argv, envPointers.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    const bool listening = eventually([&] {
        std::error_code ignored;
        return fs::is_socket(socket, ignored) || waitpid(pid, &status, WNOHANG) == pid;
    }, 5s) && fs::is_socket(socket);
    ::kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return listening;
}

TEST(SocketFolder, FallbackFolderInTmpIsUsedOnlyWhenItIsTheUsersAlone) {
    // A /tmp of the test's own, so that the fallback path can be played with safely.
    const ScopedMount tmp = ScopedMount::tmpfs("/tmp", 1024 * 1024);
    if (!tmp.mounted()) {
        GTEST_SKIP() << "mounting is not possible here";
    }
    const fs::path folder = "/tmp/tavusrv-" + std::to_string(getuid());
    const fs::path socket = folder / "tavusrv";

    ASSERT_TRUE(serveFromTmp(socket));
    EXPECT_EQ(modeOf(folder), 0700u);
    EXPECT_EQ(modeOf(socket), 0600u);

    // A folder of ours that others may enter is closed first.
    fs::permissions(folder, fs::perms::all);
    ASSERT_TRUE(serveFromTmp(socket));
    EXPECT_EQ(modeOf(folder), 0700u);

    // Someone else's folder, or a link to a folder, is not used at all.
    fs::remove_all(folder);
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::all);
    ASSERT_EQ(::chown(folder.c_str(), 65534, 65534), 0);
    EXPECT_FALSE(serveFromTmp(socket));
    fs::remove_all(folder);
    fs::create_directory("/tmp/elsewhere");
    fs::permissions("/tmp/elsewhere", fs::perms::owner_all, fs::perm_options::replace);
    fs::create_directory_symlink("/tmp/elsewhere", folder);
    EXPECT_FALSE(serveFromTmp(socket));
    EXPECT_FALSE(fs::exists("/tmp/elsewhere/tavusrv"));
}

}  // namespace
}  // namespace tavu::test
