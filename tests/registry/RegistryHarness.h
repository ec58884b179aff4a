#pragma once
#include "FakeLibrary.h"
#include "support/MockHardwareDevice.h"
#include "library/Loader.h"
#include "hardware/RecorderDiscovery.h"
#include "registry/DeviceManager.h"

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tavu::test {

// Sets and unsets environment variables, and puts back what was there when it goes.
class ScopedEnvironment {
public:
    ScopedEnvironment() = default;
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment();

    void set(const std::string& name, const std::string& value);
    void unset(const std::string& name);

private:
    void remember(const std::string& name);

    std::map<std::string, std::optional<std::string>> saved_;
};

// Waits, up to a bound, until the thread with this kernel id sleeps (blocked on a lock or a
// condition). False when the bound passed.
bool waitUntilBlocked(pid_t threadId);

// A DeviceManager over the fake library, whose hardware devices are mocks. The variables that the
// manager reads start unset.
class ManagerHarness {
public:
    ManagerHarness();

    // Starts the manager and returns what it wrote on standard output.
    std::string start();
    // Fires the library's change callback, waits until the update has been broadcast to the
    // queue, and returns what the update wrote on standard output.
    std::string change(uint32_t queueId);
    MockHardwareDevice& device(std::size_t creationIndex);
    std::size_t devicesCreated();

    ScopedEnvironment environment;
    FakeLibrary library;
    // Runs on each device as it is created, before the manager uses it.
    std::function<void(MockHardwareDevice&)> prepareDevice;

private:
    std::unique_ptr<HardwareDevice> createDevice();

    ScopedLibraryOverride override_{&library};
    std::mutex createdMutex_;
    std::vector<MockHardwareDevice*> created_;

public:
    // Declared last, so that it stops while the library and its override still stand.
    DeviceManager manager;
};

}  // namespace tavu::test
