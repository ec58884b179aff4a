#pragma once
#include "hardware/HardwareDevice.h"

#include <gmock/gmock.h>

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace tavu::test {

// The device operations are mocks; the steps of the list update are recorded by hand, and each
// can be made to fail.
class MockHardwareDevice : public HardwareDevice {
public:
    MOCK_METHOD(std::string, name, (), (override));
    MOCK_METHOD(bool, isConnected, (), (override));
    MOCK_METHOD(bool, hasIncompleteFile, (), (override));
    MOCK_METHOD(void, discardIncompleteFile, (), (override));
    MOCK_METHOD(void, startRecovery, (), (override));
    MOCK_METHOD(void, finishRecovery, (), (override));
    MOCK_METHOD(void, cancelRecovery, (), (override));
    MOCK_METHOD(RecoveryStatus, recoveryStatus, (), (override));
    MOCK_METHOD(std::string, recoveryError, (), (override));
    MOCK_METHOD(void, serialOpen, (uint8_t, uint32_t, uint8_t, uint8_t), (override));
    MOCK_METHOD(uint32_t, serialGetBaudRate, (uint8_t), (override));
    MOCK_METHOD(void, serialSetBaudRate, (uint8_t, uint32_t), (override));
    MOCK_METHOD(uint32_t, serialRead, (uint8_t, uint8_t*, uint32_t));
    MOCK_METHOD(uint32_t, serialWrite, (uint8_t, const uint8_t*, uint32_t));
    MOCK_METHOD(void, serialClear, (uint8_t), (override));
    MOCK_METHOD(void, serialClose, (uint8_t), (override));
    MOCK_METHOD(void, registerRead, (uint8_t, uint32_t, uint8_t*, uint32_t));
    MOCK_METHOD(void, registerWrite, (uint8_t, uint32_t, const uint8_t*, uint32_t));
    MOCK_METHOD(uint8_t, portCount, (), (override));
    MOCK_METHOD(std::string, portName, (uint8_t), (override));
    MOCK_METHOD(bool, isCxp, (), (override));
    MOCK_METHOD(std::vector<FileRecord>, listFiles, (), (override));
    MOCK_METHOD(void, openFile, (uint32_t&, std::string&, uint32_t, uint32_t));
    MOCK_METHOD(void, fileInfo, (uint32_t, uint16_t&, uint16_t&, uint32_t&, uint64_t&, uint64_t&));
    MOCK_METHOD(void, closeFile, (uint32_t), (override));
    MOCK_METHOD(void, readFrame, (uint32_t, uint64_t), (override));
    MOCK_METHOD(void, removeFile, (uint32_t, uint32_t), (override));
    MOCK_METHOD(void, fileIdentity, (uint32_t, uint32_t, std::vector<uint8_t>&));
    MOCK_METHOD(void, pairPort, (uint8_t, const std::string&, const uint8_t*, uint32_t, uint16_t));
    MOCK_METHOD(void, repairPort, (uint8_t, const std::string&, const uint8_t*, uint32_t, uint16_t));
    MOCK_METHOD(void, unpairPort, (uint8_t), (override));
    MOCK_METHOD(void, portIdentity, (uint8_t, std::vector<uint8_t>&));
    MOCK_METHOD(uint16_t, framesPerPacket, (uint8_t), (override));
    MOCK_METHOD(std::string, pairedTo, (uint8_t), (override));
    MOCK_METHOD(void, getPortConfig, (uint8_t, uint16_t&, uint16_t&, uint32_t&, uint32_t&));
    MOCK_METHOD(void, setPortConfig, (uint8_t, uint16_t, uint16_t, uint32_t, uint32_t));
    MOCK_METHOD(void, setup, (), (override));
    MOCK_METHOD(void, startRecording, (uint32_t, uint8_t, uint8_t, uint64_t, bool, uint64_t));
    MOCK_METHOD(void, stopRecording, (), (override));
    MOCK_METHOD(void, softwareTrigger, (), (override));
    MOCK_METHOD(bool, isRecordingDone, (), (override));
    MOCK_METHOD(void, recordingFile, (uint8_t, uint32_t&, uint32_t&));
    MOCK_METHOD(void, recordingProgress, (uint8_t, uint64_t&, bool&));
    MOCK_METHOD(void, renameFile, (uint32_t, uint32_t, const std::string&), (override));
    MOCK_METHOD(std::string, setFileInfo,
                (uint32_t, uint32_t, const std::string&, uint16_t, uint16_t, uint64_t, uint64_t, uint64_t, uint64_t,
                 uint64_t));
    MOCK_METHOD(uint8_t, percentUsed, (), (override));
    MOCK_METHOD(uint8_t, hardwareType, (), (override));
    MOCK_METHOD(std::string, startLive, (uint8_t), (override));
    MOCK_METHOD(void, stopLive, (uint8_t), (override));
    MOCK_METHOD(void, liveFrame, (uint8_t, uint16_t&, uint16_t&, uint32_t&));
    MOCK_METHOD(bool, isRecording, (), (override));

    // The operations that take or give values, passed on to mocks of the argument lists above.
    uint32_t serialRead(uint8_t port, std::span<uint8_t> buffer) override {
        return serialRead(port, buffer.data(), static_cast<uint32_t>(buffer.size()));
    }
    uint32_t serialWrite(uint8_t port, std::span<const uint8_t> data) override {
        return serialWrite(port, data.data(), static_cast<uint32_t>(data.size()));
    }
    void registerRead(uint8_t port, uint32_t addr, std::span<uint8_t> buffer) override {
        registerRead(port, addr, buffer.data(), static_cast<uint32_t>(buffer.size()));
    }
    void registerWrite(uint8_t port, uint32_t addr, std::span<const uint8_t> data) override {
        registerWrite(port, addr, data.data(), static_cast<uint32_t>(data.size()));
    }
    OpenedFile openFile(uint32_t fileId, uint32_t streamId) override {
        OpenedFile opened;
        openFile(opened.openFileId, opened.mapping, fileId, streamId);
        return opened;
    }
    OpenFileInfo fileInfo(uint32_t openFileId) override {
        OpenFileInfo info;
        fileInfo(openFileId, info.width, info.height, info.imageSize, info.numFrames, info.size);
        return info;
    }
    std::vector<uint8_t> fileIdentity(uint32_t fileId, uint32_t streamId) override {
        std::vector<uint8_t> data;
        fileIdentity(fileId, streamId, data);
        return data;
    }
    void pairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                  uint16_t numFramesPerPacket) override {
        pairPort(port, identity, info.data(), static_cast<uint32_t>(info.size()), numFramesPerPacket);
    }
    void repairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                    uint16_t numFramesPerPacket) override {
        repairPort(port, identity, info.data(), static_cast<uint32_t>(info.size()), numFramesPerPacket);
    }
    std::vector<uint8_t> portIdentity(uint8_t port) override {
        std::vector<uint8_t> data;
        portIdentity(port, data);
        return data;
    }
    PortConfig getPortConfig(uint8_t port) override {
        PortConfig config;
        getPortConfig(port, config.width, config.height, config.pixelFormat, config.tapGeometry);
        return config;
    }
    void setPortConfig(uint8_t port, const PortConfig& config) override {
        setPortConfig(port, config.width, config.height, config.pixelFormat, config.tapGeometry);
    }
    void startRecording(const RecordingRequest& request) override {
        startRecording(request.portMask, request.externalTrigger, static_cast<uint8_t>(request.type), request.count,
                       request.usePretrigger, request.pretriggerCount);
    }
    RecordingFile recordingFile(uint8_t port) override {
        RecordingFile file;
        recordingFile(port, file.fileId, file.streamId);
        return file;
    }
    RecordingProgress recordingProgress(uint8_t port) override {
        RecordingProgress progress;
        recordingProgress(port, progress.numFrames, progress.inPretrigger);
        return progress;
    }
    std::string setFileInfo(uint32_t fileId, uint32_t streamId, const FileInfoUpdate& update) override {
        return setFileInfo(fileId, streamId, update.name, update.width, update.height, update.numImages,
                           update.numDroppedFrames, update.startTime, update.endTime, update.duration);
    }
    FrameGeometry liveFrame(uint8_t port) override {
        FrameGeometry frame;
        liveFrame(port, frame.width, frame.height, frame.imageSize);
        return frame;
    }

    uint32_t collectionIndex() override { return index; }
    void identify(const std::string& newName, uint32_t newIndex) override {
        identifiedName = newName;
        index = newIndex;
    }
    void foundDisconnected(boost::shared_ptr<Quillon::DeviceCollection> collection) override {
        heldCollection = std::move(collection);
        ++foundDisconnectedCalls;
    }
    void connect(boost::shared_ptr<Quillon::DeviceCollection> collection, uint32_t collectionIndex) override {
        heldCollection = std::move(collection);
        connectedIndex = collectionIndex;
        ++connectCalls;
        failIfAsked(connectFailure);
    }
    void reconnect() override {
        ++reconnectCalls;
        failIfAsked(reconnectFailure);
    }
    void markDisconnected() override {
        ++markDisconnectedCalls;
        failIfAsked(markDisconnectedFailure);
    }

    std::string identifiedName;
    uint32_t index = 0xFFFFFFFF;
    uint32_t connectedIndex = 0xFFFFFFFF;
    boost::shared_ptr<Quillon::DeviceCollection> heldCollection;
    int foundDisconnectedCalls = 0;
    int connectCalls = 0;
    int reconnectCalls = 0;
    int markDisconnectedCalls = 0;
    std::function<void()> connectFailure;
    std::function<void()> reconnectFailure;
    std::function<void()> markDisconnectedFailure;

private:
    static void failIfAsked(const std::function<void()>& failure) {
        if (failure) {
            failure();
        }
    }
};

}  // namespace tavu::test
