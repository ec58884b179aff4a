#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "encoding/ObjectValue.h"
#include "library/DeviceCollection.h"
#include "library/Instance.h"
#include "library/LibraryEntry.h"
#include "library/Loader.h"
#include "protocol/ClientHoldings.h"
#include "registry/DeviceManager.h"
#include "hardware/HardwareDevice.h"
#include "support/MockHardwareDevice.h"
#include "support/TestClient.h"

namespace tavu {

void PrintTo(const DeviceEvent& event, std::ostream* out);

namespace test {

using MockDevice = MockHardwareDevice;

// A recorder library with a fixed number of connected recorders and nothing else.
class FakeLibrary : public Quillon::LibraryEntry {
public:
    explicit FakeLibrary(uint32_t recorders);

    boost::shared_ptr<Quillon::Instance> initialize(const Quillon::String&, bool, Quillon::Scope) override {
        return instance_;
    }
    boost::shared_ptr<Quillon::DataDescriptor> createDataDescriptor(uint32_t) override { return {}; }
    boost::shared_ptr<Common::Buffer> createBuffer(const void*, uint64_t) override { return {}; }
    uint64_t universalTime() override { return 0; }

private:
    boost::shared_ptr<Quillon::Instance> instance_;
};

// What a command wrote: the bytes, and the first value decoded from them.
struct Reply {
    std::vector<uint8_t> bytes;
    ObjectValue value;

    std::string error() const { return errorOf(value); }
    const ObjectValue& result() const { return resultOf(value); }
};

// {"result": {pairs}}, or {} for no pairs: what a reply should encode to.
ObjectValue resultMap(std::initializer_list<std::pair<const char*, ObjectValue>> pairs);
ObjectValue blob(const std::string& bytes);
ObjectValue boolean(bool value);
std::string hex(const std::vector<uint8_t>& bytes);
// The bytes of the reply against the encoding of the expected value, shown in hexadecimal.
void expectReply(const Reply& reply, const ObjectValue& expected);

// A device manager with strict mock recorders, and two clients, for which commands run as the
// request loop runs them.
class ProtocolTest : public ::testing::Test {
protected:
    explicit ProtocolTest(uint32_t recorders = 2);

    testing::StrictMock<MockDevice>& device(uint32_t index) { return *devices_.at(index); }
    ClientHoldings& first() { return first_; }
    ClientHoldings& second() { return second_; }

    Reply call(ClientHoldings& client, uint32_t ordinal, std::optional<ObjectValue> params);
    Reply call(uint32_t ordinal, ObjectValue params) { return call(first(), ordinal, std::move(params)); }

    // Gives the client a queue and returns its id.
    uint32_t openQueue(ClientHoldings& client);
    // Everything waiting in the client's queue, oldest first.
    std::vector<DeviceEvent> takeEvents(ClientHoldings& client);

private:
    FakeLibrary library_;
    ScopedLibraryOverride override_;
    std::vector<testing::StrictMock<MockDevice>*> devices_;  // owned by manager_
    Clients clients_;
    ClientHoldings first_;
    ClientHoldings second_;
    Clients::Entry firstListed_{clients_, first_};
    Clients::Entry secondListed_{clients_, second_};

protected:
    // Last, so that it stops before the library and the mocks' list go.
    DeviceManager manager_;
};

}  // namespace test
}  // namespace tavu
