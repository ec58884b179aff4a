#pragma once
#include <string>
#include <vector>

#include "tools/tavutango/Tango.h"

namespace tavu::tavutango {

// The class of the recorder devices: their attributes, commands and the devices themselves.
// The framework owns the one instance and everything its factories make.
class TavuRecorderClass : public Tango::DeviceClass {
public:
    static TavuRecorderClass* init(const char* name);

private:
    explicit TavuRecorderClass(std::string& name);

    void attribute_factory(std::vector<Tango::Attr*>& attributes) override;
    void command_factory() override;
    void device_factory(const Tango::DevVarStringArray* names) override;
};

}  // namespace tavu::tavutango
