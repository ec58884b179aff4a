#include "Recorder.h"

#include "records/MetaRecord.h"

#include <algorithm>

namespace tavu::test {

using testing::_;
using testing::Return;
using testing::ReturnPointee;

Recorder::Recorder(uint32_t portCount, uint32_t deviceType) {
    hardware->deviceType = deviceType;
    ON_CALL(*collection, device(Index)).WillByDefault(Return(device));
    ON_CALL(*collection, deviceName(Index)).WillByDefault(Return(String("listed name")));
    ON_CALL(*device, name()).WillByDefault(Return(String("TAVU-4")));
    ON_CALL(*device, portCount()).WillByDefault(Return(portCount));
    for (uint32_t index = 0; index < portCount; ++index) {
        ports.push_back(boost::make_shared<Nice<MockPort>>());
        ON_CALL(*ports.back(), name()).WillByDefault(Return(String(("Cam" + std::to_string(index)).c_str())));
        ON_CALL(*device, port(index)).WillByDefault(Return(ports.back()));
    }
    ON_CALL(*device, hardwareInfo(0)).WillByDefault(Return(hardware));
    ON_CALL(*device, storage(0)).WillByDefault(Return(storage));
    ON_CALL(*device, record()).WillByDefault(Return(record));
    ON_CALL(*device, triggerBank()).WillByDefault(Return(triggerBank));
    ON_CALL(*triggerBank, element(Quillon::TriggerBank::KindRecordControl, 0)).WillByDefault(Return(recordControl));
    ON_CALL(*triggerBank, element(Quillon::TriggerBank::KindExternalInput, 0)).WillByDefault(Return(externalInput));
    ON_CALL(*triggerBank, element(Quillon::TriggerBank::KindSoftwareSource, 0))
        .WillByDefault(Return(softwareSource));
    ON_CALL(*record, status(_)).WillByDefault(Return(boost::make_shared<Quillon::Record::Status>()));
    ON_CALL(*driveSet, capacityInfo(_))
        .WillByDefault(Return(boost::make_shared<Quillon::DriveSet::CapacityInfo>(
            Quillon::DriveSet::CapacityInfo{1000, 0})));
    ON_CALL(*storage, driveSets()).WillByDefault(Return(driveSets));
    ON_CALL(*storage, driveGroups()).WillByDefault(Return(driveGroups));
    ON_CALL(*driveGroups, size()).WillByDefault(Return(1));
    ON_CALL(*driveGroups, group(0)).WillByDefault(Return(driveGroup));
    ON_CALL(*driveGroup, size()).WillByDefault(Return(2));
    ON_CALL(*driveGroup, drive(_)).WillByDefault([](uint32_t index) { return boost::make_shared<FakeDrive>(index); });

    setDriveSets({SetId});
    ON_CALL(*driveSets, ids()).WillByDefault(ReturnPointee(&setIds));
    ON_CALL(*driveSets, open(_)).WillByDefault(Return(driveSet));
    ON_CALL(*driveSets, create(_)).WillByDefault([this](const auto&) { setIds.push_back(SetId + 1); });
    ON_CALL(*driveSets, remove(_)).WillByDefault([this](uint32_t id) {
        setIds.erase(std::find(setIds.begin(), setIds.end(), id));
    });
    store.serve(*driveSet, driveSet);
    ON_CALL(*driveSet, fileIds()).WillByDefault([this] {
        Quillon::Vector<uint32_t> ids;
        for (uint32_t id : fileIds) {
            ids.push_back(id);
        }
        return ids;
    });
}

std::string Recorder::connect() {
    testing::internal::CaptureStderr();
    connectError.reset();
    try {
        tavu->identify("listed name", Index);
        tavu->connect(collection, Index);
    } catch (const std::exception& e) {
        connectError = e.what();
    }
    return testing::internal::GetCapturedStderr();
}

void Recorder::restart() { tavu = std::make_unique<STavuDevice>(); }

void Recorder::setDriveSets(std::vector<uint32_t> ids) {
    setIds = Quillon::Vector<uint32_t>();
    for (uint32_t id : ids) {
        setIds.push_back(id);
    }
}

uint32_t Recorder::addRecordedFile(const std::vector<FileRecord>& records) {
    const uint32_t id = store.add("", 100);
    StoredFile& file = store.files.at(id);
    file.metadata.resize(DriveStore::MetadataBytes);
    std::vector<FileRecord> stamped = records;
    for (FileRecord& record : stamped) {
        record.fileId = id;
    }
    writeMetaList(stamped, file.metadata.data(), file.metadata.size());
    fileIds.push_back(id);
    return id;
}

}  // namespace tavu::test
