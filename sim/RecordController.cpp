#include "sim/RecordController.h"

#include "sim/Errors.h"
#include "sim/Recording.h"

#include <algorithm>
#include <set>

namespace sim {
namespace {

// A block spans every drive of the set, a cluster on each: it is written when the slowest drive
// has written its cluster.
Recording::Clock::duration blockWriteTime(const RecorderDescription& recorder, const StoredDriveSet& set) {
    double seconds = 0.0;
    for (const DriveDescription& drive : set.settings().drives) {
        for (const auto& group : recorder.driveGroups) {
            for (const DriveDescription& described : group) {
                if (described.physicalIndex == drive.physicalIndex && described.bytesPerSecond != 0) {
                    seconds = std::max(seconds, static_cast<double>(set.settings().clusterBytes) /
                                                    static_cast<double>(described.bytesPerSecond));
                }
            }
        }
    }
    return std::chrono::duration_cast<Recording::Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

RecordController::~RecordController() {
    for (const auto& recording : recordings_) {
        recording->end();
    }
}

uint32_t RecordController::addPort(uint32_t portIndex, uint64_t timestamp) {
    const uint32_t streamId = nextStreamId_++;
    added_[portIndex] = Added{streamId, timestamp};
    return streamId;
}

void RecordController::start(Recorder::Session& session) {
    if (added_.empty()) {
        fail("Recorder " + session.description().name + " has no port added to record.");
    }
    const std::map<uint32_t, std::vector<StoredStream>> sets = streamsBySet(session);
    const TriggerSettings trigger =
        TriggerSettings::of(session.hardware().findTriggerElement(trigger::RecordControl));
    std::set<uint32_t> withoutCamera;
    for (const auto& [portIndex, added] : added_) {
        if (!session.portDescription(portIndex).cameraDetected) {
            withoutCamera.insert(portIndex);
        }
    }
    const auto record = [&](uint32_t setId, const std::vector<StoredStream>& streams) {
        StoredDriveSet& set = session.storage().set(setId);
        const Recording::Conditions conditions{withoutCamera, blockWriteTime(session.description(), set)};
        const uint32_t fileId = set.createRecording(streams.front().timestamp, streams);
        recordings_.push_back(std::make_shared<Recording>(recorder_, setId, fileId, set.dataPath(fileId),
                                                          set.blockBytes(), streams, trigger, conditions));
    };
    for (const auto& [setId, streams] : sets) {
        if (session.description().filePerPort) {
            for (const StoredStream& stream : streams) {
                record(setId, {stream});
            }
        } else {
            record(setId, streams);
        }
    }
    // The recording takes the ports' acquisition: their live view ends until it is started again.
    for (const auto& [portIndex, added] : added_) {
        PortState& port = session.hardware().port(portIndex);
        if (port.grabbing) {
            port.grabbing = false;
            port.live->interrupt();
        }
    }
    session.publishState();
    added_.clear();
}

uint32_t RecordController::stopPort(Recorder::Session& session, uint32_t portIndex) {
    const std::shared_ptr<Recording> recording = recordingOf(portIndex);
    if (!recording) {
        return 0;
    }
    recording->requestStop(portIndex);
    recording->changed().wait(session.lock(), [&] { return recording->isClosed(portIndex); });
    lastStatus_[portIndex] = recording->status(portIndex);
    const auto listed = std::find(recordings_.begin(), recordings_.end(), recording);
    if (recording->allClosed() && listed != recordings_.end()) {
        recordings_.erase(listed);
        session.storage().set(recording->setId()).completeRecording(recording->fileId(), recording->streams());
    }
    return recording->fileId();
}

Quillon::Record::Status RecordController::status(uint32_t portIndex) const {
    if (const std::shared_ptr<Recording> recording = recordingOf(portIndex)) {
        return recording->status(portIndex);
    }
    if (const auto last = lastStatus_.find(portIndex); last != lastStatus_.end()) {
        return last->second;
    }
    Quillon::Record::Status idle;
    idle.finished = true;
    return idle;
}

void RecordController::powerCycle() {
    added_.clear();
    lastStatus_.clear();
}

void RecordController::pulse(uint32_t sourceKind, bool variant) {
    for (const auto& recording : recordings_) {
        recording->pulse(sourceKind, variant);
    }
}

std::shared_ptr<Recording> RecordController::recordingOf(uint32_t portIndex) const {
    const auto found = std::find_if(recordings_.begin(), recordings_.end(),
                                    [&](const auto& recording) { return recording->records(portIndex); });
    return found == recordings_.end() ? nullptr : *found;
}

std::map<uint32_t, std::vector<StoredStream>> RecordController::streamsBySet(Recorder::Session& session) const {
    std::map<uint32_t, std::vector<StoredStream>> sets;
    for (const auto& [portIndex, added] : added_) {
        const PortDescription& description = session.portDescription(portIndex);
        const PortState& port = session.hardware().port(portIndex);
        if (recordingOf(portIndex)) {
            fail("Port " + description.name + " is still recording.");
        }
        const std::optional<FrameSize> size = port.descriptor ? port.descriptor->frameSize() : std::nullopt;
        if (!size) {
            fail("Port " + description.name + " has no data descriptor with a frame size.");
        }
        if (!port.driveSet) {
            fail("Port " + description.name + " is not attached to a drive set.");
        }
        if (session.storage().set(*port.driveSet).blockBytes() <= BlockHeader::Bytes) {
            fail("Blocks of drive set " + std::to_string(*port.driveSet) + " are too small to record to.");
        }
        sets[*port.driveSet].push_back(StoredStream{added.streamId, description.name, portIndex, size->width,
                                                    size->height, added.timestamp, 0, {}});
    }
    return sets;
}

}  // namespace sim
