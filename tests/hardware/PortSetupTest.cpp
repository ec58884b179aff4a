#include "Recorder.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

using testing::_;
using testing::AllOf;
using testing::Field;
using testing::InSequence;
using testing::Pointee;
using testing::Property;
using testing::Return;
using testing::Throw;

constexpr uint32_t CoaXPressType = 16;

std::vector<uint8_t> bytesOf(const Ptr<Common::Buffer>& buffer) {
    return std::vector<uint8_t>(buffer->data(), buffer->data() + buffer->size());
}

TEST(ConfigurePort, DescribesThePortAndAttachesItToTheFirstDriveSet) {
    Recorder recorder;
    recorder.setDriveSets({7, 8});
    recorder.connect();
    Ptr<Quillon::Port> port = recorder.ports[1];
    {
        InSequence order;
        EXPECT_CALL(*recorder.device, hardwareInfo(0));
        EXPECT_CALL(*recorder.device, port(1));
        EXPECT_CALL(*recorder.ports[1], isGrabbing());
        EXPECT_CALL(recorder.library, createDataDescriptor(0));
        EXPECT_CALL(*recorder.ports[1], setDataDescriptor(_));
        EXPECT_CALL(*recorder.device, record());
        EXPECT_CALL(*recorder.device, storage(0));
        EXPECT_CALL(*recorder.storage, driveSets());
        EXPECT_CALL(*recorder.driveSets, ids());
        EXPECT_CALL(*recorder.driveSets, open(7));
        EXPECT_CALL(*recorder.record, detachPort(port));
        EXPECT_CALL(*recorder.record, attachDriveSet(Ptr<Quillon::DriveSet>(recorder.driveSet), port));
        // Then the configuration record is written to the same set.
        EXPECT_CALL(*recorder.device, storage(0));
        EXPECT_CALL(*recorder.storage, driveSets());
        EXPECT_CALL(*recorder.driveSets, ids());
        EXPECT_CALL(*recorder.driveSets, open(7));
    }
    // Not a CoaXPress recorder: no wake-up.
    EXPECT_CALL(*recorder.ports[1], readMemory(_, _, _)).Times(0);
    recorder.tavu->setPortConfig(1, {1000, 500, 3, 10});
    EXPECT_EQ(recorder.library.descriptors.back()->fields[1].second, ParameterValue::unsigned32(333));
}

TEST(ConfigurePort, MakesTheDriveSetThatTheRecorderLacks) {
    Recorder recorder;
    recorder.setDriveSets({});
    recorder.connect();
    InSequence order;
    EXPECT_CALL(*recorder.driveSets, create(_));
    // For the port, and then for its configuration record.
    EXPECT_CALL(*recorder.driveSets, open(Recorder::SetId + 1)).Times(2);
    recorder.tavu->setPortConfig(0, {64, 48, 0, 0});
}

class WakeUp : public testing::Test {
protected:
    WakeUp() {
        recorder.connect();
        ON_CALL(port(), isCameraDetected()).WillByDefault(Return(true));
        ON_CALL(port(), measuredFrameRate()).WillByDefault(Return(0.0));
    }

    Nice<MockPort>& port() { return *recorder.ports[0]; }

    Recorder recorder{2, CoaXPressType};
};

TEST_F(WakeUp, ASilentCoaXPressCameraGetsItsStartRegisterSet) {
    InSequence order;
    EXPECT_CALL(port(), readMemory(Pointee(Property(&Common::Buffer::size, 4u)), 0x300C, 0))
        .WillOnce([](const Ptr<Common::Buffer>& buffer, uint32_t, uint32_t) {
            const uint8_t address[] = {0x00, 0x01, 0x23, 0x45};
            std::copy(std::begin(address), std::end(address), buffer->data());
        });
    EXPECT_CALL(port(), writeMemory(_, 0x12345, 0)).WillOnce([](const Ptr<Common::Buffer>& buffer, uint32_t, uint32_t) {
        EXPECT_EQ(bytesOf(buffer), (std::vector<uint8_t>{0, 0, 0, 1}));
    });
    recorder.tavu->setPortConfig(0, {64, 48, 0, 0});
}

TEST_F(WakeUp, AFailedReadIsSwallowedAndACameraThatSendsIsLeftAlone) {
    EXPECT_CALL(port(), readMemory(_, 0x300C, 0)).WillOnce(Throw(Common::GeneralException("no answer")));
    EXPECT_CALL(port(), writeMemory(_, _, _)).Times(0);
    recorder.tavu->setPortConfig(0, {64, 48, 0, 0});
    ON_CALL(port(), measuredFrameRate()).WillByDefault(Return(30.0));
    recorder.tavu->setPortConfig(0, {64, 50, 0, 0});
}

TEST(Setup, RemovesEveryDriveSetAndMakesTavuOverAllDrives) {
    Recorder recorder;
    recorder.setDriveSets({7, 8});
    recorder.connect();
    {
        InSequence order;
        EXPECT_CALL(*recorder.record, detachPort(Ptr<Quillon::Port>(recorder.ports[0])));
        EXPECT_CALL(*recorder.record, detachPort(Ptr<Quillon::Port>(recorder.ports[1])));
        EXPECT_CALL(*recorder.driveSets, remove(7));
        EXPECT_CALL(*recorder.driveSets, remove(8));
        EXPECT_CALL(*recorder.driveSets, create(Pointee(AllOf(
                                              Field(&Quillon::DriveSet::CreateParameters::name, text("TAVU")),
                                              Field(&Quillon::DriveSet::CreateParameters::firstSetting, 100u),
                                              Field(&Quillon::DriveSet::CreateParameters::secondSetting, 0u)))))
            .WillOnce([](const Ptr<Quillon::DriveSet::CreateParameters>& parameters) {
                std::vector<uint32_t> drives;
                for (const auto& [index, drive] : parameters->source.drives()) {
                    drives.push_back(drive->physicalIndex());
                }
                EXPECT_EQ(drives, (std::vector<uint32_t>{0, 1}));
            });
    }
    recorder.tavu->setup();
}

TEST(Setup, RefusesVirtualDevices) {
    Recorder recorder;
    recorder.connect();
    ON_CALL(*recorder.device, kind()).WillByDefault(Return(Quillon::Device::KindVirtual));
    EXPECT_CALL(*recorder.driveSets, remove(_)).Times(0);
    EXPECT_EQ(thrownText([&] { recorder.tavu->setup(); }), "Cannot call setup on virtual devices.");
}

}  // namespace
}  // namespace tavu::test
