#pragma once
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

class Device {
public:
    // kind() of a virtual device, which can neither record nor be configured.
    static constexpr uint32_t KindVirtual = 1;

    virtual ~Device() = default;

    virtual uint32_t kind() = 0;
    virtual String name() = 0;
    // Second name, for the alternative-name filters.
    virtual String altName() = 0;
    // 0 means connected.
    virtual uint32_t connectionState() = 0;
    virtual boost::shared_ptr<HardwareInfo> hardwareInfo(uint32_t flags) = 0;
    virtual boost::shared_ptr<Storage> storage(uint32_t flags) = 0;
    virtual uint32_t portCount() = 0;
    virtual boost::shared_ptr<Port> port(uint32_t index) = 0;
    virtual boost::shared_ptr<TriggerBank> triggerBank() = 0;
    // Always the same controller for a recorder.
    virtual boost::shared_ptr<Record> record() = 0;
};

}  // namespace Quillon
