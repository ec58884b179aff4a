// Live view: a port grabs frames, and each liveFrame waits for one and copies it into the port's
// shared region. The wait holds only the port's grabLock, never the device mutex, so that a live
// view holds up no other command of the device.
#include "hardware/STavuDevice.h"

#include "library/Buffer.h"
#include "library/Frame.h"
#include "library/Port.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace tavu {

namespace {

// The library's time limit of one grab, in its units.
constexpr uint32_t kGrabTimeout = 5000;
constexpr uint32_t kLiveBitDepth = 16;

const Quillon::GrabOptions kGrabOptions{true, 4};

// Frames of 16 bits, unpacked, where the port lets us choose.
void selectPixelFormat(Quillon::Port& port) {
    if (port.hasBitDepthSetting()) {
        port.setBitDepth(kLiveBitDepth);
    } else if (port.hasPackingSetting()) {
        port.setPacking(0);
    }
}

void startGrabbing(Quillon::Port& port) {
    selectPixelFormat(port);
    port.startGrab(kGrabOptions, 0);
}

boost::shared_ptr<Common::Frame> grabFrame(Quillon::Port& port) {
    boost::shared_ptr<Common::Frame> frame;
    port.grab(frame, kGrabTimeout, true, false, true, false, true);
    if (!frame || !frame->buffer()) {
        throw std::runtime_error("Failed to grab frame.");
    }
    return frame;
}

}  // namespace

std::string STavuDevice::startLive(uint8_t port) {
    std::lock_guard guard(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::Port> libraryPort = libraryDevice()->port(port);
    selectPixelFormat(*libraryPort);
    // A second start on the port replaces the region; a client that mapped the old one keeps
    // its bytes.
    SharedRegion region;
    if (!region.createUnique(RegionBaseName, static_cast<uint64_t>(state.width) * state.height * 2, false)) {
        throw std::runtime_error("Failed to create shared memory mapping.");
    }
    state.liveRegion = std::move(region);
    libraryPort->startGrab(kGrabOptions, 0);
    return state.liveRegion.mappingName();
}

void STavuDevice::stopLive(uint8_t port) {
    std::lock_guard guard(lock_);
    portAt(port);
    // The region stays, with the last frame, until the next start.
    libraryDevice()->port(port)->stopGrab();
}

FrameGeometry STavuDevice::liveFrame(uint8_t port) {
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::Port> libraryPort = libraryDevice()->port(port);
    // A recording or a reconfiguration took the port from its live view since the last frame.
    if (state.restartLive) {
        state.restartLive = false;
        libraryPort->stopGrab();
        startGrabbing(*libraryPort);
    }
    // Hand over to the port's grab lock. When another grab of this port is waiting, wait for it
    // without the device mutex rather than hold up every other command of the device.
    std::unique_lock grabLock(state.grabLock, std::try_to_lock);
    deviceLock.unlock();
    if (!grabLock.owns_lock()) {
        grabLock.lock();
    }
    boost::shared_ptr<Common::Frame> frame = grabFrame(*libraryPort);
    boost::shared_ptr<Common::DataType> type = frame->dataType();
    FrameGeometry geometry;
    geometry.width = static_cast<uint16_t>(type->width());
    geometry.height = static_cast<uint16_t>(type->height());
    geometry.imageSize = static_cast<uint32_t>(geometry.width) * geometry.height * 2;
    boost::shared_ptr<Common::Buffer> buffer = frame->buffer();
    if (type->bitDepth() != kLiveBitDepth) {
        throw std::runtime_error("Bad frame size.");
    }
    grabLock.unlock();

    // The device may have changed during the wait.
    deviceLock.lock();
    PortState& current = portAt(port);
    if (current.liveRegion.view() == nullptr) {
        throw std::runtime_error("Invalid shared memory mapping.");
    }
    // A frame larger than the region fills it and no more.
    const uint64_t bytes = std::min({current.liveRegion.viewSize(), buffer->size(), uint64_t{geometry.imageSize}});
    std::memcpy(current.liveRegion.view(), buffer->data(), bytes);
    return geometry;
}

}  // namespace tavu
