#pragma once
// A recorder under the library seam, all of mocks with working defaults, and the STavuDevice that
// drives it.
#include "DriveStore.h"
#include "LibraryMocks.h"
#include "hardware/STavuDevice.h"
#include "library/Loader.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tavu::test {

template <typename T>
using Nice = testing::NiceMock<T>;

// The text of what the operation threw, or "" when it returned.
inline std::string thrownText(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "";
}

class Recorder {
public:
    static constexpr uint32_t Index = 3;
    static constexpr uint32_t SetId = 7;

    explicit Recorder(uint32_t portCount = 2, uint32_t deviceType = 1);

    // Connects the device as the list update does, and returns what it wrote on standard error.
    // The text of a failed connect is kept in connectError.
    std::string connect();
    // A second device over the same library objects, as after a restart of the service.
    void restart();

    // Sets the id list of the drive sets.
    void setDriveSets(std::vector<uint32_t> ids);
    // Writes `records`, under the new file's id, into the metadata of a new file of the set and
    // lists it.
    uint32_t addRecordedFile(const std::vector<FileRecord>& records);

    TestLibrary library;
    ScopedLibraryOverride libraryOverride{&library};
    Ptr<Nice<MockCollection>> collection = boost::make_shared<Nice<MockCollection>>();
    Ptr<Nice<MockDevice>> device = boost::make_shared<Nice<MockDevice>>();
    std::vector<Ptr<Nice<MockPort>>> ports;
    Ptr<Quillon::HardwareInfo> hardware = boost::make_shared<Quillon::HardwareInfo>();
    Ptr<Nice<MockRecord>> record = boost::make_shared<Nice<MockRecord>>();
    Ptr<Nice<MockStorage>> storage = boost::make_shared<Nice<MockStorage>>();
    Ptr<Nice<MockDriveSets>> driveSets = boost::make_shared<Nice<MockDriveSets>>();
    Ptr<Nice<MockDriveSet>> driveSet = boost::make_shared<Nice<MockDriveSet>>();
    Ptr<Nice<MockDriveGroups>> driveGroups = boost::make_shared<Nice<MockDriveGroups>>();
    Ptr<Nice<MockDriveGroup>> driveGroup = boost::make_shared<Nice<MockDriveGroup>>();
    Ptr<Nice<MockTriggerBank>> triggerBank = boost::make_shared<Nice<MockTriggerBank>>();
    Ptr<Nice<RecordingTriggerElement>> recordControl = boost::make_shared<Nice<RecordingTriggerElement>>();
    Ptr<Nice<RecordingTriggerElement>> externalInput = boost::make_shared<Nice<RecordingTriggerElement>>();
    Ptr<Nice<RecordingTriggerElement>> softwareSource = boost::make_shared<Nice<RecordingTriggerElement>>();
    DriveStore store;
    Quillon::Vector<uint32_t> setIds;
    std::vector<uint32_t> fileIds;

    std::unique_ptr<STavuDevice> tavu = std::make_unique<STavuDevice>();
    std::optional<std::string> connectError;
};

}  // namespace tavu::test
