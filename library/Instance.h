#pragma once
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

namespace Quillon {

// The started library. `initialize` is the very first call into the library and loads it.
class Instance {
public:
    virtual ~Instance() = default;

    static boost::shared_ptr<Instance> initialize(const String& applicationName, bool flag, Scope scope);

    virtual boost::shared_ptr<DeviceCollection> deviceCollection(HostInterfaceType hostInterfaces, bool flag) = 0;
    virtual VersionInfo version() = 0;
};

}  // namespace Quillon
