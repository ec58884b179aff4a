#include "client/LiveView.h"

namespace tavu::client {

LiveView::LiveView(Client& client, uint32_t device, uint8_t port) : client_(client), device_(device), port_(port) {
    const std::string mapping = client_.startLive(device_, port_);
    try {
        view_.emplace(mapping);
    } catch (...) {
        stop();
        throw;
    }
}

LiveView::~LiveView() { stop(); }

LiveView::Frame LiveView::grab() {
    const FrameGeometry geometry = client_.liveFrame(device_, port_);
    return Frame{geometry, view_->frame(geometry.imageSize)};
}

void LiveView::stop() noexcept {
    try {
        client_.stopLive(device_, port_);
    } catch (...) {
        // The service stops the live views of a connection when it ends.
    }
}

}  // namespace tavu::client
