#pragma once
#include "wire/FileRecord.h"
#include "wire/Types.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavu {

// The one abstract device behind every command. The order of the operations is the interface's own
// and both implementations are written against it: keep it.
//
// Conventions: every failure is thrown (std::runtime_error with this system's texts, or
// Common::GeneralException from the recorder library); results come back as values (wire/Types.h);
// input blocks come as spans that need not outlive the call. Implementations serialise operations
// on their own device mutex.
class ITavuDevice {
public:
    virtual ~ITavuDevice() = default;

    virtual std::string name() = 0;
    virtual bool isConnected() = 0;
    virtual bool hasIncompleteFile() = 0;
    virtual void discardIncompleteFile() = 0;
    virtual void startRecovery() = 0;
    virtual void finishRecovery() = 0;
    virtual void cancelRecovery() = 0;
    virtual RecoveryStatus recoveryStatus() = 0;
    virtual std::string recoveryError() = 0;

    virtual void serialOpen(uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) = 0;
    virtual uint32_t serialGetBaudRate(uint8_t port) = 0;
    virtual void serialSetBaudRate(uint8_t port, uint32_t baudRate) = 0;
    // Returns how many bytes of the buffer were filled.
    virtual uint32_t serialRead(uint8_t port, std::span<uint8_t> buffer) = 0;
    virtual uint32_t serialWrite(uint8_t port, std::span<const uint8_t> data) = 0;
    virtual void serialClear(uint8_t port) = 0;
    virtual void serialClose(uint8_t port) = 0;
    // Fills the whole buffer or throws.
    virtual void registerRead(uint8_t port, uint32_t addr, std::span<uint8_t> buffer) = 0;
    virtual void registerWrite(uint8_t port, uint32_t addr, std::span<const uint8_t> data) = 0;

    virtual uint8_t portCount() = 0;
    virtual std::string portName(uint8_t port) = 0;
    virtual bool isCxp() = 0;

    virtual std::vector<FileRecord> listFiles() = 0;
    virtual OpenedFile openFile(uint32_t fileId, uint32_t streamId) = 0;
    virtual OpenFileInfo fileInfo(uint32_t openFileId) = 0;
    virtual void closeFile(uint32_t openFileId) = 0;
    virtual void readFrame(uint32_t openFileId, uint64_t frame) = 0;
    virtual void removeFile(uint32_t fileId, uint32_t streamId) = 0;
    virtual std::vector<uint8_t> fileIdentity(uint32_t fileId, uint32_t streamId) = 0;

    virtual void pairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                          uint16_t numFramesPerPacket) = 0;
    virtual void repairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                            uint16_t numFramesPerPacket) = 0;
    virtual void unpairPort(uint8_t port) = 0;
    virtual std::vector<uint8_t> portIdentity(uint8_t port) = 0;
    virtual uint16_t framesPerPacket(uint8_t port) = 0;
    virtual std::string pairedTo(uint8_t port) = 0;
    virtual PortConfig getPortConfig(uint8_t port) = 0;
    virtual void setPortConfig(uint8_t port, const PortConfig& config) = 0;

    virtual void setup() = 0;
    virtual void startRecording(const RecordingRequest& request) = 0;
    virtual void stopRecording() = 0;
    virtual void softwareTrigger() = 0;
    virtual bool isRecordingDone() = 0;
    virtual RecordingFile recordingFile(uint8_t port) = 0;
    virtual RecordingProgress recordingProgress(uint8_t port) = 0;

    virtual void renameFile(uint32_t fileId, uint32_t streamId, const std::string& name) = 0;
    // Returns the name finally used, which may differ from the one asked for.
    virtual std::string setFileInfo(uint32_t fileId, uint32_t streamId, const FileInfoUpdate& update) = 0;
    virtual uint8_t percentUsed() = 0;
    // One of HardwareType.
    virtual uint8_t hardwareType() = 0;

    // Returns the name of the shared region that liveFrame fills.
    virtual std::string startLive(uint8_t port) = 0;
    virtual void stopLive(uint8_t port) = 0;
    virtual FrameGeometry liveFrame(uint8_t port) = 0;

    // No command asks this: true from startRecording until stopRecording, also once the recording
    // has reached its limit, so that a stopping service can finish what is left.
    virtual bool isRecording() = 0;
};

}  // namespace tavu
