#pragma once
#include <cstdint>
#include <optional>
#include <span>

#include "client/Client.h"
#include "client/FrameView.h"

namespace tavu::client {

// One recording opened for reading frames: openFile with its region mapped, and closeFile
// when this object goes.
class Playback {
public:
    Playback(Client& client, uint32_t device, uint32_t fileId, uint32_t streamId);
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    const OpenFileInfo& info() const { return info_; }
    // Has the service put the frame in the region and returns its bytes, valid until the next
    // read.
    std::span<const uint8_t> read(uint64_t frame);

private:
    void close() noexcept;

    Client& client_;
    uint32_t device_;
    OpenedFile opened_;
    std::optional<FrameView> view_;
    OpenFileInfo info_;
};

}  // namespace tavu::client
