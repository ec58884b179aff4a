// The thin wrappers of the device operations: look up, call without the manager's lock, and post
// an event only after the call returned.
#include "registry/DeviceManager.h"

namespace tavu {

std::string DeviceManager::name(uint32_t device) { return deviceAt(device).name(); }

bool DeviceManager::isConnected(uint32_t device) { return deviceAt(device).isConnected(); }

bool DeviceManager::hasIncompleteFile(uint32_t device) { return deviceAt(device).hasIncompleteFile(); }

void DeviceManager::discardIncompleteFile(uint32_t device) { deviceAt(device).discardIncompleteFile(); }

void DeviceManager::startRecovery(uint32_t device) { deviceAt(device).startRecovery(); }

void DeviceManager::finishRecovery(uint32_t device) { deviceAt(device).finishRecovery(); }

void DeviceManager::cancelRecovery(uint32_t device) { deviceAt(device).cancelRecovery(); }

uint32_t DeviceManager::recoveryStatus(uint32_t device) { return deviceAt(device).recoveryStatus(); }

std::string DeviceManager::recoveryError(uint32_t device) { return deviceAt(device).recoveryError(); }

void DeviceManager::serialOpen(uint32_t device, uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) {
    deviceAt(device).serialOpen(port, baudRate, parity, stopBits);
}

uint32_t DeviceManager::serialGetBaudRate(uint32_t device, uint8_t port) {
    return deviceAt(device).serialGetBaudRate(port);
}

void DeviceManager::serialSetBaudRate(uint32_t device, uint8_t port, uint32_t baudRate) {
    deviceAt(device).serialSetBaudRate(port, baudRate);
}

uint32_t DeviceManager::serialRead(uint32_t device, uint8_t port, uint8_t* buffer, uint32_t size) {
    return deviceAt(device).serialRead(port, buffer, size);
}

uint32_t DeviceManager::serialWrite(uint32_t device, uint8_t port, const uint8_t* buffer, uint32_t size) {
    return deviceAt(device).serialWrite(port, buffer, size);
}

void DeviceManager::serialClear(uint32_t device, uint8_t port) { deviceAt(device).serialClear(port); }

void DeviceManager::serialClose(uint32_t device, uint8_t port) { deviceAt(device).serialClose(port); }

void DeviceManager::registerRead(uint32_t device, uint8_t port, uint32_t addr, uint8_t* buffer, uint32_t size) {
    deviceAt(device).registerRead(port, addr, buffer, size);
}

void DeviceManager::registerWrite(uint32_t device, uint8_t port, uint32_t addr, const uint8_t* buffer,
                                  uint32_t size) {
    deviceAt(device).registerWrite(port, addr, buffer, size);
}

uint8_t DeviceManager::portCount(uint32_t device) { return deviceAt(device).portCount(); }

std::string DeviceManager::portName(uint32_t device, uint8_t port) { return deviceAt(device).portName(port); }

bool DeviceManager::isCxp(uint32_t device) { return deviceAt(device).isCxp(); }

std::vector<FileRecord> DeviceManager::listFiles(uint32_t device) { return deviceAt(device).listFiles(); }

void DeviceManager::openFile(uint32_t device, uint32_t& openFileId, std::string& mapping, uint32_t fileId,
                             uint32_t streamId) {
    deviceAt(device).openFile(openFileId, mapping, fileId, streamId);
}

void DeviceManager::fileInfo(uint32_t device, uint32_t openFileId, uint16_t& width, uint16_t& height,
                             uint32_t& imageSize, uint64_t& numFrames, uint64_t& size) {
    deviceAt(device).fileInfo(openFileId, width, height, imageSize, numFrames, size);
}

void DeviceManager::closeFile(uint32_t device, uint32_t openFileId) { deviceAt(device).closeFile(openFileId); }

void DeviceManager::readFrame(uint32_t device, uint32_t openFileId, uint64_t frame) {
    deviceAt(device).readFrame(openFileId, frame);
}

void DeviceManager::removeFile(uint32_t device, uint32_t fileId, uint32_t streamId) {
    deviceAt(device).removeFile(fileId, streamId);
    broadcast(DeviceEvent{DeviceEvent::FilesChanged, device, 0});
}

void DeviceManager::fileIdentity(uint32_t device, uint32_t fileId, uint32_t streamId, std::vector<uint8_t>& data) {
    deviceAt(device).fileIdentity(fileId, streamId, data);
}

void DeviceManager::pairPort(uint32_t device, uint8_t port, const std::string& identity, const uint8_t* info,
                             uint32_t infoSize, uint16_t numFramesPerPacket) {
    deviceAt(device).pairPort(port, identity, info, infoSize, numFramesPerPacket);
    broadcast(DeviceEvent{DeviceEvent::PairingChanged, device, port});
}

// Unlike its neighbours, a repair changes no pairing that other clients show, and posts nothing.
void DeviceManager::repairPort(uint32_t device, uint8_t port, const std::string& identity, const uint8_t* info,
                               uint32_t infoSize, uint16_t numFramesPerPacket) {
    deviceAt(device).repairPort(port, identity, info, infoSize, numFramesPerPacket);
}

void DeviceManager::unpairPort(uint32_t device, uint8_t port) {
    deviceAt(device).unpairPort(port);
    broadcast(DeviceEvent{DeviceEvent::PairingChanged, device, port});
}

void DeviceManager::portIdentity(uint32_t device, uint8_t port, std::vector<uint8_t>& data) {
    deviceAt(device).portIdentity(port, data);
}

uint16_t DeviceManager::framesPerPacket(uint32_t device, uint8_t port) {
    return deviceAt(device).framesPerPacket(port);
}

std::string DeviceManager::pairedTo(uint32_t device, uint8_t port) { return deviceAt(device).pairedTo(port); }

void DeviceManager::getPortConfig(uint32_t device, uint8_t port, uint16_t& width, uint16_t& height,
                                  uint32_t& pixelFormat, uint32_t& tapGeometry) {
    deviceAt(device).getPortConfig(port, width, height, pixelFormat, tapGeometry);
}

void DeviceManager::setPortConfig(uint32_t device, uint8_t port, uint16_t width, uint16_t height,
                                  uint32_t pixelFormat, uint32_t tapGeometry) {
    deviceAt(device).setPortConfig(port, width, height, pixelFormat, tapGeometry);
}

void DeviceManager::setup(uint32_t device) { deviceAt(device).setup(); }

void DeviceManager::startRecording(uint32_t device, uint32_t portMask, uint8_t externalTrigger, uint8_t type,
                                   uint64_t count, bool usePretrigger, uint64_t pretriggerCount) {
    deviceAt(device).startRecording(portMask, externalTrigger, type, count, usePretrigger, pretriggerCount);
    // The port field carries the mask of the recording, not a port number.
    broadcast(DeviceEvent{DeviceEvent::RecordingStarted, device, portMask});
}

void DeviceManager::stopRecording(uint32_t device) {
    deviceAt(device).stopRecording();
    broadcast(DeviceEvent{DeviceEvent::RecordingStopped, device, 0});
}

void DeviceManager::softwareTrigger(uint32_t device) { deviceAt(device).softwareTrigger(); }

bool DeviceManager::isRecordingDone(uint32_t device) { return deviceAt(device).isRecordingDone(); }

void DeviceManager::recordingFile(uint32_t device, uint8_t port, uint32_t& fileId, uint32_t& streamId) {
    deviceAt(device).recordingFile(port, fileId, streamId);
}

void DeviceManager::recordingProgress(uint32_t device, uint8_t port, uint64_t& numFrames, bool& inPretrigger) {
    deviceAt(device).recordingProgress(port, numFrames, inPretrigger);
}

void DeviceManager::renameFile(uint32_t device, uint32_t fileId, uint32_t streamId, const std::string& name,
                               bool notify) {
    deviceAt(device).renameFile(fileId, streamId, name);
    if (notify) {
        broadcast(DeviceEvent{DeviceEvent::FilesChanged, device, 0});
    }
}

std::string DeviceManager::setFileInfo(uint32_t device, uint32_t fileId, uint32_t streamId, const std::string& name,
                                       uint16_t width, uint16_t height, uint64_t numImages,
                                       uint64_t numDroppedFrames, uint64_t startTime, uint64_t endTime,
                                       uint64_t duration, bool notify) {
    std::string usedName = deviceAt(device).setFileInfo(fileId, streamId, name, width, height, numImages,
                                                        numDroppedFrames, startTime, endTime, duration);
    if (notify) {
        broadcast(DeviceEvent{DeviceEvent::FilesChanged, device, 0});
    }
    return usedName;
}

uint8_t DeviceManager::percentUsed(uint32_t device) { return deviceAt(device).percentUsed(); }

uint8_t DeviceManager::hardwareType(uint32_t device) { return deviceAt(device).hardwareType(); }

std::string DeviceManager::startLive(uint32_t device, uint8_t port) { return deviceAt(device).startLive(port); }

void DeviceManager::stopLive(uint32_t device, uint8_t port) { deviceAt(device).stopLive(port); }

void DeviceManager::liveFrame(uint32_t device, uint8_t port, uint16_t& width, uint16_t& height,
                              uint32_t& imageSize) {
    deviceAt(device).liveFrame(port, width, height, imageSize);
}

}  // namespace tavu
