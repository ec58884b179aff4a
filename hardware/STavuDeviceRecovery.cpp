// Recovery of a recording that was cut off before its stop: the library repairs the file, and the
// service then writes the metadata that the stop never wrote.
#include "hardware/STavuDevice.h"

#include "hardware/DeviceTexts.h"
#include "hardware/DriveSetFiles.h"
#include "hardware/DriveSets.h"
#include "records/FileTime.h"
#include "records/InfoRecord.h"

#include <stdexcept>

namespace tavu {

boost::shared_ptr<Quillon::DriveSet> STavuDevice::recoveryDriveSet() {
    return firstDriveSet(*libraryDevice(), kNoDriveSet);
}

void STavuDevice::discardIncompleteFile() {
    std::lock_guard guard(lock_);
    // Neither the id nor a running job is looked at: the library has the last word.
    boost::shared_ptr<Quillon::DriveSet> driveSet = recoveryDriveSet();
    driveSet->removeFile(driveSet->incompleteFileId());
}

void STavuDevice::startRecovery() {
    std::lock_guard guard(lock_);
    // A job that ended stays in hand until a poll of recoveryStatus has seen its end.
    if (recovery_) {
        throw std::runtime_error("Recovery already in progress.");
    }
    boost::shared_ptr<Quillon::DriveSet> driveSet = recoveryDriveSet();
    incompleteFileId_ = driveSet->incompleteFileId();
    recovery_ = driveSet->recover(incompleteFileId_);
}

RecoveryStatus STavuDevice::recoveryStatus() {
    std::lock_guard guard(lock_);
    if (!recovery_) {
        return recoveryStatusValue_;
    }
    if (recovery_->isCancelled()) {
        recoveryStatusValue_ = RecoveryStatus::Cancelled;
        recovery_.reset();
    } else if (!recovery_->isFinished()) {
        recoveryStatusValue_ = RecoveryStatus::Running;
    } else if (recovery_->isSuccessful()) {
        recoveryStatusValue_ = RecoveryStatus::Done;
        recovery_.reset();
    } else {
        recoveryStatusValue_ = RecoveryStatus::Failed;
        recoveryErrorText_ = recovery_->errorText().c_str();
        recovery_.reset();
    }
    return recoveryStatusValue_;
}

void STavuDevice::cancelRecovery() {
    std::lock_guard guard(lock_);
    if (!recovery_) {
        throw std::runtime_error("Recovery not in progress.");
    }
    // Only asks; the end shows at the next poll.
    recovery_->cancel();
}

std::string STavuDevice::recoveryError() {
    std::lock_guard guard(lock_);
    return recoveryErrorText_;
}

void STavuDevice::finishRecovery() {
    std::lock_guard guard(lock_);
    // Whether the job ran or succeeded is not asked: the file's streams are what they are.
    if (incompleteFileId_ == 0) {
        throw std::runtime_error("no incomplete file.");
    }
    boost::shared_ptr<Quillon::DriveSet> driveSet = recoveryDriveSet();
    boost::shared_ptr<Quillon::DriveFile> file = driveSet->openFile(incompleteFileId_);
    std::vector<FileRecord> entries;
    for (uint32_t index = 0; index < file->streamCount(); ++index) {
        const uint32_t streamId = file->streamIdByIndex(index);
        boost::shared_ptr<Quillon::RecordedStream> stream = file->streamByIndex(index);
        boost::shared_ptr<Quillon::FrameSequence> frames = stream->frames(0, 0, false, false);
        const std::string portName = stream->portName().c_str();
        // Streams find their port by name; one of a port that is gone yields nothing.
        for (uint32_t port = 0; port < portCount_; ++port) {
            const PortState& state = ports_[port];
            if (state.name != portName) {
                continue;
            }
            // The port's present geometry, and the time of the recovery: the recording's own are lost.
            const FileRecord entry =
                streamRecord(port, incompleteFileId_, streamId, frames->frameCount(), currentFileTime(), "");
            if (entry.numFrames == 0) {
                continue;
            }
            entries.push_back(entry);
            catalogue_.push_back(entry);
            // Filed under the ids of the port's last recording, not of this stream.
            if (state.pairInfo.size() > kMaxInlineBlock) {
                writeInfoFile(*driveSet, state.fileId, state.streamId, state.pairInfo);
            }
        }
    }
    writeFileMetadata(*file, entries);
}

}  // namespace tavu
