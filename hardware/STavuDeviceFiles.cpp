// The catalogue of recordings on the drive set, and playback.
#include "hardware/STavuDevice.h"

#include "hardware/DeviceTexts.h"
#include "hardware/DriveSetFiles.h"
#include "hardware/DriveSets.h"
#include "hardware/library/Buffer.h"
#include "records/MetaRecord.h"

#include <algorithm>
#include <stdexcept>

namespace tavu {

void STavuDevice::scanCatalogue(Quillon::Device& device) {
    boost::shared_ptr<Quillon::DriveSet> driveSet = firstDriveSet(device, kNoDriveSet);
    Quillon::Vector<uint32_t> fileIds = driveSet->fileIds();
    // The file that awaits recovery has no metadata yet.
    auto incomplete = std::find(fileIds.begin(), fileIds.end(), driveSet->incompleteFileId());
    if (incomplete != fileIds.end()) {
        fileIds.erase(incomplete);
    }
    // A failure leaves what was appended so far; the connection goes on with it.
    catalogue_.clear();
    for (uint32_t fileId : fileIds) {
        boost::shared_ptr<Common::Buffer> metadata = driveSet->openFile(fileId)->readMetadata();
        std::vector<FileRecord> records;
        readMetaList(records, metadata->data(), metadata->size());
        catalogue_.insert(catalogue_.end(), records.begin(), records.end());
    }
}

std::vector<FileRecord> STavuDevice::listFiles() {
    std::lock_guard guard(lock_);
    return catalogue_;
}

void STavuDevice::fileIdentity(uint32_t fileId, uint32_t streamId, std::vector<uint8_t>& data) {
    std::lock_guard guard(lock_);
    auto record = std::ranges::find_if(
        catalogue_, [&](const FileRecord& file) { return file.fileId == fileId && file.streamId == streamId; });
    if (record != catalogue_.end() && !record->info.empty()) {
        data = record->info;
        return;
    }
    // A block too large for the file's metadata went into an info file of its own.
    data = readInfoFile(*firstDriveSet(*libraryDevice(), kNoDriveSet), fileId, streamId);
}

void STavuDevice::removeFile(uint32_t, uint32_t) { throw std::runtime_error(kNotOnRecordersYet); }

void STavuDevice::renameFile(uint32_t, uint32_t, const std::string&) {
    throw std::runtime_error(kNotOnRecordersYet);
}

std::string STavuDevice::setFileInfo(uint32_t, uint32_t, const std::string&, uint16_t, uint16_t, uint64_t, uint64_t,
                                     uint64_t, uint64_t, uint64_t) {
    throw std::runtime_error(kNotOnRecordersYet);
}

void STavuDevice::openFile(uint32_t&, std::string&, uint32_t, uint32_t) {
    throw std::runtime_error(kNotOnRecordersYet);
}

void STavuDevice::fileInfo(uint32_t, uint16_t&, uint16_t&, uint32_t&, uint64_t&, uint64_t&) {
    throw std::runtime_error(kNotOnRecordersYet);
}

void STavuDevice::closeFile(uint32_t) { throw std::runtime_error(kNotOnRecordersYet); }

void STavuDevice::readFrame(uint32_t, uint64_t) { throw std::runtime_error(kNotOnRecordersYet); }

std::string STavuDevice::startLive(uint8_t) { throw std::runtime_error(kNotOnRecordersYet); }

void STavuDevice::stopLive(uint8_t) { throw std::runtime_error(kNotOnRecordersYet); }

void STavuDevice::liveFrame(uint8_t, uint16_t&, uint16_t&, uint32_t&) {
    throw std::runtime_error(kNotOnRecordersYet);
}

}  // namespace tavu
