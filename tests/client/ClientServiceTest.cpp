// The client library against the real service: errors, starting the service on demand, and
// every family of commands on the emulated recorder.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "client/Client.h"
#include "client/ClientErrors.h"
#include "client/EventReader.h"
#include "client/LiveView.h"
#include "client/Playback.h"
#include "transport/LocalSocket.h"
#include "tests/support/ServiceProcess.h"

namespace tavu::test {
namespace {

using client::Client;

// Sets a variable of this process for the life of the object.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::string& value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_ = old;
        }
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedVariable() {
        if (old_) {
            ::setenv(name_, old_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

// True when no service holds the lock beside the socket, that is, none runs for this folder.
bool noServiceHoldsTheLock(const TestHome& home) {
    const std::string lockPath = home.socketPath() + ".lock";
    const int fd = ::open(lockPath.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return true;
    }
    const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    ::close(fd);
    return free;
}

class ClientServiceTest : public ::testing::Test {
protected:
    void start(ServiceProcess::Environment environment = {}) {
        service = std::make_unique<ServiceProcess>(home, std::vector<std::string>{"noautoclose"}, std::move(environment));
        ASSERT_TRUE(service->waitForSocket());
        // The socket file appears a moment before the service listens on it. A probe is
        // harmless here: with noautoclose its leaving doesn't end the service.
        ASSERT_TRUE(eventually([&] { return LocalSocket().connectPath(home.socketPath()); }));
    }
    client::ConnectOptions options() const {
        client::ConnectOptions connect;
        connect.socketPath = home.socketPath();
        connect.startService = false;
        return connect;
    }

    TestHome home;
    std::unique_ptr<ServiceProcess> service;
};

TEST_F(ClientServiceTest, ServiceErrorTextComesThroughAndTheConnectionStaysUsable) {
    start();
    Client connection(options());
    EXPECT_EQ(connection.deviceCount(), 0u);
    try {
        connection.deviceName(5);
        FAIL() << "no error";
    } catch (const client::ServiceError& error) {
        EXPECT_STREQ(error.what(), "Invalid device index.");
        EXPECT_EQ(error.command(), Command::DeviceName);
    }
    EXPECT_EQ(connection.deviceCount(), 0u);
}

TEST_F(ClientServiceTest, StartsTheServiceWhenNoneRunsAndItEndsWithTheLastClient) {
    const ScopedVariable runtime("XDG_RUNTIME_DIR", home.runtimeDir().string());
    const ScopedVariable data("XDG_DATA_HOME", home.dataDir().string());
    client::ConnectOptions connect;
    connect.serviceFolders = {TAVUSVC_BIN_DIR};
    {
        Client first(connect);
        EXPECT_EQ(first.socketPath(), home.socketPath());
        Client second(connect);  // finds the one just started
        EXPECT_EQ(second.deviceCount(), 0u);
        EXPECT_FALSE(noServiceHoldsTheLock(home));
    }
    EXPECT_TRUE(eventually([&] { return noServiceHoldsTheLock(home); }));
}

TEST_F(ClientServiceTest, NoServiceErrorsSayWhereTheClientLooked) {
    client::ConnectOptions connect;
    connect.socketPath = home.socketPath();
    connect.startService = false;
    try {
        Client connection(connect);
        FAIL() << "connected";
    } catch (const client::NoServiceError& error) {
        EXPECT_NE(std::string(error.what()).find(home.socketPath()), std::string::npos) << error.what();
    }
    connect.startService = true;
    connect.serviceFolders = {home.dataDir()};
    try {
        Client connection(connect);
        FAIL() << "connected";
    } catch (const client::NoServiceError& error) {
        EXPECT_NE(std::string(error.what()).find(home.dataDir().string()), std::string::npos) << error.what();
    }
}

TEST_F(ClientServiceTest, ServiceThatDiesIsAConnectionError) {
    start();
    Client connection(options());
    service->kill(SIGKILL);
    ASSERT_TRUE(service->waitForExit());
    EXPECT_THROW(connection.deviceCount(), client::ConnectionError);
    EXPECT_THROW(connection.deviceCount(), client::ConnectionError);
}

class EmulatorClientTest : public ClientServiceTest {
protected:
    void SetUp() override {
        start({{"TAVUSRV_ENABLE_EMULATOR", "1"}});
        emu.emplace(options());
    }
    // Pairs and configures the emulator's port for frames of width x height.
    void preparePort(uint16_t width, uint16_t height) {
        emu->pairPort(0, 0, "cam", {}, 1);
        emu->setPortConfig(0, 0, {width, height, 0, 0});
    }
    FileRecord recordFrames(uint64_t frames) {
        emu->startRecording(0, {1, 0, StopCondition::FrameCount, frames, false, 0});
        EXPECT_TRUE(eventually([&] { return emu->isRecordingDone(0); }));
        emu->stopRecording(0);
        const RecordingFile file = emu->recordingFile(0, 0);
        for (const FileRecord& record : emu->listFiles(0)) {
            if (record.fileId == file.fileId && record.streamId == file.streamId) {
                return record;
            }
        }
        ADD_FAILURE() << "the recording isn't listed";
        return {};
    }

    std::optional<Client> emu;
};

TEST_F(EmulatorClientTest, DeviceEnquiries) {
    EXPECT_EQ(emu->deviceCount(), 1u);
    EXPECT_EQ(emu->deviceName(0), "Emulator");
    EXPECT_TRUE(emu->deviceConnected(0));
    EXPECT_FALSE(emu->isCxp(0));
    EXPECT_EQ(emu->portCount(0), 1);
    EXPECT_EQ(emu->portName(0, 0), "Emu");
    EXPECT_EQ(emu->percentUsed(0), 5);
    EXPECT_EQ(emu->hardwareType(0), 1);
}

TEST_F(EmulatorClientTest, RecordingThenPlaybackThroughTheSharedRegion) {
    preparePort(4, 4);
    const FileRecord record = recordFrames(3);
    EXPECT_EQ(record.numFrames, 3u);
    EXPECT_EQ(emu->recordingProgress(0, 0).numFrames, 3u);

    client::Playback playback(*emu, 0, record.fileId, record.streamId);
    EXPECT_EQ(playback.info().width, 4);
    EXPECT_EQ(playback.info().imageSize, 32u);
    EXPECT_EQ(playback.info().numFrames, 3u);
    // The ramp goes on from frame to frame; the first four pixels of a 4-wide frame are header.
    EXPECT_EQ(client::pixelAt(playback.read(0), 4), 4);
    EXPECT_EQ(client::pixelAt(playback.read(1), 4), 20);
    EXPECT_THROW(playback.read(3), client::ServiceError);
}

TEST_F(EmulatorClientTest, LiveViewFramesContinueTheRamp) {
    preparePort(4, 4);
    client::LiveView live(*emu, 0, 0);
    EXPECT_EQ(client::pixelAt(live.grab().pixels, 0), 0);
    const client::LiveView::Frame second = live.grab();
    EXPECT_EQ(second.geometry.imageSize, 32u);
    EXPECT_EQ(client::pixelAt(second.pixels, 0), 16);
}

TEST_F(EmulatorClientTest, RecoveryAndPassthroughReportTheDeviceTexts) {
    EXPECT_FALSE(emu->hasIncompleteFile(0));
    emu->discardIncompleteFile(0);
    emu->cancelRecovery(0);
    EXPECT_EQ(emu->recoveryError(0), "");
    EXPECT_THROW(emu->startRecovery(0), client::ServiceError);
    try {
        emu->serialOpen(0, 0, 9600, 0, 1);
        FAIL() << "no error";
    } catch (const client::ServiceError& error) {
        EXPECT_STREQ(error.what(), "not supported");
    }
}

}  // namespace
}  // namespace tavu::test
