#pragma once
#include "wire/DeviceEvent.h"
#include "registry/EventQueue.h"
#include "wire/FileRecord.h"
#include "device/DeviceSource.h"
#include "registry/GlobalLock.h"
#include "device/ITavuDevice.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tavu {

// The registry behind the commands: keeps the list of devices (an index, once given, names the
// same device for the life of the process), follows the devices that its source finds as they
// come and go, and hands events to the clients' queues.
//
// Lock order: `lock_`, then a device's mutex, then a queue's mutex. Device operations of the
// wrappers run without `lock_`, which is safe because devices live as long as the manager.
class DeviceManager {
public:
    DeviceManager() = default;
    DeviceManager(const DeviceManager&) = delete;
    DeviceManager& operator=(const DeviceManager&) = delete;
    ~DeviceManager();

    // The emulator, if any, becomes device 0; the recorders follow as their source finds them.
    void start(DeviceSources sources);
    // Harmless when repeated.
    void stop();
    // Stops every recording still running as stopRecording does, so that a service that is
    // asked to stop leaves nothing to recover. A device that fails is passed over.
    void stopRecordings();

    uint32_t deviceCount();
    // Throws "Invalid device index.".
    ITavuDevice& deviceAt(uint32_t index);

    // The advisory lock that clients hold across requests.
    void lockGlobal();
    void unlockGlobal();

    // Event queues of clients; an unknown or closed id throws "Inalid event queue id.".
    uint32_t createQueue();
    // Unless silent, the emptied queue gets a QueueClosed, which frees a reader blocked in it.
    void destroyQueue(uint32_t queueId, bool silent);
    // Waits at most EventQueue::ReadTimeout, without holding the manager's lock.
    void readEvent(uint32_t queueId, DeviceEvent& event);
    bool tryReadEvent(uint32_t queueId, DeviceEvent& event);
    void broadcast(const DeviceEvent& event);

    // Posts FilesChanged for the index without looking it up.
    void notifyFilesChanged(uint32_t device);

    // One wrapper per device operation: look the device up, call it without the manager's lock,
    // and post the operation's event only when the call returned.
    std::string name(uint32_t device);
    bool isConnected(uint32_t device);
    bool hasIncompleteFile(uint32_t device);
    void discardIncompleteFile(uint32_t device);
    void startRecovery(uint32_t device);
    void finishRecovery(uint32_t device);
    void cancelRecovery(uint32_t device);
    uint32_t recoveryStatus(uint32_t device);
    std::string recoveryError(uint32_t device);
    void serialOpen(uint32_t device, uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits);
    uint32_t serialGetBaudRate(uint32_t device, uint8_t port);
    void serialSetBaudRate(uint32_t device, uint8_t port, uint32_t baudRate);
    uint32_t serialRead(uint32_t device, uint8_t port, uint8_t* buffer, uint32_t size);
    uint32_t serialWrite(uint32_t device, uint8_t port, const uint8_t* buffer, uint32_t size);
    void serialClear(uint32_t device, uint8_t port);
    void serialClose(uint32_t device, uint8_t port);
    void registerRead(uint32_t device, uint8_t port, uint32_t addr, uint8_t* buffer, uint32_t size);
    void registerWrite(uint32_t device, uint8_t port, uint32_t addr, const uint8_t* buffer, uint32_t size);
    uint8_t portCount(uint32_t device);
    std::string portName(uint32_t device, uint8_t port);
    bool isCxp(uint32_t device);
    std::vector<FileRecord> listFiles(uint32_t device);
    void openFile(uint32_t device, uint32_t& openFileId, std::string& mapping, uint32_t fileId, uint32_t streamId);
    void fileInfo(uint32_t device, uint32_t openFileId, uint16_t& width, uint16_t& height, uint32_t& imageSize,
                  uint64_t& numFrames, uint64_t& size);
    void closeFile(uint32_t device, uint32_t openFileId);
    void readFrame(uint32_t device, uint32_t openFileId, uint64_t frame);
    void removeFile(uint32_t device, uint32_t fileId, uint32_t streamId);
    void fileIdentity(uint32_t device, uint32_t fileId, uint32_t streamId, std::vector<uint8_t>& data);
    void pairPort(uint32_t device, uint8_t port, const std::string& identity, const uint8_t* info, uint32_t infoSize,
                  uint16_t numFramesPerPacket);
    void repairPort(uint32_t device, uint8_t port, const std::string& identity, const uint8_t* info,
                    uint32_t infoSize, uint16_t numFramesPerPacket);
    void unpairPort(uint32_t device, uint8_t port);
    void portIdentity(uint32_t device, uint8_t port, std::vector<uint8_t>& data);
    uint16_t framesPerPacket(uint32_t device, uint8_t port);
    std::string pairedTo(uint32_t device, uint8_t port);
    void getPortConfig(uint32_t device, uint8_t port, uint16_t& width, uint16_t& height, uint32_t& pixelFormat,
                       uint32_t& tapGeometry);
    void setPortConfig(uint32_t device, uint8_t port, uint16_t width, uint16_t height, uint32_t pixelFormat,
                       uint32_t tapGeometry);
    void setup(uint32_t device);
    void startRecording(uint32_t device, uint32_t portMask, uint8_t externalTrigger, uint8_t type, uint64_t count,
                        bool usePretrigger, uint64_t pretriggerCount);
    void stopRecording(uint32_t device);
    void softwareTrigger(uint32_t device);
    bool isRecordingDone(uint32_t device);
    void recordingFile(uint32_t device, uint8_t port, uint32_t& fileId, uint32_t& streamId);
    void recordingProgress(uint32_t device, uint8_t port, uint64_t& numFrames, bool& inPretrigger);
    void renameFile(uint32_t device, uint32_t fileId, uint32_t streamId, const std::string& name, bool notify);
    std::string setFileInfo(uint32_t device, uint32_t fileId, uint32_t streamId, const std::string& name,
                            uint16_t width, uint16_t height, uint64_t numImages, uint64_t numDroppedFrames,
                            uint64_t startTime, uint64_t endTime, uint64_t duration, bool notify);
    uint8_t percentUsed(uint32_t device);
    uint8_t hardwareType(uint32_t device);
    std::string startLive(uint32_t device, uint8_t port);
    void stopLive(uint32_t device, uint8_t port);
    void liveFrame(uint32_t device, uint8_t port, uint16_t& width, uint16_t& height, uint32_t& imageSize);

private:
    struct QueueSlot {
        bool inUse = false;
        EventQueue queue;
    };
    void runUpdates();
    void updateDevices();
    EventQueue& queueInUse(uint32_t queueId);

    // Declaration order is destruction order in reverse: queue slots go before devices, and
    // devices before their source, whose library objects they share.
    std::mutex lock_;
    std::unique_ptr<DeviceSource> recorders_;
    std::vector<std::unique_ptr<ITavuDevice>> devices_;
    std::vector<std::unique_ptr<QueueSlot>> queueSlots_;  // never shrinks; readers keep references
    std::thread updateThread_;
    EventQueue updateQueue_;
    GlobalLock globalLock_;
};

}  // namespace tavu
