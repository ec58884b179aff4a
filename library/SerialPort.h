#pragma once
#include "library/Forward.h"
#include "library/String.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

// The serial channel of the camera on one port.
class SerialPort {
public:
    virtual ~SerialPort() = default;

    virtual void send(const boost::shared_ptr<Common::Buffer>& buffer) = 0;
    virtual void clear(uint32_t flags) = 0;
    // Fills the whole buffer; false on failure.
    virtual bool receive(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t timeout,
                         const String& terminator) = 0;
    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() = 0;
    virtual void setBaudRate(uint32_t baudRate) = 0;
    virtual uint32_t baudRate() = 0;
    virtual void setStopBits(uint8_t stopBits) = 0;
    virtual void setParity(uint8_t parity) = 0;
    virtual void setWatermark(uint32_t watermark) = 0;
    virtual uint32_t watermarkLimit() = 0;
};

}  // namespace Quillon
