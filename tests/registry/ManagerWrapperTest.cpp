#include "RegistryHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavu::test {
namespace {

using testing::_;
using testing::InvokeWithoutArgs;
using testing::ThrowsMessage;

constexpr uint32_t Device = 1;

// An action that succeeds with a default result, or fails as the library would.
template <typename Result = void>
auto outcome(bool fail) {
    return InvokeWithoutArgs([fail]() -> Result {
        if (fail) {
            throw Common::GeneralException("refused");
        }
        return Result();
    });
}

struct PostingCase {
    std::string wrapper;
    // Sets up the device call with the outcome, and makes the wrapper call.
    std::function<void(MockHardwareDevice&, bool fail)> expect;
    std::function<void(DeviceManager&)> call;
    std::optional<DeviceEvent> posted;
};

std::vector<PostingCase> postingCases() {
    const uint8_t info[] = {7, 7};
    return {
        {"startRecording",
         [](MockHardwareDevice& d, bool fail) {
             EXPECT_CALL(d, startRecording(0b101, 1, 2, 100, true, 50)).WillOnce(outcome(fail));
         },
         [](DeviceManager& m) { m.startRecording(Device, 0b101, 1, 2, 100, true, 50); },
         DeviceEvent{DeviceEvent::RecordingStarted, Device, 0b101}},
        {"stopRecording", [](MockHardwareDevice& d, bool fail) { EXPECT_CALL(d, stopRecording()).WillOnce(outcome(fail)); },
         [](DeviceManager& m) { m.stopRecording(Device); }, DeviceEvent{DeviceEvent::RecordingStopped, Device, 0}},
        {"removeFile", [](MockHardwareDevice& d, bool fail) { EXPECT_CALL(d, removeFile(3, 4)).WillOnce(outcome(fail)); },
         [](DeviceManager& m) { m.removeFile(Device, 3, 4); }, DeviceEvent{DeviceEvent::FilesChanged, Device, 0}},
        {"renameFile notify",
         [](MockHardwareDevice& d, bool fail) { EXPECT_CALL(d, renameFile(3, 4, "new")).WillOnce(outcome(fail)); },
         [](DeviceManager& m) { m.renameFile(Device, 3, 4, "new", true); },
         DeviceEvent{DeviceEvent::FilesChanged, Device, 0}},
        {"renameFile quiet",
         [](MockHardwareDevice& d, bool fail) { EXPECT_CALL(d, renameFile(3, 4, "new")).WillOnce(outcome(fail)); },
         [](DeviceManager& m) { m.renameFile(Device, 3, 4, "new", false); }, std::nullopt},
        {"setFileInfo notify",
         [](MockHardwareDevice& d, bool fail) {
             EXPECT_CALL(d, setFileInfo(3, 4, "n", 640, 480, 10, 1, 2, 3, 4)).WillOnce(outcome<std::string>(fail));
         },
         [](DeviceManager& m) { m.setFileInfo(Device, 3, 4, "n", 640, 480, 10, 1, 2, 3, 4, true); },
         DeviceEvent{DeviceEvent::FilesChanged, Device, 0}},
        {"setFileInfo quiet",
         [](MockHardwareDevice& d, bool fail) {
             EXPECT_CALL(d, setFileInfo(3, 4, "n", 640, 480, 10, 1, 2, 3, 4)).WillOnce(outcome<std::string>(fail));
         },
         [](DeviceManager& m) { m.setFileInfo(Device, 3, 4, "n", 640, 480, 10, 1, 2, 3, 4, false); }, std::nullopt},
        {"pairPort",
         [info](MockHardwareDevice& d, bool fail) {
             EXPECT_CALL(d, pairPort(3, "cam", _, 2, 8)).WillOnce(outcome(fail));
         },
         [info](DeviceManager& m) { m.pairPort(Device, 3, "cam", info, 2, 8); },
         DeviceEvent{DeviceEvent::PairingChanged, Device, 3}},
        {"repairPort",
         [](MockHardwareDevice& d, bool fail) { EXPECT_CALL(d, repairPort(3, "cam", _, 2, 8)).WillOnce(outcome(fail)); },
         [info](DeviceManager& m) { m.repairPort(Device, 3, "cam", info, 2, 8); }, std::nullopt},
        {"unpairPort", [](MockHardwareDevice& d, bool fail) { EXPECT_CALL(d, unpairPort(2)).WillOnce(outcome(fail)); },
         [](DeviceManager& m) { m.unpairPort(Device, 2); }, DeviceEvent{DeviceEvent::PairingChanged, Device, 2}},
    };
}

class ManagerWrappers : public testing::Test {
protected:
    void SetUp() override {
        harness.library.collection().addRecorder({"alpha"});
        harness.library.collection().addRecorder({"beta"});
        harness.start();
        ASSERT_EQ(harness.manager.deviceCount(), 2u);
        queues = {harness.manager.createQueue(), harness.manager.createQueue()};
    }

    MockHardwareDevice& device() { return harness.device(Device); }

    // Every client queue holds exactly this, or nothing when there is no event.
    void expectPosted(const std::optional<DeviceEvent>& posted) {
        for (uint32_t queue : queues) {
            DeviceEvent event;
            if (posted) {
                ASSERT_TRUE(harness.manager.tryReadEvent(queue, event));
                EXPECT_EQ(event, *posted);
            }
            EXPECT_FALSE(harness.manager.tryReadEvent(queue, event));
        }
    }

    ManagerHarness harness;
    std::vector<uint32_t> queues;
};

TEST_F(ManagerWrappers, PostTheirEventOnlyAfterSuccess) {
    for (const PostingCase& c : postingCases()) {
        SCOPED_TRACE(c.wrapper);
        c.expect(device(), false);
        c.call(harness.manager);
        expectPosted(c.posted);

        c.expect(device(), true);
        EXPECT_THROW(c.call(harness.manager), Common::GeneralException);
        expectPosted(std::nullopt);
        testing::Mock::VerifyAndClearExpectations(&device());
    }
}

TEST_F(ManagerWrappers, UnknownIndexIsRefusedButNotifyFilesChangedPostsAnyway) {
    EXPECT_THAT([&] { harness.manager.removeFile(2, 3, 4); },
                ThrowsMessage<std::runtime_error>("Invalid device index."));
    expectPosted(std::nullopt);

    harness.manager.notifyFilesChanged(99);
    expectPosted(DeviceEvent{DeviceEvent::FilesChanged, 99, 0});
}

}  // namespace
}  // namespace tavu::test
