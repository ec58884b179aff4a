#pragma once
#include <cstdint>
#include <optional>
#include <span>

#include "client/Client.h"
#include "client/FrameView.h"

namespace tavu::client {

// Live view of one port: startLive with its region mapped, and stopLive when this object goes.
class LiveView {
public:
    struct Frame {
        FrameGeometry geometry;
        std::span<const uint8_t> pixels;  // valid until the next grab
    };

    LiveView(Client& client, uint32_t device, uint8_t port);
    ~LiveView();
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;

    Frame grab();

private:
    void stop() noexcept;

    Client& client_;
    uint32_t device_;
    uint8_t port_;
    std::optional<FrameView> view_;
};

}  // namespace tavu::client
