#pragma once
#include "emulator/DeviceLock.h"
#include "emulator/EmulatorFolder.h"
#include "emulator/FrameFile.h"
#include "emulator/RecordingWorker.h"
#include "emulator/SplitReader.h"
#include "records/ConfigRecord.h"
#include "device/ITavuDevice.h"
#include "transport/SharedRegion.h"

#include <atomic>
#include <cstdint>
#include <span>
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
    void storePairing(std::span<const uint8_t> info, uint16_t numFramesPerPacket);

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
    SplitReader frameReader_;  // reads are serialised by lock_
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
