#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <future>
#include <set>

#include "transport/SharedRegion.h"

namespace tavu {
namespace {

bool existsInShm(const std::string& name) { return std::filesystem::exists("/dev/shm/" + name); }

TEST(SharedRegionTest, CreatedRegionIsMappedByNameAndRemovedWhenItsOwnerCloses) {
    SharedRegion owner;
    ASSERT_TRUE(owner.createUnique("orek_tavu", 4096, false));
    const std::string name = owner.mappingName();
    EXPECT_EQ(name.rfind("orek_tavu", 0), 0u);
    EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF", 9), std::string::npos) << name;
    EXPECT_EQ(name.find('\\'), std::string::npos);
    std::memcpy(owner.view(), "frame", 5);

    SharedRegion client;
    ASSERT_TRUE(client.open(name));
    EXPECT_EQ(std::memcmp(client.view(), "frame", 5), 0);

    owner.close();
    owner.close();
    EXPECT_EQ(owner.view(), nullptr);
    EXPECT_EQ(owner.mappingName(), "");
    EXPECT_FALSE(existsInShm(name));
    // The client's mapping outlives the name.
    EXPECT_EQ(std::memcmp(client.view(), "frame", 5), 0);
    SharedRegion late;
    EXPECT_FALSE(late.open(name));
}

TEST(SharedRegionTest, SizeOfAnOpenedRegionIsRoundedUpToPages) {
    const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    SharedRegion owner;
    ASSERT_TRUE(owner.createUnique("orek_tavu", page + 6, false));
    EXPECT_EQ(owner.viewSize(), page + 6);
    SharedRegion client;
    ASSERT_TRUE(client.open(owner.mappingName()));
    EXPECT_EQ(client.viewSize(), 2 * page);
}

TEST(SharedRegionTest, RegionsFromTwoThreadsGetDifferentNames) {
    constexpr int PerThread = 50;
    auto createMany = [] {
        std::vector<SharedRegion> regions(PerThread);
        for (auto& region : regions) {
            EXPECT_TRUE(region.createUnique("orek_tavu", 64, false));
        }
        return regions;
    };
    auto first = std::async(std::launch::async, createMany);
    auto second = std::async(std::launch::async, createMany);
    std::vector<SharedRegion> all = first.get();
    for (auto& region : second.get()) {
        all.push_back(std::move(region));
    }
    std::set<std::string> names;
    for (const auto& region : all) {
        names.insert(region.mappingName());
    }
    EXPECT_EQ(names.size(), 2u * PerThread);
    all.clear();
    for (const auto& name : names) {
        EXPECT_FALSE(existsInShm(name)) << name;
    }
}

TEST(SharedRegionTest, FailuresLeaveTheObjectClosed) {
    SharedRegion region;
    EXPECT_FALSE(region.open("orek_tavu_no_such_region"));
    EXPECT_EQ(region.view(), nullptr);
    EXPECT_EQ(region.mappingName(), "");

    // Far more than can be mapped: the name is created, the mapping fails, nothing stays.
    EXPECT_FALSE(region.createUnique("orek_tavu", uint64_t{1} << 60, false));
    EXPECT_EQ(region.view(), nullptr);
    EXPECT_EQ(region.mappingName(), "");

    // Below 4 GiB a named region asks for no bytes at all.
    EXPECT_FALSE(region.createNamed("orek_tavu_named_test", 4096, false));
    EXPECT_FALSE(existsInShm("orek_tavu_named_test"));
}

TEST(SharedRegionTest, MoveHandsOverTheRegion) {
    SharedRegion first;
    ASSERT_TRUE(first.createUnique("orek_tavu", 128, false));
    const std::string name = first.mappingName();
    SharedRegion second(std::move(first));
    EXPECT_EQ(first.view(), nullptr);
    EXPECT_EQ(second.mappingName(), name);
    SharedRegion third;
    ASSERT_TRUE(third.createUnique("orek_tavu", 128, false));
    const std::string replaced = third.mappingName();
    third = std::move(second);
    EXPECT_FALSE(existsInShm(replaced));
    EXPECT_EQ(third.mappingName(), name);
    EXPECT_TRUE(existsInShm(name));
}

}  // namespace
}  // namespace tavu
