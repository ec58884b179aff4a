#include <stdexcept>

#include "encoding/BufferStream.h"
#include "protocol/ClientHoldings.h"
#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

namespace tavu::commands {

namespace {

// Another client's destroyEventQueue may reset the id at any time, so it is read and written
// through the list of clients.
uint32_t ownQueue(CommandContext& context) { return context.clients.queueOf(context.holdings); }

void setOwnQueue(CommandContext& context, uint32_t queueId) { context.clients.setQueue(context.holdings, queueId); }

// Reads the "queueId" parameter and checks that this connection created that queue. A
// connection without a queue passes with NoEventQueue, and the manager then refuses the id.
uint32_t ownedQueueParam(CommandContext& context) {
    const uint32_t queueId = context.u32("queueId");
    if (queueId != ownQueue(context)) {
        throw std::runtime_error("A connection can only read from an event queue that it created.");
    }
    return queueId;
}

}  // namespace

void createEventQueue(CommandContext& context) {
    if (ownQueue(context) != NoEventQueue) {
        throw std::runtime_error("A connection can only have one event queue.");
    }
    const uint32_t queueId = context.manager.createQueue();
    setOwnQueue(context, queueId);
    context.reply("queueId", queueId);
}

// Any connection may destroy any queue; its owner learns of it only by the reset of its id.
void destroyEventQueue(CommandContext& context) {
    const uint32_t queueId = context.u32("queueId");
    context.manager.destroyQueue(queueId, false);
    context.clients.forgetQueue(queueId);
    context.reply();
}

namespace {

// Lets a broadcaster send this connection's readEvent reply while the connection's thread sleeps.
class ReplyHandOff final : public EventHandOff {
public:
    explicit ReplyHandOff(Stream& connection) : connection_(connection) {
        // A reply the broadcaster sent in part leaves the rest here, and it must not allocate then.
        unsent.reserve(64);
    }

    std::vector<uint8_t> encode(const DeviceEvent& event) const override {
        BufferStream buffer;
        MessageWriter writer(buffer);
        sendResult(writer, 1);
        writePairs(writer, "event", event);
        return {buffer.data(), buffer.data() + buffer.size()};
    }

    uint64_t sendNow(std::span<const uint8_t> bytes) noexcept override {
        return connection_.writeNow(bytes.data(), bytes.size());
    }

    void awaitPeer(std::chrono::steady_clock::time_point deadline) noexcept override {
        connection_.awaitInput(deadline);
    }

private:
    Stream& connection_;
};

}  // namespace

void readEvent(CommandContext& context) {
    const uint32_t queueId = ownedQueueParam(context);
    ReplyHandOff handOff(context.connection);
    const DeviceEvent event = context.manager.readEvent(queueId, &handOff);
    if (handOff.taken) {
        context.writer.writeRaw(handOff.unsent.data(), handOff.unsent.size());
        return;
    }
    context.reply("event", event);
}

void tryReadEvent(CommandContext& context) {
    const uint32_t queueId = ownedQueueParam(context);
    if (const std::optional<DeviceEvent> event = context.manager.tryReadEvent(queueId)) {
        context.reply("ok", true, "event", *event);
    } else {
        context.reply("ok", false);
    }
}

// Passes any number on without a lookup, so a client can announce changes of a device that
// the service doesn't list.
void notifyFilesChanged(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.notifyFilesChanged(device);
    context.reply();
}

}  // namespace tavu::commands
