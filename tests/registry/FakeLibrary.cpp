#include "FakeLibrary.h"

#include <cstring>
#include <utility>

namespace tavu::test {
namespace {

[[noreturn]] void notSimulated() { throw Common::GeneralException("not simulated"); }

// A recorder as the collection hands it out; only its second name is of interest here.
class FakeDevice : public Quillon::Device {
public:
    explicit FakeDevice(std::optional<std::string> altName) : altName_(std::move(altName)) {}

    uint32_t kind() override { notSimulated(); }
    Quillon::String name() override { notSimulated(); }
    Quillon::String altName() override {
        if (!altName_) {
            throw Common::GeneralException("no second name");
        }
        return altName_->c_str();
    }
    uint32_t connectionState() override { notSimulated(); }
    boost::shared_ptr<Quillon::HardwareInfo> hardwareInfo(uint32_t) override { notSimulated(); }
    boost::shared_ptr<Quillon::Storage> storage(uint32_t) override { notSimulated(); }
    uint32_t portCount() override { notSimulated(); }
    boost::shared_ptr<Quillon::Port> port(uint32_t) override { notSimulated(); }
    boost::shared_ptr<Quillon::TriggerBank> triggerBank() override { notSimulated(); }
    boost::shared_ptr<Quillon::Record> record() override { notSimulated(); }

private:
    std::optional<std::string> altName_;
};

}  // namespace

void FakeCollection::addRecorder(FakeRecorder recorder) {
    std::lock_guard lock(mutex_);
    recorders_.push_back(std::move(recorder));
}

void FakeCollection::setState(uint32_t index, uint32_t state) {
    std::lock_guard lock(mutex_);
    recorders_.at(index).state = state;
}

void FakeCollection::reportCount(uint32_t count) {
    std::lock_guard lock(mutex_);
    reportedCount_ = count;
}

void FakeCollection::fireChange() {
    ChangeCallback callback;
    {
        std::lock_guard lock(mutex_);
        callback = callback_;
    }
    callback(12345);
}

bool FakeCollection::hasCallback() {
    std::lock_guard lock(mutex_);
    return static_cast<bool>(callback_);
}

std::vector<uint32_t> FakeCollection::unregisteredIds() {
    std::lock_guard lock(mutex_);
    return unregistered_;
}

uint32_t FakeCollection::count() {
    std::lock_guard lock(mutex_);
    return reportedCount_.value_or(static_cast<uint32_t>(recorders_.size()));
}

Quillon::String FakeCollection::deviceName(uint32_t index) { return recorder(index).name.c_str(); }

uint32_t FakeCollection::deviceState(uint32_t index) { return recorder(index).state; }

boost::shared_ptr<Quillon::Device> FakeCollection::device(uint32_t index) {
    return boost::shared_ptr<Quillon::Device>(new FakeDevice(recorder(index).altName));
}

uint32_t FakeCollection::registerChangeCallback(ChangeCallback callback) {
    std::lock_guard lock(mutex_);
    callback_ = std::move(callback);
    return CallbackId;
}

void FakeCollection::unregisterChangeCallback(uint32_t callbackId) {
    std::lock_guard lock(mutex_);
    unregistered_.push_back(callbackId);
    callback_ = nullptr;
}

FakeRecorder FakeCollection::recorder(uint32_t index) {
    std::lock_guard lock(mutex_);
    if (index >= recorders_.size()) {
        throw Common::GeneralException("no such recorder");
    }
    return recorders_[index];
}

boost::shared_ptr<Quillon::DeviceCollection> FakeInstance::deviceCollection(Quillon::HostInterfaceType hostInterfaces,
                                                                           bool) {
    requestedHostInterfaces.push_back(static_cast<uint32_t>(hostInterfaces));
    return collection;
}

boost::shared_ptr<Quillon::Instance> FakeLibrary::initialize(const Quillon::String& name, bool flag,
                                                             Quillon::Scope initializeScope) {
    applicationName = name.c_str();
    initializeFlag = flag;
    scope = static_cast<uint32_t>(initializeScope);
    if (initializeFailure) {
        throw Common::GeneralException(*initializeFailure);
    }
    return instance;
}

boost::shared_ptr<Quillon::DataDescriptor> FakeLibrary::createDataDescriptor(uint32_t) { notSimulated(); }

boost::shared_ptr<Common::Buffer> FakeLibrary::createBuffer(const void* source, uint64_t size) {
    boost::shared_ptr<Common::Buffer> buffer(new Common::Buffer(size));
    if (source != nullptr) {
        std::memcpy(buffer->data(), source, size);
    }
    return buffer;
}

}  // namespace tavu::test
