#include "client/CallSupport.h"

#include "client/ClientErrors.h"

namespace tavu::client::detail {

Params& Params::number(const char* key, uint64_t value) {
    map_.mapAppend(key, ObjectValue::positive(value));
    return *this;
}

Params& Params::flag(const char* key, bool value) {
    map_.mapAppend(key, ObjectValue::boolean(value));
    return *this;
}

Params& Params::text(const char* key, const std::string& value) {
    map_.mapAppend(key, ObjectValue::string(value.c_str(), static_cast<uint32_t>(value.size())));
    return *this;
}

Params& Params::bytes(const char* key, std::span<const uint8_t> value) {
    map_.mapAppend(key, ObjectValue::blobCopy(value.data(), static_cast<uint32_t>(value.size())));
    return *this;
}

Params forDevice(uint32_t device) {
    Params params;
    params.number("deviceId", device);
    return params;
}

Params forPort(uint32_t device, uint8_t port) {
    Params params = forDevice(device);
    params.number("port", port);
    return params;
}

const ObjectValue& Reply::value(const char* key) const {
    const int32_t index = result_.type() == ObjectType::Map ? result_.mapIndexOf(key) : -1;
    if (index < 0) {
        malformed(key, "is missing");
    }
    return result_.mapValueAt(static_cast<uint32_t>(index));
}

const ObjectValue& Reply::typed(const char* key, ObjectType type) const {
    const ObjectValue& found = value(key);
    if (found.type() != type) {
        malformed(key, "has the wrong type");
    }
    return found;
}

uint64_t Reply::number(const char* key, uint64_t max) const {
    const uint64_t found = typed(key, ObjectType::PositiveInteger).asPositive();
    if (found > max) {
        malformed(key, "is out of range");
    }
    return found;
}

bool Reply::flag(const char* key) const { return typed(key, ObjectType::Bool).asBool(); }

std::string Reply::text(const char* key) const { return typed(key, ObjectType::String).asString(); }

std::vector<uint8_t> Reply::bytes(const char* key) const {
    const ObjectValue& blob = typed(key, ObjectType::Blob);
    return {blob.blobData(), blob.blobData() + blob.blobSize()};
}

void Reply::malformed(const char* key, const char* problem) const {
    throw ConnectionError(std::string("unexpected reply to ") + commandName(command_) + ": \"" + key + "\" " +
                          problem);
}

}  // namespace tavu::client::detail
