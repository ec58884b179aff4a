#pragma once
// A recorder library made of plain objects, installed under the seam through the entry table.
#include "library/Quillon.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavu::test {

struct FakeRecorder {
    FakeRecorder(std::string recorderName, uint32_t recorderState = 0,
                 std::optional<std::string> recorderAltName = std::nullopt)
        : name(std::move(recorderName)), state(recorderState), altName(std::move(recorderAltName)) {}

    std::string name;
    uint32_t state;                      // DeviceCollection::StateDisconnected for a gone recorder
    std::optional<std::string> altName;  // none: reading it throws
};

class FakeCollection : public Quillon::DeviceCollection {
public:
    static constexpr uint32_t CallbackId = 77;

    void addRecorder(FakeRecorder recorder);
    void setState(uint32_t index, uint32_t state);
    // Lets count() report fewer recorders than there are.
    void reportCount(uint32_t count);
    // Does what the library's thread does on a change.
    void fireChange();
    bool hasCallback();
    std::vector<uint32_t> unregisteredIds();

    uint32_t count() override;
    Quillon::String deviceName(uint32_t index) override;
    uint32_t deviceState(uint32_t index) override;
    boost::shared_ptr<Quillon::Device> device(uint32_t index) override;
    uint32_t registerChangeCallback(ChangeCallback callback) override;
    void unregisterChangeCallback(uint32_t callbackId) override;

private:
    FakeRecorder recorder(uint32_t index);

    std::mutex mutex_;
    std::vector<FakeRecorder> recorders_;
    std::optional<uint32_t> reportedCount_;
    ChangeCallback callback_;
    std::vector<uint32_t> unregistered_;
};

class FakeInstance : public Quillon::Instance {
public:
    boost::shared_ptr<Quillon::DeviceCollection> deviceCollection(Quillon::HostInterfaceType hostInterfaces,
                                                                  bool flag) override;
    Quillon::VersionInfo version() override { return reportedVersion; }

    Quillon::VersionInfo reportedVersion{2, 1, 0, 38};
    boost::shared_ptr<FakeCollection> collection = boost::shared_ptr<FakeCollection>(new FakeCollection);
    std::vector<uint32_t> requestedHostInterfaces;
};

class FakeLibrary : public Quillon::LibraryEntry {
public:
    boost::shared_ptr<Quillon::Instance> initialize(const Quillon::String& applicationName, bool flag,
                                                    Quillon::Scope scope) override;
    boost::shared_ptr<Quillon::DataDescriptor> createDataDescriptor(uint32_t type) override;
    boost::shared_ptr<Common::Buffer> createBuffer(const void* source, uint64_t size) override;
    uint64_t universalTime() override { return 0x01D9000000000000; }

    FakeCollection& collection() { return *instance->collection; }

    boost::shared_ptr<FakeInstance> instance = boost::shared_ptr<FakeInstance>(new FakeInstance);
    std::optional<std::string> initializeFailure;  // thrown as a GeneralException
    std::string applicationName;
    bool initializeFlag = true;
    uint32_t scope = 0;
};

}  // namespace tavu::test
