#pragma once
#include "library/DriveFile.h"
#include "sim/RecordingFormat.h"
#include "sim/Recorder.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sim {

// The repair of a recording that was cut off, on a thread of its own. It reads the header of
// every block of the file, dwelling on each as the recorder's description asks, finds each
// stream's blocks in order and counts its whole frames; then the file is complete. A block with
// a damaged header, or one of a stream that the file does not hold, fails the job and leaves the
// file as it was. Dropping the handle cancels the job and waits for it.
class SimRecovery : public Quillon::Recovery {
public:
    struct Job {
        uint32_t setId = 0;
        uint32_t fileId = 0;
        std::filesystem::path dataPath;
        uint64_t blockBytes = 0;
        std::vector<StoredStream> streams;  // as the start knew them, without frames
        std::chrono::milliseconds perBlock{0};
    };

    SimRecovery(std::shared_ptr<Recorder> recorder, Job job);
    SimRecovery(const SimRecovery&) = delete;
    SimRecovery& operator=(const SimRecovery&) = delete;
    ~SimRecovery() override;

    void cancel() override;
    bool isFinished() override;
    bool isCancelled() override;
    bool isSuccessful() override;
    Quillon::String errorText() override;

private:
    void run();
    // The streams with their blocks and frames; none when cancelled.
    std::optional<std::vector<StoredStream>> rebuild();
    // Waits the dwell time of one block; true when cancelled meanwhile.
    bool dwell();
    std::string damaged(uint64_t block, const std::string& what) const;

    std::shared_ptr<Recorder> recorder_;
    const Job job_;
    std::mutex mutex_;
    std::condition_variable cancelRequested_;
    bool cancelling_ = false;
    bool finished_ = false;
    bool cancelled_ = false;
    bool successful_ = false;
    std::string errorText_;
    std::thread thread_;  // last: it starts once everything above is in place
};

}  // namespace sim
