#pragma once
#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "hardware/HardwareDevice.h"
#include "library/DeviceCollection.h"
#include "library/Instance.h"
#include "device/DeviceSource.h"

namespace tavu {

// Finds recorders through the recorder library: starts it and checks its version, follows its
// collection as recorders come and go, and applies the name filters of the environment to the
// ones it has not seen before. The devices it adds live in the manager's list; it keeps only their
// addresses, to reconnect them by their index in the collection.
class RecorderDiscovery : public DeviceSource {
public:
    using HardwareDeviceFactory = std::function<std::unique_ptr<HardwareDevice>()>;

    RecorderDiscovery();
    explicit RecorderDiscovery(HardwareDeviceFactory factory);
    ~RecorderDiscovery() override;

    void start() override;
    void update(const AddDevice& add) override;
    void watch(std::function<void()> changed) override;
    void stop() override;

private:
    struct NameFilters;

    void refreshExistingDevice(uint32_t collectionIndex);
    void addNewDevice(uint32_t collectionIndex, const NameFilters& filters, const AddDevice& add);
    bool altNamePasses(uint32_t collectionIndex, const NameFilters& filters);
    HardwareDevice* findDevice(uint32_t collectionIndex);

    HardwareDeviceFactory factory_;
    boost::shared_ptr<Quillon::Instance> instance_;
    boost::shared_ptr<Quillon::DeviceCollection> collection_;
    std::vector<HardwareDevice*> devices_;  // owned by the manager's list, which outlives their use
    uint32_t changeCallbackId_ = 0;
    uint64_t knownDeviceCount_ = 0;
};

}  // namespace tavu
