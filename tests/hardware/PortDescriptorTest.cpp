#include "LibraryMocks.h"
#include "hardware/DeviceType.h"
#include "hardware/PortDescriptor.h"
#include "library/Loader.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

using testing::NiceMock;
using testing::Return;
using Fields = std::vector<std::pair<uint32_t, ParameterValue>>;

ParameterValue u32(uint32_t value) { return ParameterValue::unsigned32(value); }
ParameterValue off() { return ParameterValue::boolean(false); }

class PortDescriptorTest : public testing::Test {
protected:
    Fields describe(uint32_t deviceType, uint16_t width, uint32_t tapGeometry = 0) {
        const Ptr<Quillon::DataDescriptor> descriptor = describePort(port, deviceType, 3, width, 480, tapGeometry);
        EXPECT_EQ(descriptor, library.descriptors.back());
        return Fields(library.descriptors.back()->fields.begin(), library.descriptors.back()->fields.end());
    }

    TestLibrary library;
    ScopedLibraryOverride libraryOverride{&library};
    NiceMock<MockPort> port;
};

TEST_F(PortDescriptorTest, FrameGrabberPortsGetTableBInItsOrder) {
    EXPECT_CALL(library, createDataDescriptor(0)).Times(4);
    // Three taps for geometry 10: 1000 pixels take 333 clocks. Field 20 stands before 16.
    EXPECT_EQ(describe(5, 1000, 10),
              (Fields{{0, u32(1)},  {1, u32(333)}, {2, u32(480)}, {3, u32(0)},  {4, u32(0)},  {5, u32(3)},
                      {6, u32(16)}, {7, u32(0)},   {8, off()},    {9, off()},   {13, off()},  {14, off()},
                      {15, u32(1)}, {20, off()},   {16, off()},   {17, u32(1)}, {18, u32(1)}, {19, u32(1)},
                      {24, off()},  {25, u32(0)},  {27, off()},   {28, off()},  {30, off()}}));
    const Quillon::DataDescriptor& descriptor = *library.descriptors.back();
    EXPECT_TRUE(descriptor.isCustom());
    EXPECT_EQ(std::string(descriptor.manufacturer().c_str()) + descriptor.model().c_str() + descriptor.subModel().c_str(),
              "OREKTAVU3");
    // Geometry value and taps of the other tap geometries.
    for (auto [tapGeometry, geometry, taps] : {std::tuple{19u, 2u, 4u}, {1u, 1u, 2u}, {7u, 0u, 1u}}) {
        const Fields fields = describe(5, 1200, tapGeometry);
        EXPECT_EQ(std::tie(fields[0].second, fields[1].second, fields[5].second),
                  std::make_tuple(u32(geometry), u32(1200 / taps), u32(taps)))
            << tapGeometry;
    }
}

TEST_F(PortDescriptorTest, CoaXPressPortsGetTableAWithTheLinkClocking) {
    EXPECT_CALL(library, createDataDescriptor(4)).Times(3);
    EXPECT_CALL(port, linkMode()).WillOnce(Return(2)).WillOnce(Return(1)).WillOnce(Return(2));
    EXPECT_EQ(describe(16, 2048),
              (Fields{{35, u32(2048)}, {1, u32(512)}, {2, u32(480)}, {3, u32(0)},  {4, u32(0)},  {5, u32(2)},
                      {6, u32(16)},    {7, u32(0)},   {9, off()},    {13, off()},  {14, off()}, {15, u32(1)},
                      {16, off()},     {17, u32(1)},  {18, u32(1)},  {19, u32(1)}}));
    const Fields wide = describe(16, 2048);
    EXPECT_EQ(std::tie(wide[1].second, wide[5].second), std::make_tuple(u32(1024), u32(1)));
    // The second family takes eight pixels a clock on any link.
    EXPECT_EQ(describe(70, 2048)[1].second, u32(256));
}

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
