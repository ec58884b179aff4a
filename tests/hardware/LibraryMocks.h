#pragma once
// GoogleMock objects under the recorder library's seam.
#include "library/Quillon.h"

#include <gmock/gmock.h>

#include <boost/make_shared.hpp>
#include <boost/optional/optional_io.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <cstdint>
#include <deque>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Quillon {

// Readable values in the messages of failed expectations.
inline void PrintTo(const ParameterValue& value, std::ostream* out) {
    *out << "{tag " << value.tag() << ", " << value.asUnsigned64() << "}";
}
inline void PrintTo(const String& value, std::ostream* out) { *out << '"' << value.c_str() << '"'; }

}  // namespace Quillon

namespace tavu::test {

using Quillon::ParameterValue;
using Quillon::String;

template <typename T>
using Ptr = boost::shared_ptr<T>;

// Matches a Quillon::String by its text.
inline auto text(const std::string& expected) { return testing::Property(&String::c_str, testing::StrEq(expected)); }

template <typename T>
Quillon::Vector<T> vectorOf(std::initializer_list<T> items) {
    Quillon::Vector<T> vector;
    for (const T& item : items) {
        vector.push_back(item);
    }
    return vector;
}

class MockLibrary : public Quillon::LibraryEntry {
public:
    MOCK_METHOD(Ptr<Quillon::Instance>, initialize, (const String&, bool, Quillon::Scope), (override));
    MOCK_METHOD(Ptr<Quillon::DataDescriptor>, createDataDescriptor, (uint32_t), (override));
    MOCK_METHOD(Ptr<Common::Buffer>, createBuffer, (const void*, uint64_t), (override));
    MOCK_METHOD(uint64_t, universalTime, (), (override));
};

class MockCollection : public Quillon::DeviceCollection {
public:
    MOCK_METHOD(uint32_t, count, (), (override));
    MOCK_METHOD(String, deviceName, (uint32_t), (override));
    MOCK_METHOD(uint32_t, deviceState, (uint32_t), (override));
    MOCK_METHOD(Ptr<Quillon::Device>, device, (uint32_t), (override));
    MOCK_METHOD(uint32_t, registerChangeCallback, (ChangeCallback), (override));
    MOCK_METHOD(void, unregisterChangeCallback, (uint32_t), (override));
};

class MockDevice : public Quillon::Device {
public:
    MOCK_METHOD(uint32_t, kind, (), (override));
    MOCK_METHOD(String, name, (), (override));
    MOCK_METHOD(String, altName, (), (override));
    MOCK_METHOD(uint32_t, connectionState, (), (override));
    MOCK_METHOD(Ptr<Quillon::HardwareInfo>, hardwareInfo, (uint32_t), (override));
    MOCK_METHOD(Ptr<Quillon::Storage>, storage, (uint32_t), (override));
    MOCK_METHOD(uint32_t, portCount, (), (override));
    MOCK_METHOD(Ptr<Quillon::Port>, port, (uint32_t), (override));
    MOCK_METHOD(Ptr<Quillon::TriggerBank>, triggerBank, (), (override));
    MOCK_METHOD(Ptr<Quillon::Record>, record, (), (override));
};

class MockPort : public Quillon::Port {
public:
    MOCK_METHOD(String, name, (), (override));
    MOCK_METHOD(bool, isCameraDetected, (), (override));
    MOCK_METHOD(void, setDataDescriptor, (const Ptr<Quillon::DataDescriptor>&), (override));
    MOCK_METHOD(void, startGrab, (const Quillon::GrabOptions&, uint32_t), (override));
    MOCK_METHOD(void, stopGrab, (), (override));
    MOCK_METHOD(bool, isGrabbing, (), (override));
    MOCK_METHOD(void, grab, (Ptr<Common::Frame>&, uint32_t, bool, bool, bool, bool, bool), (override));
    MOCK_METHOD(void, interruptGrab, (), (override));
    MOCK_METHOD(bool, hasSerial, (), (override));
    MOCK_METHOD(Ptr<Quillon::SerialPort>, serial, (), (override));
    MOCK_METHOD(double, measuredFrameRate, (), (override));
    MOCK_METHOD(uint32_t, linkMode, (), (override));
    MOCK_METHOD(void, writeMemory, (const Ptr<Common::Buffer>&, uint32_t, uint32_t), (override));
    MOCK_METHOD(void, readMemory, (const Ptr<Common::Buffer>&, uint32_t, uint32_t), (override));
    MOCK_METHOD(bool, hasBitDepthSetting, (), (override));
    MOCK_METHOD(void, setBitDepth, (uint32_t), (override));
    MOCK_METHOD(bool, hasPackingSetting, (), (override));
    MOCK_METHOD(void, setPacking, (uint32_t), (override));
};

class MockRecord : public Quillon::Record {
public:
    MOCK_METHOD(uint32_t, addPort,
                (const Ptr<Quillon::Port>&, uint64_t, uint32_t, const boost::optional<uint64_t>&, const String&),
                (override));
    MOCK_METHOD(void, start, (uint32_t), (override));
    MOCK_METHOD(uint32_t, stopPort, (const Ptr<Quillon::Port>&, uint32_t), (override));
    MOCK_METHOD(Ptr<Status>, status, (const Ptr<Quillon::Port>&), (override));
    MOCK_METHOD(void, attachDriveSet, (const Ptr<Quillon::DriveSet>&, const Ptr<Quillon::Port>&), (override));
    MOCK_METHOD(void, detachPort, (const Ptr<Quillon::Port>&), (override));
};

class MockStorage : public Quillon::Storage {
public:
    MOCK_METHOD(Ptr<Quillon::DriveSetCollection>, driveSets, (), (override));
    MOCK_METHOD(Ptr<Quillon::DriveGroupList>, driveGroups, (), (override));
};

class MockDriveSets : public Quillon::DriveSetCollection {
public:
    MOCK_METHOD(Ptr<Quillon::DriveSet>, open, (uint32_t), (override));
    MOCK_METHOD(Quillon::Vector<uint32_t>, ids, (), (override));
    MOCK_METHOD(void, create, (const Ptr<Quillon::DriveSet::CreateParameters>&), (override));
    MOCK_METHOD(void, remove, (uint32_t), (override));
};

class MockDriveSet : public Quillon::DriveSet {
public:
    MOCK_METHOD(Ptr<Info>, info, (), (override));
    MOCK_METHOD(Ptr<Quillon::DriveFile>, openFile, (uint32_t), (override));
    MOCK_METHOD(Quillon::Vector<uint32_t>, fileIds, (), (override));
    MOCK_METHOD(uint32_t, findFile, (const String&), (override));
    MOCK_METHOD(uint32_t, incompleteFileId, (), (override));
    MOCK_METHOD(Ptr<Quillon::DriveFileEntry>, fileEntry, (uint32_t), (override));
    MOCK_METHOD(uint32_t, createFile, (const String&, uint64_t, uint64_t), (override));
    MOCK_METHOD(void, removeFile, (uint32_t), (override));
    MOCK_METHOD(Ptr<Quillon::Recovery>, recover, (uint32_t), (override));
    MOCK_METHOD(Ptr<CapacityInfo>, capacityInfo, (bool), (override));
    MOCK_METHOD(Quillon::Vector<Ptr<Quillon::Drive>>, drives, (), (override));
};

class MockDriveFile : public Quillon::DriveFile {
public:
    MOCK_METHOD(Ptr<Quillon::DriveSet>, driveSet, (bool), (override));
    MOCK_METHOD(Ptr<Quillon::DriveFileInfo>, info, (), (override));
    MOCK_METHOD(Ptr<Common::Buffer>, readMetadata, (), (override));
    MOCK_METHOD(void, writeMetadata, (const Ptr<Common::Buffer>&), (override));
    MOCK_METHOD(uint32_t, metadataCapacity, (), (override));
    MOCK_METHOD(void, readBlock, (const Ptr<Common::Buffer>&, uint32_t), (override));
    MOCK_METHOD(void, writeBlock, (const Ptr<Common::Buffer>&), (override));
    MOCK_METHOD(uint32_t, streamCount, (), (override));
    MOCK_METHOD(Ptr<Quillon::RecordedStream>, streamByIndex, (uint32_t), (override));
    MOCK_METHOD(uint32_t, streamIdByIndex, (uint32_t), (override));
    MOCK_METHOD(Ptr<Quillon::RecordedStream>, streamById, (uint32_t), (override));
};

class MockDriveGroups : public Quillon::DriveGroupList {
public:
    MOCK_METHOD(uint32_t, size, (), (override));
    MOCK_METHOD(Ptr<Quillon::DriveGroup>, group, (uint32_t), (override));
};

class MockDriveGroup : public Quillon::DriveGroup {
public:
    MOCK_METHOD(uint32_t, size, (), (override));
    MOCK_METHOD(Ptr<Quillon::Drive>, drive, (uint32_t), (override));
};

class FakeDrive : public Quillon::Drive {
public:
    explicit FakeDrive(uint32_t index) : index_(index) {}
    uint32_t physicalIndex() override { return index_; }

private:
    uint32_t index_;
};

class MockTriggerBank : public Quillon::TriggerBank {
public:
    MOCK_METHOD(Ptr<Quillon::TriggerElement>, element, (uint32_t, uint32_t), (override));
};

// Keeps the parameters set on it, in order, as (name, value).
class RecordingTriggerElement : public Quillon::TriggerElement {
public:
    MOCK_METHOD(void, connectInput, (const Ptr<Quillon::TriggerElement>&, uint32_t, bool), (override));
    Ptr<Quillon::Parameter> parameter(const String& name) override;

    std::vector<std::pair<std::string, ParameterValue>> settings;
};

class MockSerialPort : public Quillon::SerialPort {
public:
    MOCK_METHOD(void, send, (const Ptr<Common::Buffer>&), (override));
    MOCK_METHOD(void, clear, (uint32_t), (override));
    MOCK_METHOD(bool, receive, (const Ptr<Common::Buffer>&, uint32_t, const String&), (override));
    MOCK_METHOD(void, setEnabled, (bool), (override));
    MOCK_METHOD(bool, isEnabled, (), (override));
    MOCK_METHOD(void, setBaudRate, (uint32_t), (override));
    MOCK_METHOD(uint32_t, baudRate, (), (override));
    MOCK_METHOD(void, setStopBits, (uint8_t), (override));
    MOCK_METHOD(void, setParity, (uint8_t), (override));
    MOCK_METHOD(void, setWatermark, (uint32_t), (override));
    MOCK_METHOD(uint32_t, watermarkLimit, (), (override));
};

class MockRecordedStream : public Quillon::RecordedStream {
public:
    MOCK_METHOD(String, portName, (), (override));
    MOCK_METHOD(Ptr<Quillon::FrameSequence>, frames, (uint64_t, uint64_t, bool, bool), (override));
};

class MockFrameSequence : public Quillon::FrameSequence {
public:
    MOCK_METHOD(Ptr<Common::DataType>, dataType, (), (override));
    MOCK_METHOD(uint64_t, frameCount, (), (override));
    MOCK_METHOD(void, readFrames, (Ptr<Common::Frame>&, uint64_t&, uint32_t), (override));
};

class MockRecovery : public Quillon::Recovery {
public:
    MOCK_METHOD(void, cancel, (), (override));
    MOCK_METHOD(bool, isFinished, (), (override));
    MOCK_METHOD(bool, isCancelled, (), (override));
    MOCK_METHOD(bool, isSuccessful, (), (override));
    MOCK_METHOD(String, errorText, (), (override));
};

// A data descriptor that keeps each field id in the order it was set, with the value set.
class RecordingDescriptor : public Quillon::DataDescriptor {
public:
    ParameterValue& field(uint32_t id) override {
        fields.emplace_back(id, ParameterValue());
        return fields.back().second;
    }

    std::deque<std::pair<uint32_t, ParameterValue>> fields;
};

// The library's plain functions as a working library has them, with the calls visible to tests.
class TestLibrary : public testing::NiceMock<MockLibrary> {
public:
    static constexpr uint64_t Now = 0x01D9000000000000;

    TestLibrary();

    std::vector<Ptr<RecordingDescriptor>> descriptors;
};

}  // namespace tavu::test
