#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "wire/Commands.h"
#include "encoding/ObjectValue.h"

// Helpers of the typed calls: building a command's parameters and taking its reply apart.
namespace tavu::client::detail {

// A command's "params" map, filled in the order the command reads its keys.
class Params {
public:
    Params& number(const char* key, uint64_t value);
    Params& flag(const char* key, bool value);
    Params& text(const char* key, const std::string& value);
    Params& bytes(const char* key, std::span<const uint8_t> value);
    const ObjectValue& map() const { return map_; }

private:
    ObjectValue map_ = ObjectValue::map(8);
};

// The parameters that most commands begin with.
Params forDevice(uint32_t device);
Params forPort(uint32_t device, uint8_t port);

// Typed values of a "result" map. A missing key, a wrong type or a value beyond the wire
// width means that the peer doesn't speak our protocol: ConnectionError.
class Reply {
public:
    Reply(Command command, const ObjectValue& result) : command_(command), result_(result) {}

    uint64_t number(const char* key, uint64_t max = UINT64_MAX) const;
    bool flag(const char* key) const;
    std::string text(const char* key) const;
    std::vector<uint8_t> bytes(const char* key) const;
    const ObjectValue& value(const char* key) const;
    const ObjectValue& list(const char* key) const { return typed(key, ObjectType::Array); }
    // A nested map or array element, read with the same checks.
    Reply nested(const ObjectValue& map) const { return Reply(command_, map); }

private:
    const ObjectValue& typed(const char* key, ObjectType type) const;
    [[noreturn]] void malformed(const char* key, const char* problem) const;

    Command command_;
    const ObjectValue& result_;
};

}  // namespace tavu::client::detail
