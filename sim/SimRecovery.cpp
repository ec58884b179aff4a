#include "sim/SimRecovery.h"

#include "sim/Errors.h"

#include <fcntl.h>

#include <algorithm>
#include <map>

namespace sim {

SimRecovery::SimRecovery(std::shared_ptr<Recorder> recorder, Job job)
    : recorder_(std::move(recorder)), job_(std::move(job)), thread_([this] { run(); }) {}

SimRecovery::~SimRecovery() {
    cancel();
    thread_.join();
}

void SimRecovery::cancel() {
    {
        std::lock_guard lock(mutex_);
        cancelling_ = true;
    }
    cancelRequested_.notify_all();
}

bool SimRecovery::isFinished() {
    std::lock_guard lock(mutex_);
    return finished_;
}

bool SimRecovery::isCancelled() {
    std::lock_guard lock(mutex_);
    return cancelled_;
}

bool SimRecovery::isSuccessful() {
    std::lock_guard lock(mutex_);
    return successful_;
}

Quillon::String SimRecovery::errorText() {
    std::lock_guard lock(mutex_);
    return errorText_.c_str();
}

void SimRecovery::run() {
    std::string error;
    bool cancelled = false;
    try {
        const std::optional<std::vector<StoredStream>> streams = rebuild();
        if (streams) {
            auto session = recorder_->internalSession();
            session.storage().set(job_.setId).completeRecording(job_.fileId, *streams);
        }
        cancelled = !streams;
    } catch (const Common::GeneralException& e) {
        error = e.what();
    }
    std::lock_guard lock(mutex_);
    finished_ = true;
    cancelled_ = cancelled;
    successful_ = !cancelled && error.empty();
    errorText_ = error;
}

std::optional<std::vector<StoredStream>> SimRecovery::rebuild() {
    const FileDescriptor file(job_.dataPath, O_RDONLY);
    const uint64_t blocks = file.size() / job_.blockBytes;
    // Per stream id: the file's block of each place in the stream, and its frame bytes.
    std::map<uint32_t, std::map<uint32_t, std::pair<uint64_t, uint64_t>>> found;
    for (const StoredStream& stream : job_.streams) {
        found[stream.id];
    }
    uint8_t bytes[BlockHeader::Bytes];
    for (uint64_t block = 0; block < blocks; ++block) {
        recorder_->dataPathCall("DriveFile::readBlock");
        file.readAt(block * job_.blockBytes, bytes, sizeof bytes);
        std::optional<BlockHeader> header;
        try {
            header = BlockHeader::load(bytes);
        } catch (const Common::GeneralException& e) {
            fail(damaged(block, std::string("has ") + e.what()));
        }
        if (header) {
            const auto stream = found.find(header->streamId);
            if (stream == found.end()) {
                fail(damaged(block, "names stream " + std::to_string(header->streamId) +
                                        ", which the file does not hold"));
            }
            stream->second[header->sequence] = {block, header->payloadBytes};
        }
        if (dwell()) {
            return std::nullopt;
        }
    }
    std::vector<StoredStream> streams = job_.streams;
    for (StoredStream& stream : streams) {
        // A stream ends at its first missing block: what follows cannot be placed.
        uint64_t bytesFound = 0;
        for (const auto& [sequence, place] : found[stream.id]) {
            if (sequence != stream.blocks.size()) {
                break;
            }
            stream.blocks.push_back(place.first);
            bytesFound += place.second;
        }
        stream.frames = bytesFound / stream.frameBytes();
    }
    return streams;
}

bool SimRecovery::dwell() {
    std::unique_lock lock(mutex_);
    return cancelRequested_.wait_for(lock, job_.perBlock, [&] { return cancelling_; });
}

std::string SimRecovery::damaged(uint64_t block, const std::string& what) const {
    return "File " + std::to_string(job_.fileId) + " is damaged: block " + std::to_string(block) + " " + what + ".";
}

}  // namespace sim
