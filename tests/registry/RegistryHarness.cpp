#include "RegistryHarness.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace tavu::test {
namespace {

constexpr auto WaitBound = std::chrono::seconds(10);

const char* const ManagerVariables[] = {
    "TAVUSRV_SATA_ONLY",
    "TAVUSRV_ENABLE_EMULATOR",
    "TAVUSRV_DEVICE_NAME_BLACKLIST",
    "TAVUSRV_DEVICE_NAME_WHITELIST",
    "TAVUSRV_DEVICE_ALT_NAME_BLACKLIST",
    "TAVUSRV_DEVICE_ALT_NAME_WHITELIST",
};

char threadState(pid_t threadId) {
    std::ifstream stat("/proc/self/task/" + std::to_string(threadId) + "/stat");
    std::string line;
    std::getline(stat, line);
    // The state follows the parenthesised command name.
    const auto close = line.rfind(')');
    return close == std::string::npos || close + 2 >= line.size() ? '?' : line[close + 2];
}

}  // namespace

ScopedEnvironment::~ScopedEnvironment() {
    for (const auto& [name, value] : saved_) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
}

void ScopedEnvironment::set(const std::string& name, const std::string& value) {
    remember(name);
    setenv(name.c_str(), value.c_str(), 1);
}

void ScopedEnvironment::unset(const std::string& name) {
    remember(name);
    unsetenv(name.c_str());
}

void ScopedEnvironment::remember(const std::string& name) {
    if (saved_.count(name) == 0) {
        const char* value = std::getenv(name.c_str());
        saved_[name] = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    }
}

bool waitUntilBlocked(pid_t threadId) {
    const auto deadline = std::chrono::steady_clock::now() + WaitBound;
    while (std::chrono::steady_clock::now() < deadline) {
        if (threadState(threadId) == 'S') {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

ManagerHarness::ManagerHarness() {
    for (const char* name : ManagerVariables) {
        environment.unset(name);
    }
}

std::string ManagerHarness::start() {
    testing::internal::CaptureStdout();
    manager.start({std::make_unique<RecorderDiscovery>([this] { return createDevice(); }), nullptr});
    return testing::internal::GetCapturedStdout();
}

std::string ManagerHarness::change(uint32_t queueId) {
    testing::internal::CaptureStdout();
    library.collection().fireChange();
    const auto deadline = std::chrono::steady_clock::now() + WaitBound;
    DeviceEvent event;
    do {
        manager.readEvent(queueId, event);
    } while (event.type != DeviceEvent::DevicesChanged && std::chrono::steady_clock::now() < deadline);
    std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(event.type, DeviceEvent::DevicesChanged) << "no update was broadcast";
    return output;
}

MockHardwareDevice& ManagerHarness::device(std::size_t creationIndex) {
    std::lock_guard lock(createdMutex_);
    return *created_.at(creationIndex);
}

std::size_t ManagerHarness::devicesCreated() {
    std::lock_guard lock(createdMutex_);
    return created_.size();
}

std::unique_ptr<HardwareDevice> ManagerHarness::createDevice() {
    auto device = std::make_unique<testing::NiceMock<MockHardwareDevice>>();
    if (prepareDevice) {
        prepareDevice(*device);
    }
    std::lock_guard lock(createdMutex_);
    created_.push_back(device.get());
    return device;
}

}  // namespace tavu::test
