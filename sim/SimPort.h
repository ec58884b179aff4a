#pragma once
#include "library/Port.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>

namespace sim {

// One camera port. Settings made on it go to the recorder's state file.
class SimPort : public Quillon::Port {
public:
    SimPort(std::shared_ptr<Recorder> recorder, uint32_t index) : recorder_(std::move(recorder)), index_(index) {}

    const Recorder& recorder() const { return *recorder_; }
    uint32_t index() const { return index_; }

    Quillon::String name() override;
    bool isCameraDetected() override;
    void setDataDescriptor(const boost::shared_ptr<Quillon::DataDescriptor>& descriptor) override;
    void startGrab(const Quillon::GrabOptions& options, uint32_t flags) override;
    void stopGrab() override;
    bool isGrabbing() override;
    void grab(boost::shared_ptr<Common::Frame>& frame, uint32_t timeout, bool flag1, bool flag2, bool flag3,
              bool flag4, bool flag5) override;
    void interruptGrab() override;
    bool hasSerial() override;
    boost::shared_ptr<Quillon::SerialPort> serial() override;
    double measuredFrameRate() override;
    uint32_t linkMode() override;
    void writeMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address, uint32_t flags) override;
    void readMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address, uint32_t flags) override;
    bool hasBitDepthSetting() override;
    void setBitDepth(uint32_t bitDepth) override;
    bool hasPackingSetting() override;
    void setPacking(uint32_t packing) override;

private:
    PortDescription description(const char* operation);
    // Camera memory answers only with a camera on the port.
    CameraMemory& cameraMemory(Recorder::Session& session);

    std::shared_ptr<Recorder> recorder_;
    uint32_t index_;
};

}  // namespace sim
