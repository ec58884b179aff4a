#pragma once
#include "emulator/DeviceLock.h"
#include "emulator/EmulatorFolder.h"
#include "emulator/FrameFile.h"
#include "emulator/RecordingWorker.h"
#include "records/ConfigRecord.h"
#include "device/ITavuDevice.h"
#include "transport/SharedRegion.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace tavu {

// A recorder with one port and no hardware: recordings are files of synthetic frames in a
// per-user folder, so that clients and everything above the device interface run on a machine
// without a recorder.
//
// It keeps two lists of the same record type. The catalogue (".files") indexes what lies on disk:
// an entry's name is the stem of its files. The visible list (one "<stem>.meta" per recording) is
// what the user sees and renames. fileId links the two, and every file operation wants both.
//
// Every operation but the constant ones takes the device lock; the record thread never does.
class TavuDeviceEmulator final : public ITavuDevice {
public:
    // Never fails on account of the folder: whatever cannot be read is left at its default.
    TavuDeviceEmulator();
    // A recording that was never stopped ends the process here (std::thread's destructor):
    // stopRecording is the only way to detach the record thread.
    ~TavuDeviceEmulator() override = default;
    TavuDeviceEmulator(const TavuDeviceEmulator&) = delete;
    TavuDeviceEmulator& operator=(const TavuDeviceEmulator&) = delete;

    std::string name() override;
    bool isConnected() override;
    bool hasIncompleteFile() override;
    void discardIncompleteFile() override;
    void startRecovery() override;
    void finishRecovery() override;
    void cancelRecovery() override;
    uint32_t recoveryStatus() override;
    std::string recoveryError() override;

    void serialOpen(uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) override;
    uint32_t serialGetBaudRate(uint8_t port) override;
    void serialSetBaudRate(uint8_t port, uint32_t baudRate) override;
    uint32_t serialRead(uint8_t port, uint8_t* buffer, uint32_t size) override;
    uint32_t serialWrite(uint8_t port, const uint8_t* buffer, uint32_t size) override;
    void serialClear(uint8_t port) override;
    void serialClose(uint8_t port) override;
    void registerRead(uint8_t port, uint32_t addr, uint8_t* buffer, uint32_t size) override;
    void registerWrite(uint8_t port, uint32_t addr, const uint8_t* buffer, uint32_t size) override;

    uint8_t portCount() override;
    std::string portName(uint8_t port) override;
    bool isCxp() override;

    std::vector<FileRecord> listFiles() override;
    void openFile(uint32_t& openFileId, std::string& mapping, uint32_t fileId, uint32_t streamId) override;
    void fileInfo(uint32_t openFileId, uint16_t& width, uint16_t& height, uint32_t& imageSize, uint64_t& numFrames,
                  uint64_t& size) override;
    void closeFile(uint32_t openFileId) override;
    void readFrame(uint32_t openFileId, uint64_t frame) override;
    void removeFile(uint32_t fileId, uint32_t streamId) override;
    void fileIdentity(uint32_t fileId, uint32_t streamId, std::vector<uint8_t>& data) override;

    void pairPort(uint8_t port, const std::string& identity, const uint8_t* info, uint32_t infoSize,
                  uint16_t numFramesPerPacket) override;
    void repairPort(uint8_t port, const std::string& identity, const uint8_t* info, uint32_t infoSize,
                    uint16_t numFramesPerPacket) override;
    void unpairPort(uint8_t port) override;
    void portIdentity(uint8_t port, std::vector<uint8_t>& data) override;
    uint16_t framesPerPacket(uint8_t port) override;
    std::string pairedTo(uint8_t port) override;
    void getPortConfig(uint8_t port, uint16_t& width, uint16_t& height, uint32_t& pixelFormat,
                       uint32_t& tapGeometry) override;
    void setPortConfig(uint8_t port, uint16_t width, uint16_t height, uint32_t pixelFormat,
                       uint32_t tapGeometry) override;

    void setup() override;
    void startRecording(uint32_t portMask, uint8_t externalTrigger, uint8_t type, uint64_t count, bool usePretrigger,
                        uint64_t pretriggerCount) override;
    void stopRecording() override;
    void softwareTrigger() override;
    bool isRecordingDone() override;
    void recordingFile(uint8_t port, uint32_t& fileId, uint32_t& streamId) override;
    void recordingProgress(uint8_t port, uint64_t& numFrames, bool& inPretrigger) override;

    void renameFile(uint32_t fileId, uint32_t streamId, const std::string& name) override;
    std::string setFileInfo(uint32_t fileId, uint32_t streamId, const std::string& name, uint16_t width,
                            uint16_t height, uint64_t numImages, uint64_t numDroppedFrames, uint64_t startTime,
                            uint64_t endTime, uint64_t duration) override;
    uint8_t percentUsed() override;
    uint8_t hardwareType() override;

    std::string startLive(uint8_t port) override;
    void stopLive(uint8_t port) override;
    void liveFrame(uint8_t port, uint16_t& width, uint16_t& height, uint32_t& imageSize) override;
    bool isRecording() override;

private:
    // A file id that no recording has: in a closed slot, and before the first recording or recovery.
    static constexpr uint32_t kNoFileId = 0xFFFFFFFF;

    // One playback: its index is the openFileId that clients hold. A slot is free exactly when
    // its file is closed. A failed open leaves the slot free but holding the fileId, which then
    // counts as open for removeFile until the slot is used again.
    struct PlaybackSlot {
        uint32_t fileId = kNoFileId;
        FrameFile file;
        SharedRegion region;
    };

    // The two records of one recording.
    struct FileEntries {
        std::vector<FileRecord>::iterator catalogue;
        std::vector<FileRecord>::iterator visible;
    };

    void loadCatalogue();
    void loadVisibleFiles();
    void loadPortConfig();
    PortRecord portRecord() const;
    void writePortConfig();
    void writeCatalogue();
    // Rewrites the description of a recording with its visible record.
    void writeDescription(const FileEntries& entries);

    FileEntries findFile(uint32_t fileId);
    PlaybackSlot& openSlot(uint32_t openFileId);
    uint32_t freeSlot();
    void storePairing(const uint8_t* info, uint32_t infoSize, uint16_t numFramesPerPacket);

    uint32_t nextFileId() const;
    FileRecord incompleteEntry() const;
    FileRecord visibleRecordOf(const FileRecord& entry) const;
    FileRecord recoveredRecord(const std::string& framePath) const;

    DeviceLock lock_;
    EmulatorFolder folder_;
    std::vector<FileRecord> visible_;
    std::string pairedTo_;
    // Atomic because the record thread reads it for each frame's header, without the lock.
    std::atomic<uint16_t> width_{0};
    uint16_t height_ = 0;
    uint32_t pixelFormat_ = 0;
    uint32_t tapGeometry_ = 0;
    std::vector<uint8_t> info_;
    uint16_t framesPerPacket_ = 0;
    std::vector<PlaybackSlot> slots_;  // never shrinks: indices are handed out
    std::vector<FileRecord> catalogue_;
    uint32_t recoveryFileId_ = kNoFileId;
    RecordingFlags recordingFlags_;
    uint32_t currentFileId_ = kNoFileId;
    SharedRegion liveRegion_;
    uint32_t liveCounter_ = 0;
    // Attached from startRecording to stopRecording, also after the worker ended by itself.
    // Last, so that it goes first: a worker still attached then ends the process before it could
    // use anything of a device being destroyed.
    std::thread recordThread_;
};

}  // namespace tavu
