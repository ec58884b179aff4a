// The catalogue of recordings on the drive set. The metadata block of each drive file is the
// truth; the catalogue is its copy in memory, rebuilt at each connection and kept in step by
// every change.
#include "hardware/STavuDevice.h"

#include "hardware/DeviceTexts.h"
#include "hardware/DriveSetFiles.h"
#include "hardware/DriveSets.h"
#include "library/Buffer.h"
#include "records/InfoRecord.h"
#include "records/MetaRecord.h"

#include <algorithm>
#include <stdexcept>

namespace tavu {

namespace {

auto isPair(uint32_t fileId, uint32_t streamId) {
    return [=](const FileRecord& file) { return file.fileId == fileId && file.streamId == streamId; };
}

// The metadata of a file that the device holds open, read against the release of the handle.
boost::shared_ptr<Common::Buffer> readHeldMetadata(DriveFileHandle& handle) {
    std::lock_guard guard(handle.mutex);
    return handle.file->readMetadata();
}

std::vector<FileRecord> parseMetadata(Common::Buffer& metadata) {
    std::vector<FileRecord> records;
    readMetaList(records, metadata.data(), metadata.size());
    return records;
}

// The list goes back over the bytes it came from, in a buffer of unchanged size.
void storeMetadata(Quillon::DriveFile& file, const boost::shared_ptr<Common::Buffer>& metadata,
                   const std::vector<FileRecord>& records) {
    writeMetaList(records, metadata->data(), metadata->size());
    file.writeMetadata(metadata);
}

void eraseFirst(std::vector<FileRecord>& records, uint32_t fileId, uint32_t streamId) {
    auto record = std::ranges::find_if(records, isPair(fileId, streamId));
    if (record != records.end()) {
        records.erase(record);
    }
}

// Takes the pair out of the file's metadata. A drive file goes with its last stream.
void removeStoredRecord(Quillon::DriveSet& driveSet, uint32_t fileId, uint32_t streamId) {
    boost::shared_ptr<Quillon::DriveFile> file = driveSet.openFile(fileId);
    boost::shared_ptr<Common::Buffer> metadata = file->readMetadata();
    std::vector<FileRecord> records = parseMetadata(*metadata);
    auto record = std::ranges::find_if(records, isPair(fileId, streamId));
    if (record == records.end()) {
        return;
    }
    records.erase(record);
    storeMetadata(*file, metadata, records);
    if (records.empty()) {
        file.reset();
        driveSet.removeFile(fileId);
    }
}

}  // namespace

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
        boost::shared_ptr<Common::Buffer> metadata;
        if (DriveFileHandle* held = handles_.findFile(fileId)) {
            metadata = readHeldMetadata(*held);
        }
        if (!metadata || metadata->size() == 0) {
            metadata = driveSet->openFile(fileId)->readMetadata();
        }
        std::vector<FileRecord> records = parseMetadata(*metadata);
        catalogue_.insert(catalogue_.end(), records.begin(), records.end());
    }
}

DriveFileShare STavuDevice::acquireDriveFile(uint32_t fileId) {
    if (DriveFileHandle* held = handles_.findFile(fileId)) {
        return handles_.share(*held);
    }
    return handles_.addFile(fileId, firstDriveSet(*libraryDevice(), kNoDriveSet)->openFile(fileId));
}

std::vector<FileRecord> STavuDevice::listFiles() {
    std::lock_guard guard(lock_);
    return catalogue_;
}

std::vector<uint8_t> STavuDevice::fileIdentity(uint32_t fileId, uint32_t streamId) {
    std::lock_guard guard(lock_);
    auto record = std::ranges::find_if(catalogue_, isPair(fileId, streamId));
    if (record != catalogue_.end() && !record->info.empty()) {
        return record->info;
    }
    // A block too large for the file's metadata went into an info file of its own.
    return readInfoFile(*firstDriveSet(*libraryDevice(), kNoDriveSet), fileId, streamId);
}

void STavuDevice::removeFile(uint32_t fileId, uint32_t streamId) {
    std::lock_guard guard(lock_);
    // Closed slots hold 0 and 0, which names no file.
    if (std::ranges::any_of(openFiles_, [&](const OpenFileSlot& slot) {
            return slot.fileId == fileId && slot.streamId == streamId;
        })) {
        throw std::runtime_error("Can't remove file, file is open.");
    }
    boost::shared_ptr<Quillon::DriveSet> driveSet = firstDriveSet(*libraryDevice(), kNoDriveSet);
    // The info record goes first, whether or not the stream is still in the metadata.
    const uint32_t infoFileId = driveSet->findFile(infoRecordName(fileId, streamId).c_str());
    if (infoFileId != 0) {
        driveSet->removeFile(infoFileId);
    }
    removeStoredRecord(*driveSet, fileId, streamId);
    eraseFirst(catalogue_, fileId, streamId);
}

void STavuDevice::editRecord(uint32_t fileId, uint32_t streamId, const std::function<void(FileRecord&)>& change) {
    DriveFileShare file = acquireDriveFile(fileId);
    boost::shared_ptr<Common::Buffer> metadata = readHeldMetadata(*file);
    std::vector<FileRecord> records = parseMetadata(*metadata);
    auto record = std::ranges::find_if(records, isPair(fileId, streamId));
    if (record == records.end()) {
        throw std::runtime_error("File not found.");
    }
    change(*record);
    storeMetadata(*file->file, metadata, records);
    auto listed = std::ranges::find_if(catalogue_, isPair(fileId, streamId));
    if (listed != catalogue_.end()) {
        change(*listed);
    }
}

void STavuDevice::renameFile(uint32_t fileId, uint32_t streamId, const std::string& name) {
    std::lock_guard guard(lock_);
    // Names need not be unique here.
    editRecord(fileId, streamId, [&](FileRecord& record) { record.name = name; });
}

std::string STavuDevice::setFileInfo(uint32_t fileId, uint32_t streamId, const FileInfoUpdate& update) {
    std::lock_guard guard(lock_);
    const std::string finalName = unusedFileName(catalogue_, update.name);
    editRecord(fileId, streamId, [&](FileRecord& record) {
        record.name = finalName;
        applyFileInfo(record, update);
    });
    return finalName;
}

}  // namespace tavu
