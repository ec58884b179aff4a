#pragma once
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "encoding/MessageWriter.h"
#include "encoding/ObjectValue.h"
#include "wire/DeviceEvent.h"
#include "wire/Commands.h"
#include "wire/Types.h"

namespace tavu {

class Clients;
class DeviceManager;
struct ClientHoldings;

// Reply heads: an empty map for a count of 0, else {"result": {count pairs follow}}.
void sendResult(MessageWriter& writer, uint32_t count);
void sendError(MessageWriter& writer, const char* text);

// Bytes that stay where they are: a blob parameter inside the request, or a blob of a reply.
using BlobView = std::span<const uint8_t>;

// One value of a reply, in the shortest encoding of its kind.
template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>)
void writeValue(MessageWriter& writer, Number value) {
    writer.writeUint(value);
}
inline void writeValue(MessageWriter& writer, bool value) { writer.writeBool(value); }
inline void writeValue(MessageWriter& writer, const std::string& value) { writer.writeString(value); }
inline void writeValue(MessageWriter& writer, BlobView blob) {
    writer.writeBlob(blob.data(), static_cast<uint32_t>(blob.size()));
}
// An event always goes out as the map of its three fields.
inline void writeValue(MessageWriter& writer, const DeviceEvent& event) {
    writer.writeMapHeader(3);
    writer.writeString("type");
    writer.writeUint(event.type);
    writer.writeString("device");
    writer.writeUint(event.device);
    writer.writeString("port");
    writer.writeUint(event.port);
}

inline void writePairs(MessageWriter&) {}
// Keys and values alternate; each pair is written in the order given.
template <typename Value, typename... Rest>
void writePairs(MessageWriter& writer, const char* key, const Value& value, const Rest&... rest) {
    writer.writeString(key);
    writeValue(writer, value);
    writePairs(writer, rest...);
}

// What a command handler works with: the request, the reply being built, what the client
// holds, the other clients' holdings and the devices.
//
// Function arguments are evaluated in no fixed order, so a handler reads its parameters into
// locals one statement at a time: the first missing or mistyped one decides the error text.
struct CommandContext {
    ClientHoldings& holdings;
    Clients& clients;
    DeviceManager& manager;
    const ObjectValue& request;
    MessageWriter& writer;
    // The client's end, for a reply that another thread sends on this one's behalf.
    Stream& connection;

    const ObjectValue& params() const { return request.mapAt("params"); }

    // Parameters are cut to the width of their use without a range check.
    uint64_t u64(const char* key) const { return params().mapAt(key).asPositive(); }
    uint32_t u32(const char* key) const { return static_cast<uint32_t>(u64(key)); }
    uint16_t u16(const char* key) const { return static_cast<uint16_t>(u64(key)); }
    uint8_t u8(const char* key) const { return static_cast<uint8_t>(u64(key)); }
    bool boolean(const char* key) const { return params().mapAt(key).asBool(); }
    // Text up to its first NUL, as a client can't send a name with one inside.
    std::string text(const char* key) const { return params().mapAt(key).asString(); }
    // Points into the request, which outlives the command.
    BlobView blob(const char* key) const {
        const ObjectValue& value = params().mapAt(key);
        return {value.blobData(), value.blobSize()};
    }
    // The one kind of optional parameter: absent means 0.
    uint64_t optionalU64(const char* key) const {
        const ObjectValue& all = params();
        return all.mapContains(key) ? all.mapAt(key).asPositive() : 0;
    }
    uint32_t deviceId() const { return u32("deviceId"); }
    uint8_t port() const { return u8("port"); }

    // {"result": {key: value, ...}} with the pairs in the order given; {} with none.
    template <typename... KeysAndValues>
    void reply(const KeysAndValues&... keysAndValues) {
        static_assert(sizeof...(keysAndValues) % 2 == 0, "keys and values come in pairs");
        sendResult(writer, sizeof...(keysAndValues) / 2);
        writePairs(writer, keysAndValues...);
    }
};

using CommandHandler = void (*)(CommandContext&);

// The handler of an ordinal below CommandCount.
CommandHandler commandFor(uint32_t ordinal);

}  // namespace tavu
