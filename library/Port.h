#pragma once
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

// One camera port of a recorder.
class Port {
public:
    virtual ~Port() = default;

    // Unique within the recorder.
    virtual String name() = 0;
    virtual bool isCameraDetected() = 0;
    virtual void setDataDescriptor(const boost::shared_ptr<DataDescriptor>& descriptor) = 0;
    virtual void startGrab(const GrabOptions& options, uint32_t flags) = 0;
    virtual void stopGrab() = 0;
    virtual bool isGrabbing() = 0;
    // Waits up to `timeout` for one live frame; `frame` stays empty when none came.
    virtual void grab(boost::shared_ptr<Common::Frame>& frame, uint32_t timeout, bool flag1, bool flag2,
                      bool flag3, bool flag4, bool flag5) = 0;
    // Ends a waiting grab.
    virtual void interruptGrab() = 0;
    virtual bool hasSerial() = 0;
    virtual boost::shared_ptr<SerialPort> serial() = 0;
    // Below 0.001 counts as silent.
    virtual double measuredFrameRate() = 0;
    virtual uint32_t linkMode() = 0;
    // Camera memory is big-endian.
    virtual void writeMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address,
                             uint32_t flags) = 0;
    virtual void readMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address,
                            uint32_t flags) = 0;
    virtual bool hasBitDepthSetting() = 0;
    virtual void setBitDepth(uint32_t bitDepth) = 0;
    virtual bool hasPackingSetting() = 0;
    virtual void setPacking(uint32_t packing) = 0;
};

}  // namespace Quillon
