#include "hardware/DriveSetFiles.h"

#include "library/Buffer.h"
#include "library/TimestampHelper.h"
#include "records/InfoRecord.h"
#include "records/MetaRecord.h"
#include "hardware/QuillonFileStream.h"

#include <stdexcept>

namespace tavu {

namespace {

constexpr uint64_t kMiB = 0x100000;
constexpr uint64_t kConfigFileBytes = 2 * kMiB;
constexpr uint64_t kPairFileBaseBytes = 32 * kMiB;
constexpr uint64_t kPairFileGrowthBytes = 8 * kMiB;
// Room for the envelope of an info record around its block.
constexpr uint64_t kEnvelopeBytes = 1024;

}  // namespace

uint64_t stripeBytes(Quillon::DriveSet& driveSet) {
    const uint64_t clusterBytes = driveSet.info()->clusterSizeBytes();
    const uint64_t stripe = clusterBytes * driveSet.drives().size();
    if (stripe == 0) {
        throw std::runtime_error("Drive set has no stripe size.");
    }
    return stripe;
}

uint64_t stripesFor(uint64_t bytes, uint64_t stripe) { return (bytes + stripe - 1) / stripe; }

uint64_t configFileStripes(uint64_t stripe) { return stripesFor(kConfigFileBytes, stripe); }

uint64_t pairFileStripes(uint64_t blockBytes, uint64_t stripe) {
    const uint64_t needed = stripesFor(blockBytes + kEnvelopeBytes, stripe);
    uint64_t stripes = stripesFor(kPairFileBaseBytes, stripe);
    while (stripes < needed) {
        stripes += stripesFor(kPairFileGrowthBytes, stripe);
    }
    return stripes;
}

uint64_t infoFileStripes(uint64_t blockBytes, uint64_t stripe) {
    return stripesFor(blockBytes + kEnvelopeBytes, stripe);
}

boost::shared_ptr<Quillon::DriveFile> ensureDriveFile(Quillon::DriveSet& driveSet, const std::string& name,
                                                      const FileSizeRule& wantedStripes) {
    const uint64_t wanted = wantedStripes(stripeBytes(driveSet));
    uint32_t fileId = driveSet.findFile(name.c_str());
    if (fileId != 0 && driveSet.fileEntry(fileId)->sizeClusters < wanted) {
        driveSet.removeFile(fileId);
        fileId = 0;
    }
    if (fileId == 0) {
        fileId = driveSet.createFile(name.c_str(), wanted, Common::TimestampHelper::universalTime());
    }
    return driveSet.openFile(fileId);
}

void storeBlockFile(Quillon::DriveSet& driveSet, const std::string& name, std::span<const uint8_t> block,
                    const FileSizeRule& wantedStripes) {
    QuillonFileStream stream(ensureDriveFile(driveSet, name, wantedStripes), true);
    writeInfoRecord(block, stream);
    stream.flush();
}

std::vector<uint8_t> loadBlockFile(Quillon::DriveSet& driveSet, const std::string& name) {
    QuillonFileStream stream(driveSet.openFile(driveSet.findFile(name.c_str())), false);
    return readInfoRecord(stream);
}

void writeInfoFile(Quillon::DriveSet& driveSet, uint32_t fileId, uint32_t streamId,
                   std::span<const uint8_t> block) {
    storeBlockFile(driveSet, infoRecordName(fileId, streamId), block,
                   [&](uint64_t stripe) { return infoFileStripes(block.size(), stripe); });
}

std::vector<uint8_t> readInfoFile(Quillon::DriveSet& driveSet, uint32_t fileId, uint32_t streamId) {
    return loadBlockFile(driveSet, infoRecordName(fileId, streamId));
}

void writeFileMetadata(Quillon::DriveFile& file, const std::vector<FileRecord>& entries) {
    boost::shared_ptr<Common::Buffer> buffer = Common::Buffer::create(nullptr, file.metadataCapacity());
    writeMetaList(entries, buffer->data(), buffer->size());
    file.writeMetadata(buffer);
}

}  // namespace tavu
