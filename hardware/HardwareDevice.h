#pragma once
#include "library/DeviceCollection.h"
#include "device/ITavuDevice.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

namespace tavu {

// A device that stands for one index of the library's collection: what the device list update
// needs beyond the device interface. Each operation runs under the device's own mutex.
class HardwareDevice : public ITavuDevice {
public:
    // The index in the library's collection; not the device index of the manager's list.
    virtual uint32_t collectionIndex() = 0;
    // Stores the name that the collection gives and the collection index.
    virtual void identify(const std::string& name, uint32_t collectionIndex) = 0;
    // The recorder was found disconnected: keep the collection for later and stay without ports.
    virtual void foundDisconnected(boost::shared_ptr<Quillon::DeviceCollection> collection) = 0;
    // First connection: ports, catalogue, stored port configurations.
    virtual void connect(boost::shared_ptr<Quillon::DeviceCollection> collection, uint32_t collectionIndex) = 0;
    // Later connection; does nothing while the device counts as connected.
    virtual void reconnect() = 0;
    // The recorder is gone: the catalogue empties, ports and open files stay.
    virtual void markDisconnected() = 0;
};

}  // namespace tavu
