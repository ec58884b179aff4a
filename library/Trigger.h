#pragma once
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

class Parameter {
public:
    virtual ~Parameter() = default;

    virtual void set(const ParameterValue& value) = 0;
};

// One element of the trigger network, with named parameters and numbered inputs.
class TriggerElement {
public:
    virtual ~TriggerElement() = default;

    virtual boost::shared_ptr<Parameter> parameter(const String& name) = 0;
    // Input 0 is the start input, input 1 the stop input.
    virtual void connectInput(const boost::shared_ptr<TriggerElement>& source, uint32_t input, bool variant) = 0;
};

class TriggerBank {
public:
    // Kinds of element that the service addresses, each with index 0.
    static constexpr uint32_t KindSoftwareSource = 0;
    static constexpr uint32_t KindExternalInput = 2;
    static constexpr uint32_t KindRecordControl = 19;

    virtual ~TriggerBank() = default;

    virtual boost::shared_ptr<TriggerElement> element(uint32_t kind, uint32_t index) = 0;
};

}  // namespace Quillon
