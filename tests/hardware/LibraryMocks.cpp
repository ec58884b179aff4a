#include "LibraryMocks.h"

#include <cstring>

namespace tavu::test {

namespace {

class RecordingParameter : public Quillon::Parameter {
public:
    RecordingParameter(RecordingTriggerElement& element, std::string name)
        : element_(element), name_(std::move(name)) {}

    void set(const ParameterValue& value) override { element_.settings.emplace_back(name_, value); }

private:
    RecordingTriggerElement& element_;
    std::string name_;
};

}  // namespace

Ptr<Quillon::Parameter> RecordingTriggerElement::parameter(const String& name) {
    return boost::make_shared<RecordingParameter>(*this, name.c_str());
}

TestLibrary::TestLibrary() {
    ON_CALL(*this, createBuffer).WillByDefault([](const void* source, uint64_t size) {
        auto buffer = boost::make_shared<Common::Buffer>(size);
        if (source != nullptr) {
            std::memcpy(buffer->data(), source, size);
        }
        return buffer;
    });
    ON_CALL(*this, createDataDescriptor).WillByDefault([this](uint32_t) {
        descriptors.push_back(boost::make_shared<RecordingDescriptor>());
        return descriptors.back();
    });
    ON_CALL(*this, universalTime).WillByDefault(testing::Return(Now));
}

}  // namespace tavu::test
