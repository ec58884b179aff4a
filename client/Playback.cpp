#include "client/Playback.h"

namespace tavu::client {

Playback::Playback(Client& client, uint32_t device, uint32_t fileId, uint32_t streamId)
    : client_(client), device_(device), opened_(client.openFile(device, fileId, streamId)) {
    try {
        view_.emplace(opened_.mapping);
        info_ = client_.fileInfo(device_, opened_.openFileId);
    } catch (...) {
        close();
        throw;
    }
}

Playback::~Playback() { close(); }

std::span<const uint8_t> Playback::read(uint64_t frame) {
    client_.readFrame(device_, opened_.openFileId, frame);
    return view_->frame(info_.imageSize);
}

void Playback::close() noexcept {
    try {
        client_.closeFile(device_, opened_.openFileId);
    } catch (...) {
        // The service closes whatever a connection left open when it ends.
    }
}

}  // namespace tavu::client
