#pragma once
#include <functional>
#include <memory>

#include "device/ITavuDevice.h"

namespace tavu {

// Where the devices after the first come from: recorders that come and go while the service runs.
// The manager calls start, then update whenever watch's callback said that something changed,
// and stop last. update runs under the manager's lock and may fail at any step; it appends each
// new device with `add`, whose index is then fixed for the life of the process.
class DeviceSource {
public:
    using AddDevice = std::function<void(std::unique_ptr<ITavuDevice>)>;

    virtual ~DeviceSource() = default;

    // Never fails: a source that cannot start just never adds a device.
    virtual void start() = 0;
    virtual void update(const AddDevice& add) = 0;
    // `changed` may be called on any thread until stop.
    virtual void watch(std::function<void()> changed) = 0;
    virtual void stop() = 0;
};

// What the manager starts with: the emulated recorder, when there is one, becomes device 0.
struct DeviceSources {
    std::unique_ptr<DeviceSource> recorders;
    std::function<std::unique_ptr<ITavuDevice>()> emulator;
};

}  // namespace tavu
