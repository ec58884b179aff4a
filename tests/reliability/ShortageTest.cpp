// The service when descriptors run short or a crowd of clients comes and goes: it goes on
// serving, and gives back what the crowd took.
#include <sys/resource.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "Reliability.h"
#include "wire/Commands.h"
#include "support/TestClient.h"

namespace tavu::test {
namespace {

bool answers(TestClient& client) {
    client.handshake();
    return resultOf(client.exec(static_cast<uint64_t>(Command::DeviceCount))).mapContains("count");
}

TEST(Shortage, ClientsBeyondTheDescriptorLimitWaitUntilDescriptorsAreFree) {
#ifdef TAVU_SERVICE_SANITIZED
    GTEST_SKIP() << "the sanitizer runtime probes memory through a pipe, which fails at the descriptor limit";
#endif
    TestHome home;
    // Started with a low soft limit of ours, the service raises it to the hard limit.
    rlimit own{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &own), 0);
    const rlimit low{64, own.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
    ServiceProcess service(home, {"noautoclose"});
    setrlimit(RLIMIT_NOFILE, &own);
    ASSERT_TRUE(service.waitForSocket());
    rlimit raised{};
    ASSERT_EQ(prlimit(service.pid(), RLIMIT_NOFILE, nullptr, &raised), 0);
    EXPECT_EQ(raised.rlim_cur, own.rlim_max);

    constexpr rlim_t Limit = 64;
    const rlimit tight{Limit, Limit};
    ASSERT_EQ(prlimit(service.pid(), RLIMIT_NOFILE, &tight, nullptr), 0);
    std::vector<std::unique_ptr<TestClient>> clients;
    for (rlim_t index = 0; index < Limit + 8; ++index) {
        clients.push_back(std::make_unique<TestClient>(home.socketPath()));
    }
    // At its limit (every descriptor number below it taken) the service waits without
    // spinning, and serves the clients that it holds.
    const std::filesystem::path descriptors = "/proc/" + std::to_string(service.pid()) + "/fd";
    const auto taken = [&] {
        std::error_code error;
        rlim_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(descriptors, error)) {
            count += std::stoul(entry.path().filename()) < Limit ? 1 : 0;
        }
        return count;
    };
    ASSERT_TRUE(eventually([&] { return taken() == Limit; }));
    EXPECT_TRUE(service.waitUntilIdle());
    EXPECT_TRUE(answers(*clients.front()));
    // Once half of them leave, the ones still waiting (8, and as many as the service holds
    // descriptors of its own) are taken and served.
    clients.erase(clients.begin(), clients.begin() + Limit / 2);
    for (const auto& client : clients) {
        EXPECT_TRUE(answers(*client));
    }
}

TEST(Shortage, MemoryOfABurstOfIdleClientsGoesBackWhenTheyLeave) {
    constexpr size_t Burst = 2000;
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    if (files.rlim_max < Burst + 100 || setrlimit(RLIMIT_NOFILE, &files) != 0) {
        GTEST_SKIP() << "too few descriptors allowed here";
    }
    TestHome home;
    ServiceProcess service(home, {"noautoclose"});
    TestClient first(home.socketPath());
    ASSERT_TRUE(answers(first));
    ASSERT_TRUE(service.waitUntilIdle());
    const Footprint before = footprintOf(service.pid());
    {
        std::vector<std::unique_ptr<TestClient>> burst;
        for (size_t index = 0; index < Burst; ++index) {
            burst.push_back(std::make_unique<TestClient>(home.socketPath()));
        }
        ASSERT_TRUE(eventually([&] { return footprintOf(service.pid()).threads == before.threads + Burst; }));
    }
    ASSERT_TRUE(eventually([&] { return footprintOf(service.pid()).threads == before.threads; }));
#ifndef TAVU_SERVICE_SANITIZED
    // A sanitizer's allocator keeps freed memory on purpose.
    uint64_t after = 0;
    EXPECT_TRUE(eventually([&] { return (after = footprintOf(service.pid()).residentKiB) < 2 * before.residentKiB; }, 2s))
        << before.residentKiB << " KiB before the burst, " << after << " KiB after";
#endif
}

}  // namespace
}  // namespace tavu::test
