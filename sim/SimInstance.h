#pragma once
#include "library/Instance.h"
#include "sim/SimCollection.h"

namespace sim {

class SimInstance : public Quillon::Instance {
public:
    static constexpr Quillon::VersionInfo Version{2, 1, 0, 38};

    explicit SimInstance(boost::shared_ptr<SimCollection> collection) : collection_(std::move(collection)) {}

    // The simulated recorders sit behind every host interface alike.
    boost::shared_ptr<Quillon::DeviceCollection> deviceCollection(Quillon::HostInterfaceType hostInterfaces,
                                                                  bool flag) override;
    Quillon::VersionInfo version() override { return Version; }

private:
    boost::shared_ptr<SimCollection> collection_;
};

}  // namespace sim
