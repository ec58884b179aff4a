#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "client/Connection.h"
#include "wire/Types.h"
#include "wire/DeviceEvent.h"
#include "wire/FileRecord.h"

namespace tavu::client {

// Typed calls of the service's commands, one per command, on one connection. A call blocks
// until its reply is in. Failures: ServiceError with the service's own text, ConnectionError
// when the connection is gone; NoServiceError from the constructor.
//
// What a connection holds (open files, live views, its event queue, the global lock) the
// service gives back when the connection ends. Recordings belong to the device and run on.
// Not thread-safe: one Client per thread, or a lock around it.
class Client {
public:
    explicit Client(const ConnectOptions& options = {});

    const std::string& socketPath() const { return connection_.socketPath(); }

    // Event queues. A connection can have one; readEvent waits up to half a second and then
    // gives an event of type DeviceEvent::NoEvent.
    uint32_t createEventQueue();
    void destroyEventQueue(uint32_t queueId);
    DeviceEvent readEvent(uint32_t queueId);
    std::optional<DeviceEvent> tryReadEvent(uint32_t queueId);

    // Devices. A device index stays valid for the life of the service.
    uint32_t deviceCount();
    std::string deviceName(uint32_t device);
    bool deviceConnected(uint32_t device);
    bool isCxp(uint32_t device);
    uint8_t portCount(uint32_t device);
    std::string portName(uint32_t device, uint8_t port);
    uint8_t percentUsed(uint32_t device);
    uint8_t hardwareType(uint32_t device);
    // Tells every client that the device's files changed; the device isn't looked up.
    void notifyFilesChanged(uint32_t device);
    // An advisory lock among clients; blocks while another connection holds it.
    void lockGlobal();
    void unlockGlobal();

    // Serial channel and camera registers of a port.
    void serialOpen(uint32_t device, uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits);
    uint32_t serialGetBaudRate(uint32_t device, uint8_t port);
    void serialSetBaudRate(uint32_t device, uint8_t port, uint32_t baudRate);
    // Up to size bytes; fewer when fewer are waiting.
    std::vector<uint8_t> serialRead(uint32_t device, uint8_t port, uint32_t size);
    // The number of bytes the device took.
    uint32_t serialWrite(uint32_t device, uint8_t port, std::span<const uint8_t> data);
    void serialClear(uint32_t device, uint8_t port);
    void serialClose(uint32_t device, uint8_t port);
    std::vector<uint8_t> registerRead(uint32_t device, uint8_t port, uint32_t address, uint32_t size);
    void registerWrite(uint32_t device, uint8_t port, uint32_t address, std::span<const uint8_t> data);

    // Recordings and playback. Frames arrive in the shared region named by OpenedFile::mapping
    // (see FrameView and Playback), never on the socket.
    std::vector<FileRecord> listFiles(uint32_t device);
    OpenedFile openFile(uint32_t device, uint32_t fileId, uint32_t streamId);
    OpenFileInfo fileInfo(uint32_t device, uint32_t openFileId);
    void closeFile(uint32_t device, uint32_t openFileId);
    void readFrame(uint32_t device, uint32_t openFileId, uint64_t frame);
    void removeFile(uint32_t device, uint32_t fileId, uint32_t streamId);
    std::vector<uint8_t> fileIdentity(uint32_t device, uint32_t fileId, uint32_t streamId);
    void renameFile(uint32_t device, uint32_t fileId, uint32_t streamId, const std::string& name, bool notify);
    // Returns the name the device finally gave the recording.
    std::string setFileInfo(uint32_t device, uint32_t fileId, uint32_t streamId, const FileInfoUpdate& update);

    // Pairing and configuration of ports.
    void setup(uint32_t device);
    void pairPort(uint32_t device, uint8_t port, const std::string& camera, std::span<const uint8_t> info,
                  uint16_t framesPerPacket);
    std::string pairedTo(uint32_t device, uint8_t port);
    void repairPort(uint32_t device, uint8_t port, const std::string& camera, std::span<const uint8_t> info,
                    uint16_t framesPerPacket);
    void unpairPort(uint32_t device, uint8_t port);
    std::vector<uint8_t> portIdentity(uint32_t device, uint8_t port);
    uint16_t framesPerPacket(uint32_t device, uint8_t port);
    PortConfig getPortConfig(uint32_t device, uint8_t port);
    void setPortConfig(uint32_t device, uint8_t port, const PortConfig& config);

    // Recording. stopRecording finalises the files; call it after every successful start.
    void startRecording(uint32_t device, const RecordingRequest& request);
    void stopRecording(uint32_t device);
    void softwareTrigger(uint32_t device);
    bool isRecordingDone(uint32_t device);
    RecordingFile recordingFile(uint32_t device, uint8_t port);
    RecordingProgress recordingProgress(uint32_t device, uint8_t port);

    // Recovery of a recording that was cut off.
    bool hasIncompleteFile(uint32_t device);
    void discardIncompleteFile(uint32_t device);
    void startRecovery(uint32_t device);
    void cancelRecovery(uint32_t device);
    RecoveryStatus recoveryStatus(uint32_t device);
    std::string recoveryError(uint32_t device);
    void finishRecovery(uint32_t device);

    // Live view; the frames arrive in the shared region whose name startLive returns.
    std::string startLive(uint32_t device, uint8_t port);
    void stopLive(uint32_t device, uint8_t port);
    FrameGeometry liveFrame(uint32_t device, uint8_t port);

private:
    Connection connection_;
};

}  // namespace tavu::client
