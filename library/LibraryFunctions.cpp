// The service's side of the library's plain functions: each goes through the entry table, so the
// first of them loads the library (or raises "delayload failure").
#include "library/Buffer.h"
#include "library/DataDescriptor.h"
#include "library/Instance.h"
#include "library/Loader.h"
#include "library/TimestampHelper.h"

namespace Quillon {

boost::shared_ptr<Instance> Instance::initialize(const String& applicationName, bool flag, Scope scope) {
    return tavu::libraryEntry().initialize(applicationName, flag, scope);
}

boost::shared_ptr<DataDescriptor> DataDescriptor::Factory::create(uint32_t type) {
    return tavu::libraryEntry().createDataDescriptor(type);
}

}  // namespace Quillon

namespace Common {

boost::shared_ptr<Buffer> Buffer::create(const void* source, uint64_t size) {
    return tavu::libraryEntry().createBuffer(source, size);
}

uint64_t TimestampHelper::universalTime() { return tavu::libraryEntry().universalTime(); }

}  // namespace Common
