#include "sim/SimInstance.h"

namespace sim {

boost::shared_ptr<Quillon::DeviceCollection> SimInstance::deviceCollection(Quillon::HostInterfaceType, bool) {
    return collection_;
}

}  // namespace sim
