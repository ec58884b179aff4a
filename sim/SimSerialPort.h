#pragma once
#include "library/SerialPort.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>

namespace sim {

// A handle of the serial channel of the camera on one port. Time limits are in milliseconds;
// the terminator of receive is not used. Transfers wait with the channel's lock only.
class SimSerialPort : public Quillon::SerialPort {
public:
    SimSerialPort(std::shared_ptr<Recorder> recorder, uint32_t portIndex)
        : recorder_(std::move(recorder)), portIndex_(portIndex) {}

    // The channel, for a port with a serial channel and a camera on it.
    static std::shared_ptr<SerialChannel> channel(Recorder& recorder, uint32_t portIndex, const char* operation);

    void send(const boost::shared_ptr<Common::Buffer>& buffer) override;
    void clear(uint32_t flags) override;
    bool receive(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t timeout,
                 const Quillon::String& terminator) override;
    void setEnabled(bool enabled) override;
    bool isEnabled() override;
    void setBaudRate(uint32_t baudRate) override;
    uint32_t baudRate() override;
    void setStopBits(uint8_t stopBits) override;
    void setParity(uint8_t parity) override;
    void setWatermark(uint32_t watermark) override;
    uint32_t watermarkLimit() override;

private:
    std::shared_ptr<SerialChannel> channel(const char* operation) const;
    // A setting: made on the channel and published in the state file.
    template <typename Change>
    void change(const char* operation, Change&& change);

    std::shared_ptr<Recorder> recorder_;
    uint32_t portIndex_;
};

}  // namespace sim
