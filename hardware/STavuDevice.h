#pragma once
#include "hardware/OpenFileSlot.h"
#include "hardware/PortState.h"
#include "library/Device.h"
#include "library/DeviceCollection.h"
#include "library/DriveFile.h"
#include "library/DriveSet.h"
#include "library/Record.h"
#include "wire/FileRecord.h"
#include "hardware/HardwareDevice.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace tavu {

// A real recorder, one index of the library's device collection, driven through the recorder
// library. Library handles are fetched anew by each operation and dropped at its end; only the
// collection is kept. Every operation holds the device mutex for its whole length, library calls
// and drive writes included, except where it hands over to a port's own lock.
//
// The sources are split by concern: STavuDevice.cpp (connection and enquiries),
// STavuDevicePorts.cpp (port description and drive set setup), STavuDevicePairing.cpp (pairing,
// configuration and the record files), STavuDeviceRecording.cpp (recording and its stop),
// STavuDeviceRecovery.cpp, STavuDeviceFiles.cpp (the catalogue), STavuDevicePlayback.cpp,
// STavuDeviceLive.cpp and STavuDeviceSerial.cpp (serial and registers).
class STavuDevice : public HardwareDevice {
public:
    STavuDevice() = default;
    STavuDevice(const STavuDevice&) = delete;
    STavuDevice& operator=(const STavuDevice&) = delete;
    // Releases handles and the port table; stops nothing in the recorder.
    ~STavuDevice() override = default;

    // HardwareDevice: the steps of the manager's device list update.
    uint32_t collectionIndex() override;
    void identify(const std::string& name, uint32_t collectionIndex) override;
    void foundDisconnected(boost::shared_ptr<Quillon::DeviceCollection> collection) override;
    void connect(boost::shared_ptr<Quillon::DeviceCollection> collection, uint32_t collectionIndex) override;
    void reconnect() override;
    void markDisconnected() override;

    std::string name() override;
    bool isConnected() override;
    bool hasIncompleteFile() override;
    void discardIncompleteFile() override;
    void startRecovery() override;
    void finishRecovery() override;
    void cancelRecovery() override;
    RecoveryStatus recoveryStatus() override;
    std::string recoveryError() override;

    void serialOpen(uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) override;
    uint32_t serialGetBaudRate(uint8_t port) override;
    void serialSetBaudRate(uint8_t port, uint32_t baudRate) override;
    uint32_t serialRead(uint8_t port, std::span<uint8_t> buffer) override;
    uint32_t serialWrite(uint8_t port, std::span<const uint8_t> data) override;
    void serialClear(uint8_t port) override;
    void serialClose(uint8_t port) override;
    void registerRead(uint8_t port, uint32_t addr, std::span<uint8_t> buffer) override;
    void registerWrite(uint8_t port, uint32_t addr, std::span<const uint8_t> data) override;

    uint8_t portCount() override;
    std::string portName(uint8_t port) override;
    bool isCxp() override;

    std::vector<FileRecord> listFiles() override;
    OpenedFile openFile(uint32_t fileId, uint32_t streamId) override;
    OpenFileInfo fileInfo(uint32_t openFileId) override;
    void closeFile(uint32_t openFileId) override;
    void readFrame(uint32_t openFileId, uint64_t frame) override;
    void removeFile(uint32_t fileId, uint32_t streamId) override;
    std::vector<uint8_t> fileIdentity(uint32_t fileId, uint32_t streamId) override;

    void pairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                  uint16_t numFramesPerPacket) override;
    void repairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                    uint16_t numFramesPerPacket) override;
    void unpairPort(uint8_t port) override;
    std::vector<uint8_t> portIdentity(uint8_t port) override;
    uint16_t framesPerPacket(uint8_t port) override;
    std::string pairedTo(uint8_t port) override;
    PortConfig getPortConfig(uint8_t port) override;
    void setPortConfig(uint8_t port, const PortConfig& config) override;

    void setup() override;
    void startRecording(const RecordingRequest& request) override;
    void stopRecording() override;
    void softwareTrigger() override;
    bool isRecordingDone() override;
    RecordingFile recordingFile(uint8_t port) override;
    RecordingProgress recordingProgress(uint8_t port) override;

    void renameFile(uint32_t fileId, uint32_t streamId, const std::string& name) override;
    std::string setFileInfo(uint32_t fileId, uint32_t streamId, const FileInfoUpdate& update) override;
    uint8_t percentUsed() override;
    uint8_t hardwareType() override;

    std::string startLive(uint8_t port) override;
    void stopLive(uint8_t port) override;
    FrameGeometry liveFrame(uint8_t port) override;

    bool isRecording() override;

private:
    // All of these expect the device mutex to be held.
    boost::shared_ptr<Quillon::Device> libraryDevice();
    // Throws "Invalid port index.".
    PortState& portAt(uint8_t port);

    // Connection.
    void buildPortTable(Quillon::Device& device);
    // The catalogue, the stored port configuration and its reapplication. A failure is printed and
    // ends this step only.
    void restoreStoredState(Quillon::Device& device);
    void configureStoredPorts(Quillon::Device& device);
    void refreshConnectionState(Quillon::Device& device);
    bool hasIncompleteFileNow(Quillon::Device& device);
    void scanCatalogue(Quillon::Device& device);

    // The catalogue and the drive files held open.
    // Shares the device's entry for the file, opening the file when none is held.
    DriveFileShare acquireDriveFile(uint32_t fileId);
    // Edits the metadata record of the pair in its drive file, then the catalogue's copy if there
    // is one. Throws "File not found." when the file's metadata lacks the pair.
    void editRecord(uint32_t fileId, uint32_t streamId, const std::function<void(FileRecord&)>& change);

    // Playback. Throws "Invalid file id." for an id that is not open.
    OpenFileSlot& openSlot(uint32_t openFileId);
    OpenFileSlot& freeSlot();
    OpenStreamShare acquireStream(DriveFileHandle& file, uint32_t streamId);

    // Describes the port to the recorder and ties it to the drive set, making the set if there is
    // none; then stores the values in the port.
    void configurePort(Quillon::Device& device, uint32_t port, uint16_t width, uint16_t height,
                       uint32_t pixelFormat, uint32_t tapGeometry);

    // Pairing and the record files on the drive set.
    void storePairing(uint8_t port, std::span<const uint8_t> info, uint16_t numFramesPerPacket);
    void writeConfigRecord(Quillon::Device& device);
    // Throws "no config file." when the drive set has none.
    void readConfigRecord(Quillon::Device& device);
    void writePairRecord(Quillon::Device& device, uint8_t port, std::span<const uint8_t> block);
    void readPairRecord(Quillon::Device& device, uint8_t port);

    // Recording.
    void wakeUpSilentCameras(Quillon::Device& device, uint32_t portMask);
    void addPortsToRecord(Quillon::Device& device, Quillon::Record& record, uint32_t portMask,
                          std::vector<bool>& wasGrabbing);
    RecordingProgress portProgress(Quillon::Device& device, uint32_t port);
    void finaliseFile(Quillon::DriveSet& driveSet, uint32_t fileId, const std::vector<uint32_t>& filePorts,
                      const std::vector<bool>& stillGrabbing);
    // The catalogue entry of one recorded stream of the port.
    FileRecord streamRecord(uint32_t port, uint32_t fileId, uint32_t streamId, uint64_t numFrames,
                            uint64_t timestamp, const std::string& camera) const;
    boost::shared_ptr<Quillon::DriveSet> recoveryDriveSet();

    uint32_t deviceIndex_ = 0xFFFFFFFF;
    std::string name_;
    std::mutex lock_;
    boost::shared_ptr<Quillon::DeviceCollection> collection_;
    std::unique_ptr<PortState[]> ports_;
    uint64_t portCount_ = 0;
    // Before the slots, which hold shares of its entries.
    OpenHandles handles_;
    std::vector<OpenFileSlot> openFiles_;
    std::vector<FileRecord> catalogue_;
    // Capacity of the drive set at the start of a recording, for the estimate of percentUsed.
    uint64_t usedBytesAtStart_ = 0;
    uint64_t totalBytesAtStart_ = 0;
    bool recordingActive_ = false;
    boost::shared_ptr<Quillon::Recovery> recovery_;
    RecoveryStatus recoveryStatusValue_ = RecoveryStatus::NotRun;
    std::string recoveryErrorText_;
    uint32_t incompleteFileId_ = 0;
    // The result of the last connection step; isConnected asks the library instead.
    bool connected_ = false;
    uint64_t recordStartTime_ = 0;
};

}  // namespace tavu
