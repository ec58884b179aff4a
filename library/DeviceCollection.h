#pragma once
#include "library/Forward.h"
#include "library/String.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <functional>

namespace Quillon {

// The recorders the library knows. It only grows, and an index stays with its recorder.
class DeviceCollection {
public:
    static constexpr uint32_t StateDisconnected = 1;

    // Runs on a thread of the library whenever the collection changes.
    using ChangeCallback = std::function<void(uint32_t)>;

    virtual ~DeviceCollection() = default;

    virtual uint32_t count() = 0;
    // Usable also for a disconnected recorder.
    virtual String deviceName(uint32_t index) = 0;
    virtual uint32_t deviceState(uint32_t index) = 0;
    virtual boost::shared_ptr<Device> device(uint32_t index) = 0;
    virtual uint32_t registerChangeCallback(ChangeCallback callback) = 0;
    virtual void unregisterChangeCallback(uint32_t callbackId) = 0;
};

}  // namespace Quillon
