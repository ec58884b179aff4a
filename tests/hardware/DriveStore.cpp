#include "DriveStore.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace tavu::test {

namespace {

using testing::Return;

// One open drive file: reads and writes go block by block from the first.
class MemoryDriveFile : public Quillon::DriveFile {
public:
    MemoryDriveFile(DriveStore& store, StoredFile& file, Ptr<Quillon::DriveSet> driveSet)
        : store_(store), file_(file), driveSet_(std::move(driveSet)) {}

    Ptr<Quillon::DriveSet> driveSet(bool) override { return driveSet_; }
    Ptr<Quillon::DriveFileInfo> info() override {
        return boost::make_shared<Quillon::DriveFileInfo>(Quillon::DriveFileInfo{store_.clusterBytes});
    }
    Ptr<Common::Buffer> readMetadata() override {
        return Common::Buffer::create(file_.metadata.data(), file_.metadata.size());
    }
    void writeMetadata(const Ptr<Common::Buffer>& buffer) override {
        file_.metadata.assign(buffer->data(), buffer->data() + buffer->size());
    }
    uint32_t metadataCapacity() override { return DriveStore::MetadataBytes; }
    void readBlock(const Ptr<Common::Buffer>& buffer, uint32_t) override {
        if (readIndex_ >= file_.blocks.size()) {
            throw Common::GeneralException("read past the end");
        }
        const std::vector<uint8_t>& block = file_.blocks[readIndex_++];
        std::memcpy(buffer->data(), block.data(), std::min<uint64_t>(block.size(), buffer->size()));
    }
    void writeBlock(const Ptr<Common::Buffer>& buffer) override {
        if (file_.blocks.size() <= writeIndex_) {
            file_.blocks.resize(writeIndex_ + 1);
        }
        file_.blocks[writeIndex_++].assign(buffer->data(), buffer->data() + buffer->size());
    }
    uint32_t streamCount() override { return 0; }
    Ptr<Quillon::RecordedStream> streamByIndex(uint32_t) override { throw Common::GeneralException("no streams"); }
    uint32_t streamIdByIndex(uint32_t) override { throw Common::GeneralException("no streams"); }
    Ptr<Quillon::RecordedStream> streamById(uint32_t) override { throw Common::GeneralException("no streams"); }

private:
    DriveStore& store_;
    StoredFile& file_;
    Ptr<Quillon::DriveSet> driveSet_;
    size_t readIndex_ = 0;
    size_t writeIndex_ = 0;
};

}  // namespace

void DriveStore::serve(MockDriveSet& driveSet, const Ptr<Quillon::DriveSet>& handle) {
    // The handle is held weakly: the mock's actions must not keep the mock alive.
    boost::weak_ptr<Quillon::DriveSet> self = handle;
    ON_CALL(driveSet, info).WillByDefault([this] {
        return boost::make_shared<Quillon::DriveSet::Info>(Quillon::DriveSet::Info{clusterBytes});
    });
    ON_CALL(driveSet, drives).WillByDefault([this] {
        Quillon::Vector<Ptr<Quillon::Drive>> drives;
        for (uint32_t index = 0; index < driveCount; ++index) {
            drives.push_back(boost::make_shared<FakeDrive>(index));
        }
        return drives;
    });
    ON_CALL(driveSet, findFile).WillByDefault([this](const String& name) { return findFile(name.c_str()); });
    ON_CALL(driveSet, fileEntry).WillByDefault([this](uint32_t id) {
        return boost::make_shared<Quillon::DriveFileEntry>(Quillon::DriveFileEntry{files.at(id).sizeClusters});
    });
    ON_CALL(driveSet, createFile).WillByDefault([this](const String& name, uint64_t size, uint64_t) {
        return add(name.c_str(), size);
    });
    ON_CALL(driveSet, removeFile).WillByDefault([this](uint32_t id) { files.erase(id); });
    ON_CALL(driveSet, openFile).WillByDefault([this, self](uint32_t id) -> Ptr<Quillon::DriveFile> {
        auto file = files.find(id);
        if (file == files.end()) {
            throw Common::GeneralException("no such file");
        }
        return boost::make_shared<MemoryDriveFile>(*this, file->second, self.lock());
    });
    ON_CALL(driveSet, fileIds).WillByDefault(Return(Quillon::Vector<uint32_t>()));
}

uint32_t DriveStore::add(const std::string& name, uint64_t sizeClusters) {
    const uint32_t id = nextId_++;
    files[id] = StoredFile{name, sizeClusters, {}, {}};
    return id;
}

bool DriveStore::has(const std::string& name) const { return findFile(name) != 0; }

void DriveStore::remove(const std::string& name) { files.erase(findFile(name)); }

StoredFile& DriveStore::file(const std::string& name) { return files.at(findFile(name)); }

std::vector<uint8_t> DriveStore::contents(const std::string& name) const {
    std::vector<uint8_t> bytes;
    for (const auto& block : files.at(findFile(name)).blocks) {
        bytes.insert(bytes.end(), block.begin(), block.end());
    }
    return bytes;
}

uint32_t DriveStore::findFile(const std::string& name) const {
    for (const auto& [id, file] : files) {
        if (file.name == name) {
            return id;
        }
    }
    return 0;
}

}  // namespace tavu::test
