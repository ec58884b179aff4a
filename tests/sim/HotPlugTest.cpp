#include "SimFixture.h"
#include "support/ServiceProcess.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <mutex>
#include <thread>
#include <vector>

namespace tavu::test {
namespace {

using testing::HasSubstr;

// A change callback, registered for the object's life, that counts its calls and notes the
// threads that made them.
class CallbackLog {
public:
    explicit CallbackLog(Quillon::DeviceCollection& collection)
        : collection_(collection), id_(collection.registerChangeCallback([this](uint32_t) {
              std::lock_guard lock(mutex_);
              threads_.push_back(std::this_thread::get_id());
          })) {}
    ~CallbackLog() { unregister(); }

    void unregister() { collection_.unregisterChangeCallback(id_); }
    size_t calls() {
        std::lock_guard lock(mutex_);
        return threads_.size();
    }
    bool waitForCalls(size_t count) {
        return eventually([&] { return calls() >= count; }, std::chrono::seconds(5));
    }
    std::vector<std::thread::id> threads() {
        std::lock_guard lock(mutex_);
        return threads_;
    }

private:
    Quillon::DeviceCollection& collection_;
    std::mutex mutex_;
    std::vector<std::thread::id> threads_;
    uint32_t id_;  // last: the callback may run as soon as it is registered
};

class HotPlug : public SimFixture {
protected:
    nlohmann::json description = twoRecorders();
    nlohmann::json& recorders() { return description["recorders"]; }
};

TEST_F(HotPlug, AnAppearingRecorderIsAppendedWhateverItsPlaceInTheFile) {
    auto& collection = this->collection();
    CallbackLog log(collection);

    recorders().insert(recorders().begin(), nlohmann::json{{"name", "REC-C"}, {"deviceType", 1}});
    writeDescription(description);
    ASSERT_TRUE(log.waitForCalls(1));
    EXPECT_NE(log.threads()[0], std::this_thread::get_id());
    ASSERT_EQ(collection.count(), 3u);
    EXPECT_STREQ(collection.deviceName(0).c_str(), "REC-A");
    EXPECT_STREQ(collection.deviceName(1).c_str(), "REC-B");
    EXPECT_STREQ(collection.deviceName(2).c_str(), "REC-C");
    EXPECT_EQ(collection.deviceState(2), 0u);
}

TEST_F(HotPlug, ConnectingAndUnpluggingKeepTheIndex) {
    auto& collection = this->collection();
    const auto recorderB = collection.device(1);
    CallbackLog log(collection);

    recorders()[1]["connected"] = true;
    writeDescription(description);
    ASSERT_TRUE(log.waitForCalls(1));
    EXPECT_EQ(collection.deviceState(1), 0u);
    EXPECT_EQ(recorderB->connectionState(), 0u);
    EXPECT_EQ(recorderB->portCount(), 1u);

    // A recorder that leaves the file is unplugged and keeps its place.
    recorders().erase(0);
    writeDescription(description);
    ASSERT_TRUE(log.waitForCalls(2));
    ASSERT_EQ(collection.count(), 2u);
    EXPECT_STREQ(collection.deviceName(0).c_str(), "REC-A");
    EXPECT_EQ(collection.deviceState(0), Quillon::DeviceCollection::StateDisconnected);
    EXPECT_EQ(readState("REC-A")["connected"], false);
}

TEST_F(HotPlug, AFaultyEditIsReportedBesideTheFileAndChangesNothing) {
    auto& collection = this->collection();
    CallbackLog log(collection);
    const auto errorFile = root() / "recorders.error";

    recorders()[1]["connected"] = "yes";
    writeDescription(description);
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(errorFile); }, std::chrono::seconds(5)));
    std::ifstream in(errorFile);
    const std::string error((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_THAT(error, HasSubstr("recorders[1].connected must be true or false"));
    // The edit has been read by now: had it been taken, the callback would have run.
    EXPECT_EQ(log.calls(), 0u);
    EXPECT_EQ(collection.deviceState(1), Quillon::DeviceCollection::StateDisconnected);

    recorders()[1]["connected"] = true;
    writeDescription(description);
    ASSERT_TRUE(log.waitForCalls(1));
    EXPECT_EQ(collection.deviceState(1), 0u);
    EXPECT_FALSE(std::filesystem::exists(errorFile));
}

TEST_F(HotPlug, AnUnregisteredCallbackIsNotCalledAgain) {
    auto& collection = this->collection();
    CallbackLog dropped(collection);
    CallbackLog kept(collection);
    dropped.unregister();

    recorders()[1]["connected"] = true;
    writeDescription(description);
    ASSERT_TRUE(kept.waitForCalls(1));
    EXPECT_EQ(dropped.calls(), 0u);
}

TEST_F(HotPlug, HandlesOfAnUnpluggedRecorderFailCleanly) {
    const auto port = recorderA()->port(0);
    CallbackLog log(collection());
    recorders()[0]["connected"] = false;
    writeDescription(description);
    ASSERT_TRUE(log.waitForCalls(1));
    EXPECT_EQ(libraryError([&] { port->isGrabbing(); }), "Recorder REC-A is not connected.");
}

}  // namespace
}  // namespace tavu::test
