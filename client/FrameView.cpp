#include "client/FrameView.h"

#include "client/ClientErrors.h"

namespace tavu::client {

FrameView::FrameView(const std::string& mapping) {
    if (!region_.open(mapping)) {
        throw ClientError("cannot map the shared region \"" + mapping + "\" of the service");
    }
}

std::span<const uint8_t> FrameView::frame(uint64_t imageSize) const {
    if (imageSize > region_.viewSize()) {
        throw ClientError("a frame of " + std::to_string(imageSize) + " bytes doesn't fit the shared region of " +
                          std::to_string(region_.viewSize()) + " bytes");
    }
    return {static_cast<const uint8_t*>(region_.view()), static_cast<size_t>(imageSize)};
}

}  // namespace tavu::client
