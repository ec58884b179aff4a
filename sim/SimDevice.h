#pragma once
#include "library/Device.h"
#include "sim/Recorder.h"

#include <memory>

namespace sim {

class SimDevice : public Quillon::Device {
public:
    explicit SimDevice(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {}

    uint32_t kind() override;
    Quillon::String name() override;
    Quillon::String altName() override;
    uint32_t connectionState() override;
    boost::shared_ptr<Quillon::HardwareInfo> hardwareInfo(uint32_t flags) override;
    boost::shared_ptr<Quillon::Storage> storage(uint32_t flags) override;
    uint32_t portCount() override;
    boost::shared_ptr<Quillon::Port> port(uint32_t index) override;
    boost::shared_ptr<Quillon::TriggerBank> triggerBank() override;
    boost::shared_ptr<Quillon::Record> record() override;

private:
    std::shared_ptr<Recorder> recorder_;
};

}  // namespace sim
