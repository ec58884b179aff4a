#include "sim/SimLibrary.h"

#include "library/Buffer.h"
#include "sim/Errors.h"
#include "sim/SimDataDescriptor.h"
#include "sim/SimInstance.h"

#include <boost/make_shared.hpp>

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace sim {
namespace {

// From 1601-01-01 to 1970-01-01, in 100 ns units.
constexpr uint64_t UnixEpochInUniversalTime = 116444736000000000ULL;

std::filesystem::path rootFromEnvironment() {
    const char* root = std::getenv(SimLibrary::RootVariable);
    if (root == nullptr || *root == '\0') {
        fail(std::string(SimLibrary::RootVariable) + " is not set: it names the folder that holds " +
             DescriptionFileName + " for the simulated recorders.");
    }
    return root;
}

}  // namespace

boost::shared_ptr<Quillon::Instance> SimLibrary::initialize(const Quillon::String&, bool, Quillon::Scope) {
    return boost::make_shared<SimInstance>(collectionFor(rootFromEnvironment()));
}

boost::shared_ptr<Quillon::DataDescriptor> SimLibrary::createDataDescriptor(uint32_t type) {
    return boost::make_shared<SimDataDescriptor>(type);
}

boost::shared_ptr<Common::Buffer> SimLibrary::createBuffer(const void* source, uint64_t size) {
    auto buffer = boost::make_shared<Common::Buffer>(size);
    if (source != nullptr && size > 0) {
        std::memcpy(buffer->data(), source, size);
    }
    return buffer;
}

uint64_t SimLibrary::universalTime() {
    const auto sinceUnixEpoch = std::chrono::system_clock::now().time_since_epoch();
    const auto units = std::chrono::duration_cast<std::chrono::duration<int64_t, std::ratio<1, 10000000>>>(sinceUnixEpoch);
    return UnixEpochInUniversalTime + static_cast<uint64_t>(units.count());
}

boost::shared_ptr<SimCollection> SimLibrary::collectionFor(const std::filesystem::path& root) {
    std::lock_guard lock(mutex_);
    boost::shared_ptr<SimCollection> collection = collection_.lock();
    if (!collection || collection->root() != root) {
        collection = boost::make_shared<SimCollection>(root);
        collection_ = collection;
    }
    return collection;
}

}  // namespace sim

// The one symbol that the library exports.
extern "C" __attribute__((visibility("default"))) Quillon::LibraryEntry* quillon_entry() {
    static sim::SimLibrary library;
    return &library;
}
