#pragma once
#include "library/Trigger.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>
#include <string>

namespace sim {

class SimTriggerBank : public Quillon::TriggerBank {
public:
    explicit SimTriggerBank(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {}

    boost::shared_ptr<Quillon::TriggerElement> element(uint32_t kind, uint32_t index) override;

private:
    std::shared_ptr<Recorder> recorder_;
};

class SimTriggerElement : public Quillon::TriggerElement {
public:
    SimTriggerElement(std::shared_ptr<Recorder> recorder, uint32_t kind) : recorder_(std::move(recorder)), kind_(kind) {}

    const Recorder& recorder() const { return *recorder_; }
    uint32_t kind() const { return kind_; }

    boost::shared_ptr<Quillon::Parameter> parameter(const Quillon::String& name) override;
    void connectInput(const boost::shared_ptr<Quillon::TriggerElement>& source, uint32_t input, bool variant) override;

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t kind_;
};

class SimParameter : public Quillon::Parameter {
public:
    SimParameter(std::shared_ptr<Recorder> recorder, uint32_t kind, std::string name, uint32_t tag)
        : recorder_(std::move(recorder)), kind_(kind), name_(std::move(name)), tag_(tag) {}

    // The value must carry the parameter's own tag.
    void set(const Quillon::ParameterValue& value) override;

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t kind_;
    std::string name_;
    uint32_t tag_;
};

}  // namespace sim
