#include "Recorder.h"
#include "hardware/RecorderDiscovery.h"
#include "registry/DeviceManager.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace tavu::test {
namespace {

using testing::_;
using testing::HasSubstr;
using testing::Return;

class MockInstance : public Quillon::Instance {
public:
    MOCK_METHOD(Ptr<Quillon::DeviceCollection>, deviceCollection, (Quillon::HostInterfaceType, bool), (override));
    MOCK_METHOD(Quillon::VersionInfo, version, (), (override));
};

TEST(Manager, MakesARecorderDeviceForEachRecorderFound) {
    for (const char* variable : {"TAVUSRV_ENABLE_EMULATOR", "TAVUSRV_DEVICE_NAME_BLACKLIST",
                                 "TAVUSRV_DEVICE_NAME_WHITELIST", "TAVUSRV_DEVICE_ALT_NAME_BLACKLIST",
                                 "TAVUSRV_DEVICE_ALT_NAME_WHITELIST"}) {
        unsetenv(variable);
    }
    Recorder recorder;
    auto instance = boost::make_shared<Nice<MockInstance>>();
    ON_CALL(*instance, version()).WillByDefault(Return(Quillon::VersionInfo{2, 1, 0, 38}));
    ON_CALL(*instance, deviceCollection(_, false)).WillByDefault(Return(recorder.collection));
    ON_CALL(recorder.library, initialize(_, _, _)).WillByDefault(Return(instance));
    ON_CALL(*recorder.collection, count()).WillByDefault(Return(1));
    ON_CALL(*recorder.collection, device(0)).WillByDefault(Return(recorder.device));
    ON_CALL(*recorder.collection, deviceName(0)).WillByDefault(Return(String("TAVU-4")));

    DeviceManager manager;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    manager.start({std::make_unique<RecorderDiscovery>(), nullptr});
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("Found device: TAVU-4\n"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "no config file.\n");
    ASSERT_EQ(manager.deviceCount(), 1u);
    EXPECT_NE(dynamic_cast<STavuDevice*>(&manager.deviceAt(0)), nullptr);
    EXPECT_EQ(manager.deviceAt(0).portName(1), "Cam1");
    manager.stop();
}

}  // namespace
}  // namespace tavu::test
