// Recording: arming the recorder's trigger network, watching the ports, and turning what they
// recorded into catalogued streams at the stop. Frames never pass through the service.
#include "hardware/STavuDevice.h"

#include "hardware/CameraWakeUp.h"
#include "hardware/DeviceTexts.h"
#include "hardware/DeviceType.h"
#include "hardware/DriveSetFiles.h"
#include "hardware/DriveSets.h"
#include "library/Port.h"
#include "library/Record.h"
#include "library/TimestampHelper.h"
#include "library/Trigger.h"
#include "records/FileTime.h"
#include "records/InfoRecord.h"
#include "wire/Types.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace tavu {

namespace {

using Quillon::ParameterValue;
using Quillon::TriggerBank;
using Quillon::TriggerElement;

// Storage of a frame beyond its pixels.
constexpr uint32_t kFrameOverheadBytes = 0x180;

// Inputs of the record control element.
constexpr uint32_t kStartInput = 0;
constexpr uint32_t kStopInput = 1;

void set(TriggerElement& element, const char* parameter, const ParameterValue& value) {
    element.parameter(parameter)->set(value);
}

void setFlag(TriggerElement& element, const char* parameter, bool value) {
    set(element, parameter, ParameterValue::boolean(value));
}

// Bit n for each of the first `portCount` ports; the mask has room for 32.
uint32_t maskOfPorts(uint64_t portCount) {
    return portCount >= 32 ? 0xFFFFFFFFu : (1u << portCount) - 1;
}

bool inMask(uint32_t portMask, uint32_t port) { return port < 32 && (portMask & (1u << port)) != 0; }

void programExternalStart(TriggerBank& bank, TriggerElement& control, uint8_t externalTrigger,
                          bool usePretrigger, uint64_t pretriggerCount) {
    boost::shared_ptr<TriggerElement> external = bank.element(TriggerBank::KindExternalInput, 0);
    const bool start = (externalTrigger & ExternalStart) != 0;
    if (start) {
        control.connectInput(external, kStartInput, (externalTrigger & ExternalStartVariant) != 0);
    }
    setFlag(control, "Start Enable", start);
    const bool stop = (externalTrigger & ExternalStop) != 0;
    if (stop) {
        control.connectInput(external, kStopInput, (externalTrigger & ExternalStopVariant) != 0);
    }
    setFlag(control, "Stop Enable", stop);
    setFlag(control, "Pretrigger Enable", usePretrigger);
    // Written even without a pre-trigger.
    set(control, "Pretrigger Loop Time Value", ParameterValue::unsigned64(pretriggerCount));
}

// The recording fills its pre-trigger loop until softwareTrigger fires the software source.
void programSoftwareStart(TriggerBank& bank, TriggerElement& control, uint64_t pretriggerCount) {
    control.connectInput(bank.element(TriggerBank::KindSoftwareSource, 0), kStartInput, false);
    setFlag(control, "Start Enable", true);
    setFlag(control, "Stop Enable", false);
    setFlag(control, "Pretrigger Enable", true);
    set(control, "Pretrigger Loop Time Value", ParameterValue::unsigned64(pretriggerCount));
    setFlag(control, "Software Start Trigger", false);
}

void programStart(TriggerBank& bank, TriggerElement& control, uint8_t externalTrigger, bool usePretrigger,
                  uint64_t pretriggerCount) {
    if (externalTrigger != 0) {
        programExternalStart(bank, control, externalTrigger, usePretrigger, pretriggerCount);
    } else if (usePretrigger) {
        programSoftwareStart(bank, control, pretriggerCount);
    } else {
        // Starts at once.
        setFlag(control, "Start Enable", false);
        setFlag(control, "Stop Enable", false);
        setFlag(control, "Pretrigger Enable", false);
    }
}

// count is the library's, in the library's units; a frame count is cut to 32 bits. A type
// other than the two limits means none.
void programStop(TriggerElement& control, StopCondition type, uint64_t count) {
    if (type == StopCondition::FrameCount) {
        setFlag(control, "Stop Time Enable", false);
        setFlag(control, "Stop Frame Count Enable", true);
        set(control, "Stop Frame Count Value", ParameterValue::unsigned32(static_cast<uint32_t>(count)));
    } else if (type == StopCondition::Time) {
        setFlag(control, "Stop Frame Count Enable", false);
        setFlag(control, "Stop Time Enable", true);
        set(control, "Stop Time Value", ParameterValue::unsigned64(count));
    } else {
        setFlag(control, "Stop Frame Count Enable", false);
        setFlag(control, "Stop Time Enable", false);
    }
}

boost::shared_ptr<TriggerElement> recordControl(Quillon::Device& device) {
    return device.triggerBank()->element(TriggerBank::KindRecordControl, 0);
}

// The drive files that the ports of a recording went to, in the order first seen.
struct FileGroup {
    uint32_t fileId = 0;
    std::vector<uint32_t> ports;
};

void addToGroup(std::vector<FileGroup>& groups, uint32_t fileId, uint32_t port) {
    auto group = std::ranges::find(groups, fileId, &FileGroup::fileId);
    if (group == groups.end()) {
        groups.push_back(FileGroup{fileId, {port}});
    } else {
        group->ports.push_back(port);
    }
}

}  // namespace

void STavuDevice::startRecording(const RecordingRequest& request) {
    const uint32_t portMask = request.portMask;
    if (portMask == 0) {
        throw std::runtime_error("At least one port must be enabled for record.");
    }
    std::lock_guard guard(lock_);
    // Before the virtual-device test, so that a bad mask is reported as such on any device.
    const uint32_t fullMask = maskOfPorts(portCount_);
    if ((portMask & fullMask) == 0 || (portMask & ~fullMask) != 0) {
        throw std::runtime_error("Invalid port mask.");
    }
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (device->kind() == Quillon::Device::KindVirtual) {
        throw std::runtime_error(kVirtualCannotRecord);
    }
    if (isCoaXPressType(device->hardwareInfo(0)->deviceType)) {
        wakeUpSilentCameras(*device, portMask);
    }
    boost::shared_ptr<Quillon::Record> record = device->record();
    // No test of free space: a nearly full set starts like any other.
    boost::shared_ptr<Quillon::DriveSet::CapacityInfo> capacity =
        firstDriveSet(*device, kNoDriveSetCapital)->capacityInfo(true);
    usedBytesAtStart_ = capacity->usedBytes();
    totalBytesAtStart_ = capacity->totalBytes();

    std::vector<bool> wasGrabbing(portCount_, false);
    addPortsToRecord(*device, *record, portMask, wasGrabbing);
    boost::shared_ptr<TriggerBank> bank = device->triggerBank();
    boost::shared_ptr<TriggerElement> control = bank->element(TriggerBank::KindRecordControl, 0);
    programStart(*bank, *control, request.externalTrigger, request.usePretrigger, request.pretriggerCount);
    programStop(*control, request.type, request.count);

    recordingActive_ = true;
    record->start(0);
    // The start took these ports from their live view; the next liveFrame restarts it.
    for (uint32_t index = 0; index < portCount_; ++index) {
        if (wasGrabbing[index]) {
            device->port(index)->interruptGrab();
            ports_[index].restartLive = true;
        }
    }
    recordStartTime_ = currentFileTime();
}

void STavuDevice::wakeUpSilentCameras(Quillon::Device& device, uint32_t portMask) {
    for (uint32_t index = 0; index < portCount_; ++index) {
        if (inMask(portMask, index)) {
            boost::shared_ptr<Quillon::Port> port = device.port(index);
            if (isSilentCamera(*port)) {
                wakeUpCamera(*port);
            }
        }
    }
}

void STavuDevice::addPortsToRecord(Quillon::Device& device, Quillon::Record& record, uint32_t portMask,
                                   std::vector<bool>& wasGrabbing) {
    // One time stamp for all ports of the recording.
    const uint64_t timestamp = Common::TimestampHelper::universalTime();
    for (uint32_t index = 0; index < portCount_; ++index) {
        if (!inMask(portMask, index)) {
            continue;
        }
        PortState& state = ports_[index];
        boost::shared_ptr<Quillon::Port> port = device.port(index);
        wasGrabbing[index] = port->isGrabbing();
        state.frameBytes = static_cast<uint32_t>(state.width) * state.height * 2 + kFrameOverheadBytes;
        state.recording = true;
        // Port numbers count from 1 here; the stream id that comes back is the library's own.
        state.streamId = record.addPort(port, timestamp, index + 1, boost::none, Quillon::String());
        state.numFrames = 0;
    }
}

void STavuDevice::softwareTrigger() {
    std::lock_guard guard(lock_);
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (device->kind() == Quillon::Device::KindVirtual) {
        throw std::runtime_error(kVirtualCannotRecord);
    }
    // Fetched as every recording command does, though the trigger alone fires the start.
    boost::shared_ptr<Quillon::Record> record = device->record();
    // Set back to false only by the next start with a pre-trigger.
    setFlag(*recordControl(*device), "Software Start Trigger", true);
}

bool STavuDevice::isRecordingDone() {
    std::lock_guard guard(lock_);
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    boost::shared_ptr<Quillon::Record> record = device->record();
    bool done = true;
    for (uint32_t index = 0; index < portCount_; ++index) {
        if (ports_[index].recording && !record->status(device->port(index))->isRecordingFinished()) {
            done = false;
        }
    }
    return done;
}

bool STavuDevice::isRecording() {
    std::lock_guard guard(lock_);
    return recordingActive_;
}

RecordingFile STavuDevice::recordingFile(uint8_t port) {
    std::lock_guard guard(lock_);
    // The file id is known only after the stop; meanwhile it is the previous recording's.
    const PortState& state = portAt(port);
    return RecordingFile{state.fileId, state.streamId};
}

RecordingProgress STavuDevice::recordingProgress(uint8_t port) {
    std::lock_guard guard(lock_);
    portAt(port);
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (device->kind() == Quillon::Device::KindVirtual) {
        throw std::runtime_error(kVirtualCannotRecord);
    }
    return portProgress(*device, port);
}

RecordingProgress STavuDevice::portProgress(Quillon::Device& device, uint32_t port) {
    PortState& state = ports_[port];
    if (!recordingActive_) {
        return RecordingProgress{state.numFrames, false};
    }
    // Asked of the library whether or not the port takes part.
    boost::shared_ptr<Quillon::Record> record = device.record();
    boost::shared_ptr<Quillon::Record::Status> status = record->status(device.port(port));
    state.numFrames = status->frames;
    return RecordingProgress{status->frames, status->state == Quillon::Record::Status::StatePretrigger};
}

void STavuDevice::stopRecording() {
    std::lock_guard guard(lock_);
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (device->kind() == Quillon::Device::KindVirtual) {
        throw std::runtime_error(kVirtualCannotRecord);
    }
    boost::shared_ptr<Quillon::Record> record = device->record();
    boost::shared_ptr<Quillon::DriveSet> driveSet = firstDriveSet(*device, kNoDriveSet);
    std::vector<bool> stillGrabbing(portCount_, false);
    std::vector<FileGroup> groups;
    for (uint32_t index = 0; index < portCount_; ++index) {
        PortState& state = ports_[index];
        if (state.recording) {
            boost::shared_ptr<Quillon::Port> port = device->port(index);
            stillGrabbing[index] = port->isGrabbing();
            // Stopping the port is what ends its recording; the record as a whole has no stop.
            state.fileId = record->stopPort(port, 0);
            addToGroup(groups, state.fileId, index);
        }
    }
    for (const FileGroup& group : groups) {
        // No file: the ports stay flagged, and the next start takes them over.
        if (group.fileId != 0) {
            finaliseFile(*driveSet, group.fileId, group.ports, stillGrabbing);
        }
    }
    recordingActive_ = false;
}

void STavuDevice::finaliseFile(Quillon::DriveSet& driveSet, uint32_t fileId, const std::vector<uint32_t>& filePorts,
                               const std::vector<bool>& stillGrabbing) {
    boost::shared_ptr<Quillon::DriveFile> file = driveSet.openFile(fileId);
    std::vector<FileRecord> entries;
    for (uint32_t index : filePorts) {
        PortState& state = ports_[index];
        state.numFrames = file->streamById(state.streamId)->frames(0, 0, false, false)->frameCount();
        const FileRecord entry =
            streamRecord(index, fileId, state.streamId, state.numFrames, recordStartTime_, state.pairedTo);
        // A stream without frames stays in the file, but neither in its metadata nor in the catalogue.
        if (state.numFrames != 0) {
            entries.push_back(entry);
            catalogue_.push_back(entry);
        }
        if (stillGrabbing[index]) {
            state.restartLive = true;
        }
        state.recording = false;
        if (state.numFrames != 0 && state.pairInfo.size() > kMaxInlineBlock) {
            writeInfoFile(driveSet, fileId, state.streamId, state.pairInfo);
        }
    }
    writeFileMetadata(*file, entries);
}

FileRecord STavuDevice::streamRecord(uint32_t port, uint32_t fileId, uint32_t streamId, uint64_t numFrames,
                                     uint64_t timestamp, const std::string& camera) const {
    const PortState& state = ports_[port];
    FileRecord entry;
    entry.name = std::to_string(fileId) + "-" + std::to_string(streamId);
    entry.port = state.name;
    entry.camera = camera;
    entry.fileId = fileId;
    entry.streamId = streamId;
    entry.width = state.width;
    entry.height = state.height;
    entry.numFrames = numFrames;
    // Width times height wraps in signed 32 bits before it is widened: the stored size of the
    // largest frames is computed from the wrapped product, as recordings already on drives have it.
    const auto pixels = static_cast<int32_t>(static_cast<uint32_t>(state.width) * state.height);
    entry.size = static_cast<uint64_t>(static_cast<int64_t>(pixels)) * numFrames * 2;
    entry.timestamp = timestamp;
    if (!state.pairInfo.empty() && state.pairInfo.size() <= kMaxInlineBlock) {
        entry.info = state.pairInfo;
    }
    return entry;
}

}  // namespace tavu
