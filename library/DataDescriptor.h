#pragma once
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

// Declares to a port what it delivers: a few plain identifying values and numbered fields.
class DataDescriptor {
public:
    class Factory {
    public:
        static boost::shared_ptr<DataDescriptor> create(uint32_t type);
    };

    virtual ~DataDescriptor() = default;

    void setManufacturer(const String& manufacturer) { manufacturer_ = manufacturer; }
    void setModel(const String& model) { model_ = model; }
    void setSubModel(const String& subModel) { subModel_ = subModel; }
    void setCustom(bool custom) { custom_ = custom; }

    const String& manufacturer() const { return manufacturer_; }
    const String& model() const { return model_; }
    const String& subModel() const { return subModel_; }
    bool isCustom() const { return custom_; }

    virtual ParameterValue& field(uint32_t id) = 0;

private:
    String manufacturer_;
    String model_;
    String subModel_;
    bool custom_ = false;
};

}  // namespace Quillon
