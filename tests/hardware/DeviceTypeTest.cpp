#include "hardware/DeviceType.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tavu::test {
namespace {

TEST(DeviceType, FamilyAndLinkFollowTheModelTable) {
    for (auto [deviceType, family, coaXPress] :
         {std::tuple{0u, 0, false}, {1u, 2, false}, {14u, 2, false}, {15u, 2, true}, {17u, 2, true},
          {18u, 0, false}, {20u, 2, false}, {63u, 0, false}, {64u, 3, false}, {67u, 3, false}, {70u, 3, true},
          {71u, 3, true}, {72u, 3, false}, {73u, 0, false}, {150u, 2, false}, {151u, 2, false}, {152u, 0, false}}) {
        EXPECT_EQ(hardwareTypeOf(deviceType), family) << deviceType;
        EXPECT_EQ(isCoaXPressType(deviceType), coaXPress) << deviceType;
    }
}

}  // namespace
}  // namespace tavu::test
