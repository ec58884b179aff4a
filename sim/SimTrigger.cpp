#include "sim/SimTrigger.h"

#include "sim/Errors.h"
#include "sim/OwnHandle.h"
#include "sim/RecordController.h"
#include "sim/TriggerNetwork.h"

#include <boost/make_shared.hpp>

namespace sim {

boost::shared_ptr<Quillon::TriggerElement> SimTriggerBank::element(uint32_t kind, uint32_t index) {
    recorder_->requireConnected("TriggerBank::element");
    if (trigger::elementKey(kind).empty() || index != 0) {
        fail("The trigger bank has no element of kind " + std::to_string(kind) + " with index " +
             std::to_string(index) + ".");
    }
    return boost::make_shared<SimTriggerElement>(recorder_, kind);
}

boost::shared_ptr<Quillon::Parameter> SimTriggerElement::parameter(const Quillon::String& name) {
    recorder_->requireConnected("TriggerElement::parameter");
    const auto tag = trigger::parameterTag(kind_, name.c_str());
    if (!tag) {
        fail("Trigger element " + trigger::elementKey(kind_) + " has no parameter \"" + name.c_str() + "\".");
    }
    return boost::make_shared<SimParameter>(recorder_, kind_, name.c_str(), *tag);
}

void SimTriggerElement::connectInput(const boost::shared_ptr<Quillon::TriggerElement>& source, uint32_t input,
                                     bool variant) {
    const auto& sourceElement = ownHandle<SimTriggerElement>(source, *recorder_, "The source trigger element");
    if (input > 1) {
        fail("Trigger element " + trigger::elementKey(kind_) + " has no input " + std::to_string(input) + ".");
    }
    auto session = recorder_->session("TriggerElement::connectInput");
    session.hardware().triggerElement(kind_).inputs[input] = {sourceElement.kind(), variant};
    session.publishState();
}

void SimParameter::set(const Quillon::ParameterValue& value) {
    if (value.tag() != tag_) {
        fail("Parameter \"" + name_ + "\" takes " + trigger::tagName(tag_) + " values, not " +
             trigger::tagName(value.tag()) + " ones.");
    }
    auto session = recorder_->session("Parameter::set");
    session.hardware().triggerElement(kind_).parameters[name_] = value;
    session.publishState();
    // Setting the software start trigger fires the software source.
    if (kind_ == trigger::RecordControl && name_ == "Software Start Trigger" && value.asBoolean()) {
        session.record().pulse(trigger::SoftwareSource, false);
    }
}

}  // namespace sim
