#pragma once
#include "wire/FileRecord.h"
#include "wire/Types.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tavu {

// The one abstract device behind every command. The order of the operations is the interface's own
// and both implementations are written against it: keep it.
//
// Conventions: every failure is thrown (std::runtime_error with this system's texts, or
// Common::GeneralException from the recorder library); reference arguments are outputs; input
// blocks come as pointer and size; blocks handed back are vectors owned by the caller.
// Implementations serialise operations on their own device mutex.
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
    // 0 none ran, 1 running, 2 failed (see recoveryError), 3 done, 4 cancelled.
    virtual uint32_t recoveryStatus() = 0;
    virtual std::string recoveryError() = 0;

    virtual void serialOpen(uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) = 0;
    virtual uint32_t serialGetBaudRate(uint8_t port) = 0;
    virtual void serialSetBaudRate(uint8_t port, uint32_t baudRate) = 0;
    virtual uint32_t serialRead(uint8_t port, uint8_t* buffer, uint32_t size) = 0;
    virtual uint32_t serialWrite(uint8_t port, const uint8_t* buffer, uint32_t size) = 0;
    virtual void serialClear(uint8_t port) = 0;
    virtual void serialClose(uint8_t port) = 0;
    virtual void registerRead(uint8_t port, uint32_t addr, uint8_t* buffer, uint32_t size) = 0;
    virtual void registerWrite(uint8_t port, uint32_t addr, const uint8_t* buffer, uint32_t size) = 0;

    virtual uint8_t portCount() = 0;
    virtual std::string portName(uint8_t port) = 0;
    virtual bool isCxp() = 0;

    virtual std::vector<FileRecord> listFiles() = 0;
    virtual void openFile(uint32_t& openFileId, std::string& mapping, uint32_t fileId, uint32_t streamId) = 0;
    virtual void fileInfo(uint32_t openFileId, uint16_t& width, uint16_t& height, uint32_t& imageSize,
                          uint64_t& numFrames, uint64_t& size) = 0;
    virtual void closeFile(uint32_t openFileId) = 0;
    virtual void readFrame(uint32_t openFileId, uint64_t frame) = 0;
    virtual void removeFile(uint32_t fileId, uint32_t streamId) = 0;
    virtual void fileIdentity(uint32_t fileId, uint32_t streamId, std::vector<uint8_t>& data) = 0;

    virtual void pairPort(uint8_t port, const std::string& identity, const uint8_t* info, uint32_t infoSize,
                          uint16_t numFramesPerPacket) = 0;
    virtual void repairPort(uint8_t port, const std::string& identity, const uint8_t* info, uint32_t infoSize,
                            uint16_t numFramesPerPacket) = 0;
    virtual void unpairPort(uint8_t port) = 0;
    virtual void portIdentity(uint8_t port, std::vector<uint8_t>& data) = 0;
    virtual uint16_t framesPerPacket(uint8_t port) = 0;
    virtual std::string pairedTo(uint8_t port) = 0;
    virtual void getPortConfig(uint8_t port, uint16_t& width, uint16_t& height, uint32_t& pixelFormat,
                               uint32_t& tapGeometry) = 0;
    virtual void setPortConfig(uint8_t port, uint16_t width, uint16_t height, uint32_t pixelFormat,
                               uint32_t tapGeometry) = 0;

    virtual void setup() = 0;
    virtual void startRecording(uint32_t portMask, uint8_t externalTrigger, uint8_t type, uint64_t count,
                                bool usePretrigger, uint64_t pretriggerCount) = 0;
    virtual void stopRecording() = 0;
    virtual void softwareTrigger() = 0;
    virtual bool isRecordingDone() = 0;
    virtual void recordingFile(uint8_t port, uint32_t& fileId, uint32_t& streamId) = 0;
    virtual void recordingProgress(uint8_t port, uint64_t& numFrames, bool& inPretrigger) = 0;

    virtual void renameFile(uint32_t fileId, uint32_t streamId, const std::string& name) = 0;
    // Returns the name finally used, which may differ from the one asked for.
    virtual std::string setFileInfo(uint32_t fileId, uint32_t streamId, const std::string& name, uint16_t width,
                                    uint16_t height, uint64_t numImages, uint64_t numDroppedFrames,
                                    uint64_t startTime, uint64_t endTime, uint64_t duration) = 0;
    virtual uint8_t percentUsed() = 0;
    virtual uint8_t hardwareType() = 0;

    // Returns the name of the shared region that liveFrame fills.
    virtual std::string startLive(uint8_t port) = 0;
    virtual void stopLive(uint8_t port) = 0;
    virtual void liveFrame(uint8_t port, uint16_t& width, uint16_t& height, uint32_t& imageSize) = 0;

    // No command asks this: true from startRecording until stopRecording, also once the recording
    // has reached its limit, so that a stopping service can finish what is left.
    virtual bool isRecording() = 0;
};

}  // namespace tavu
