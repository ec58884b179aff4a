// Many clients at once against the emulated and a simulated recorder, a share of them vanishing
// at awkward moments: the service must go on answering and give back everything they held.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>

#include "Reliability.h"
#include "support/TestClient.h"
#include "tests/recorder/RecorderFixture.h"

namespace tavu::test {
namespace {

constexpr int Clients = 64;
constexpr auto Duration = std::chrono::seconds(3);
constexpr uint32_t Emulator = 0, Recorder = 1;
// A pairing block larger than a socket's buffer, so that a client leaving just after asking
// for it leaves the service in the middle of writing the reply.
constexpr size_t BigBlock = 512 * 1024;

ObjectValue params(std::initializer_list<std::pair<const char*, ObjectValue>> pairs) { return makeMap(pairs); }
ObjectValue onDevice(uint32_t device) { return params({{"deviceId", u(device)}}); }
ObjectValue onPort(uint32_t device, uint8_t port) { return params({{"deviceId", u(device)}, {"port", u(port)}}); }
ObjectValue request(Command command, ObjectValue values) {
    return makeMap({{"act", str("exec")}, {"ord", u(static_cast<uint64_t>(command))}, {"params", std::move(values)}});
}

// What the clients did that must show afterwards.
struct Ledger {
    std::mutex lock;
    std::set<std::string> mappings;                        // every region handed out
    std::map<uint32_t, uint64_t> running;                  // device -> frames asked of its recording
    std::vector<std::tuple<uint32_t, uint32_t, uint64_t>> recordings;  // device, file id, frames
    std::map<uint32_t, RecordingFile> playable;    // device -> a finished recording
};

class Worker {
public:
    Worker(const std::string& socket, Ledger& ledger, uint32_t seed) : ledger_(ledger), random_(seed), client_(socket) {}

    // Runs a few commands and leaves in one of several ways; true when it left on purpose
    // before a reply or a whole request.
    void run() {
        client_.handshake();
        const int steps = pick(1, 8);
        for (int step = 0; step < steps; ++step) {
            action();
        }
        leave();
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
    uint32_t anyDevice() { return static_cast<uint32_t>(pick(0, 1)); }
    uint8_t anyPort(uint32_t device) { return static_cast<uint8_t>(device == Emulator ? 0 : pick(0, 1)); }

    ObjectValue exec(Command command, ObjectValue values) {
        return client_.exec(static_cast<uint64_t>(command), std::move(values));
    }
    void expectSuccess(Command command, ObjectValue values) {
        EXPECT_EQ(errorOf(exec(command, std::move(values))), "") << commandName(command);
    }
    // Names the command's region in the ledger when it succeeded.
    std::string mappingOf(const ObjectValue& reply) {
        if (!errorOf(reply).empty()) {
            return "";
        }
        std::string mapping = resultOf(reply).mapAt("mapping").asString();
        std::lock_guard guard(ledger_.lock);
        ledger_.mappings.insert(mapping);
        return mapping;
    }

    void action() {
        const uint32_t device = anyDevice();
        switch (pick(0, 6)) {
        case 0:
            expectSuccess(Command::DeviceName, onDevice(device));
            expectSuccess(Command::ListFiles, onDevice(device));
            expectSuccess(Command::PercentUsed, onDevice(device));
            break;
        case 1:
            if (!hasQueue_) {
                expectSuccess(Command::CreateEventQueue, params({}));
                hasQueue_ = true;
            }
            break;
        case 2: {
            RecordingFile file;
            {
                std::lock_guard guard(ledger_.lock);
                file = ledger_.playable.at(device);
            }
            const ObjectValue reply = exec(Command::OpenFile, params({{"deviceId", u(device)},
                                                                      {"fileId", u(file.fileId)},
                                                                      {"streamId", u(file.streamId)}}));
            ASSERT_NE(mappingOf(reply), "") << errorOf(reply);
            const uint64_t openFileId = resultOf(reply).mapAt("openFileId").asPositive();
            expectSuccess(Command::ReadFrame,
                          params({{"deviceId", u(device)}, {"openFileId", u(openFileId)}, {"frame", u(pick(0, 3))}}));
            if (pick(0, 1) == 0) {
                expectSuccess(Command::CloseFile, params({{"deviceId", u(device)}, {"openFileId", u(openFileId)}}));
            }
            break;
        }
        case 3: {
            // Live view belongs to the port, not to a client: another client may have it, or
            // take it over and stop it meanwhile, so only the emulator's own start is sure.
            const uint8_t port = anyPort(device);
            if (mappingOf(exec(Command::StartLive, onPort(device, port))).empty()) {
                break;
            }
            for (int frame = pick(1, 3); frame > 0; --frame) {
                const ObjectValue reply = exec(Command::LiveFrame, onPort(device, port));
                if (device == Emulator) {
                    EXPECT_EQ(errorOf(reply), "");
                }
            }
            if (pick(0, 1) == 0) {
                exec(Command::StopLive, onPort(device, port));
            }
            break;
        }
        case 4:
            recordingStep(device);
            break;
        case 5:
            // Faults within a command cost an error reply, and the connection stays.
            EXPECT_EQ(errorOf(exec(Command::ReadFrame, onDevice(device))), "Key not found in map.");
            EXPECT_EQ(errorOf(exec(Command::DeviceName, onDevice(7))), "Invalid device index.");
            EXPECT_EQ(errorOf(client_.exec(58, params({}))), "Unrecognized function.");
            break;
        case 6:
            if (device == Recorder) {
                expectSuccess(Command::RegisterRead, params({{"deviceId", u(device)},
                                                            {"port", u(0)},
                                                            {"addr", u(0x300C)},
                                                            {"size", u(4)}}));
            }
            expectSuccess(Command::PortIdentity, onPort(device, 0));
            break;
        }
    }

    // Starts a short counted recording when the device has none, or stops one that is done,
    // under the global lock so that the file id asked for after the stop is this recording's.
    void recordingStep(uint32_t device) {
        if (!holdsLock_) {
            expectSuccess(Command::LockGlobal, params({}));
            holdsLock_ = true;
        }
        std::unique_lock guard(ledger_.lock);
        const auto running = ledger_.running.find(device);
        if (running == ledger_.running.end()) {
            const uint64_t frames = static_cast<uint64_t>(pick(2, 6));
            guard.unlock();
            expectSuccess(Command::StartRecording, params({{"deviceId", u(device)},
                                                           {"portMask", u(1)},
                                                           {"externalTrigger", u(0)},
                                                           {"type", u(1)},
                                                           {"count", u(frames)},
                                                           {"usePretrigger", ObjectValue::boolean(false)},
                                                           {"pretriggerCount", u(0)}}));
            guard.lock();
            ledger_.running[device] = frames;
        } else if (resultOf(exec(Command::IsRecordingDone, onDevice(device))).mapAt("done").asBool()) {
            expectSuccess(Command::StopRecording, onDevice(device));
            const uint64_t fileId = resultOf(exec(Command::RecordingFile, onPort(device, 0))).mapAt("fileId").asPositive();
            ledger_.recordings.emplace_back(device, static_cast<uint32_t>(fileId), running->second);
            ledger_.running.erase(running);
        }
        guard.unlock();
        // Leaving with the lock held is one of the ways out.
        if (pick(0, 3) != 0) {
            expectSuccess(Command::UnlockGlobal, params({}));
            holdsLock_ = false;
        }
    }

    void leave() {
        switch (pick(0, 5)) {
        case 0:  // half a request
            client_.sendBytes({0x83, 0xA3, 'a', 'c', 't', 0xA4, 'e', 'x', 'e', 'c', 0xA3, 'o', 'r'});
            break;
        case 1:  // a request announcing a megabyte that never comes
            client_.sendBytes({0x83, 0xA3, 'a', 'c', 't', 0xC6, 0x00, 0x10, 0x00, 0x00, 'e', 'x'});
            break;
        case 2:  // gone while the reply is being written
            client_.send(request(Command::PortIdentity, onPort(Recorder, 1)));
            break;
        case 3:  // gone while waiting for the lock
            if (!holdsLock_) {
                client_.send(makeMap({{"act", str("exec")}, {"ord", u(static_cast<uint64_t>(Command::LockGlobal))}}));
            }
            break;
        case 4:  // not a request at all
            client_.sendBytes({0x91, 0x01});
            EXPECT_TRUE(client_.closedWithoutReply());
            break;
        default:  // simply gone, with whatever it held
            break;
        }
    }

    Ledger& ledger_;
    std::mt19937 random_;
    TestClient client_;
    bool hasQueue_ = false;
    bool holdsLock_ = false;
};

using Stress = RecorderFixture;

TEST_F(Stress, ManyClientsComingAndVanishingLeaveNothingBehind) {
    const char* seedText = std::getenv("TAVU_STRESS_SEED");
    const uint32_t seed = seedText != nullptr ? static_cast<uint32_t>(std::strtoul(seedText, nullptr, 10)) : 20240611u;
    SCOPED_TRACE("TAVU_STRESS_SEED=" + std::to_string(seed));

    // Shared regions of its own, so that they can be counted: other tests' services draw the
    // same names, and a killed service leaves its regions behind.
    const ScopedMount sharedMemory = ScopedMount::tmpfs("/dev/shm", 64 * 1024 * 1024);
    writeDescription({recorder("REC-A")});
    startService(2, {{"TAVUSRV_ENABLE_EMULATOR", "1"}});
    ASSERT_EQ(client().deviceName(Emulator), "Emulator");
    Ledger ledger;
    client().setup(Recorder);
    client().setPortConfig(Emulator, 0, {16, 16, 0, 0});
    client().pairPort(Emulator, 0, "emu-cam", std::vector<uint8_t>{1, 2}, 1);
    client().pairPort(Recorder, 0, "rec-cam", std::vector<uint8_t>{3}, 1);
    client().pairPort(Recorder, 1, "big", std::vector<uint8_t>(BigBlock, 9), 1);
    for (uint8_t port = 0; port < 2; ++port) {
        client().setPortConfig(Recorder, port, {16, 8, 0, 0});
    }
    // One finished recording on each device to play back, and one round of everything, so
    // that what is allocated once for good is in the baseline.
    for (const uint32_t device : {Emulator, Recorder}) {
        client().startRecording(device, {1, 0, StopCondition::FrameCount, 4, false, 0});
        ASSERT_TRUE(eventually([&] { return client().isRecordingDone(device); }));
        client().stopRecording(device);
        ledger.playable[device] = client().recordingFile(device, 0);
        ledger.recordings.emplace_back(device, ledger.playable[device].fileId, 4);
        for (uint8_t port = 0; port < client().portCount(device); ++port) {
            client().startLive(device, port);
            client().liveFrame(device, port);
            client().stopLive(device, port);
        }
    }
    ASSERT_TRUE(service->waitUntilIdle());
    const Footprint before = footprintOf(service->pid());
    const size_t regionsBefore = sharedRegionCount();

    const auto deadline = std::chrono::steady_clock::now() + Duration;
    std::atomic<int> sessions = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < Clients; ++index) {
        threads.emplace_back([&, index] {
            for (uint32_t round = 0; std::chrono::steady_clock::now() < deadline; ++round) {
                Worker(home.socketPath(), ledger, seed + static_cast<uint32_t>(index) * 7919u + round).run();
                ++sessions;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    // Still answering; the recordings that were left running are finished here.
    ASSERT_EQ(client().deviceCount(), 2u);
    for (const auto& [device, frames] : ledger.running) {
        ASSERT_TRUE(eventually([&, device = device] { return client().isRecordingDone(device); }));
        client().stopRecording(device);
        ledger.recordings.emplace_back(device, client().recordingFile(device, 0).fileId, frames);
    }
    // Clean-up of departed clients runs on their own threads, after their sockets closed.
    Footprint after;
    EXPECT_TRUE(eventually([&] {
        after = footprintOf(service->pid());
        return after.descriptors == before.descriptors && after.threads == before.threads &&
               after.sharedMappings == before.sharedMappings;
    }));
    std::printf("%d sessions; descriptors %zu -> %zu, threads %zu -> %zu, shared mappings %zu -> %zu, "
                "resident %llu KiB -> %llu KiB, %zu regions handed out, %zu recordings, %zu regions left\n",
                sessions.load(), before.descriptors, after.descriptors, before.threads, after.threads,
                before.sharedMappings, after.sharedMappings, static_cast<unsigned long long>(before.residentKiB),
                static_cast<unsigned long long>(after.residentKiB), ledger.mappings.size(), ledger.recordings.size(),
                sharedRegionCount());
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.sharedMappings, before.sharedMappings);
#ifndef TAVU_SERVICE_SANITIZED
    // The allocator keeps some of what the departed clients' threads used; a leak per client
    // would go well past this. A sanitizer's allocator keeps freed memory on purpose.
    EXPECT_LT(after.residentKiB, before.residentKiB + 24 * 1024);
#endif
    // A recorder's port keeps its last live region until its next start, which the service
    // still maps; all else is gone.
    if (sharedMemory.mounted()) {
        EXPECT_EQ(sharedRegionCount(), regionsBefore);
    }
    const std::set<std::string> mapped = sharedRegionsMapped();
    for (const std::string& mapping : ledger.mappings) {
        EXPECT_TRUE(!sharedRegionExists(mapping) || mapped.contains(mapping)) << mapping;
    }

    std::map<uint32_t, std::vector<FileRecord>> listed;
    for (const uint32_t device : {Emulator, Recorder}) {
        listed[device] = client().listFiles(device);
    }
    EXPECT_GT(ledger.recordings.size(), 2u);
    for (const auto& [device, fileId, frames] : ledger.recordings) {
        const auto& files = listed[device];
        const auto file = std::ranges::find(files, fileId, &FileRecord::fileId);
        ASSERT_NE(file, files.end()) << "device " << device << " file " << fileId;
        EXPECT_EQ(file->numFrames, frames) << "device " << device << " file " << fileId;
    }
    EXPECT_EQ(listed[Emulator].size() + listed[Recorder].size(), ledger.recordings.size());
}

}  // namespace
}  // namespace tavu::test
