#pragma once
#include "library/LibraryEntry.h"
#include "sim/SimCollection.h"

#include <boost/weak_ptr.hpp>

#include <mutex>

namespace sim {

// The library's entry table. Its folder is $QUILLON_SIM_ROOT, read at each initialize.
class SimLibrary : public Quillon::LibraryEntry {
public:
    static constexpr const char* RootVariable = "QUILLON_SIM_ROOT";

    // Instances started on one folder share one collection, so that two of them never keep two
    // views of the same recorders.
    boost::shared_ptr<Quillon::Instance> initialize(const Quillon::String& applicationName, bool flag,
                                                    Quillon::Scope scope) override;
    boost::shared_ptr<Quillon::DataDescriptor> createDataDescriptor(uint32_t type) override;
    boost::shared_ptr<Common::Buffer> createBuffer(const void* source, uint64_t size) override;
    // 100 ns units since 1601-01-01 UTC.
    uint64_t universalTime() override;

private:
    boost::shared_ptr<SimCollection> collectionFor(const std::filesystem::path& root);

    std::mutex mutex_;
    boost::weak_ptr<SimCollection> collection_;
};

}  // namespace sim
