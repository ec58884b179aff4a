#include <gtest/gtest.h>

#include <cstring>

#include "EmulatorFixture.h"
#include "transport/SharedRegion.h"

namespace tavu::test {
namespace {

// Every pixel from `first` on holds the ramp, which runs on across frames from 0.
void expectRamp(const uint8_t* frame, size_t first, size_t pixels, uint32_t frameIndex) {
    for (size_t pixel = first; pixel < pixels; ++pixel) {
        ASSERT_EQ(pixelAt(frame, pixel), static_cast<uint16_t>(frameIndex * pixels + pixel)) << pixel;
    }
}

// The first frame's time is day 1, 00:00:00.000; each frame adds 33 ms.
TEST_F(EmulatorTest, FramesCarryTheRampUnderAHeaderClippedToTheFirstRow) {
    for (const uint16_t width : {4, 100}) {
        TavuDeviceEmulator device;
        prepare(device, width, 2);
        record(device, 2);
        const OpenedFile opened = openFile(device, device.listFiles().back().fileId);
        SharedRegion view;
        ASSERT_TRUE(view.open(opened.mapping));
        const auto* bytes = static_cast<const uint8_t*>(view.view());
        for (uint32_t frame = 0; frame < 2; ++frame) {
            device.readFrame(opened.openFileId, frame);
            const uint8_t narrowHeader[8] = {0x0F, 0, 4, 0, 0, 0, 0, 0};
            EXPECT_EQ(std::memcmp(bytes, narrowHeader, sizeof(narrowHeader)), 0);
            if (width == 4) {
                expectRamp(bytes, 4, 8, frame);
                continue;
            }
            EXPECT_EQ(pixelAt(bytes, 4), frame * 33000);  // microseconds
            EXPECT_EQ(le32(bytes, 10), 0x77AA0000u);
            EXPECT_EQ(std::memcmp(bytes + 14, "Fwrx", 4), 0);
            EXPECT_EQ(le32(bytes, 20), frame);
            EXPECT_EQ(le32(bytes, 50), 208333u);
            EXPECT_EQ(std::vector<uint8_t>(bytes + 59, bytes + 62), (std::vector<uint8_t>{9, 3, 1}));
            EXPECT_EQ(le32(bytes, 90), 0x0001000Eu);
            expectRamp(bytes, 63, 200, frame);
        }
    }
}

TEST_F(EmulatorTest, SlotsAreReusedAndTheirRegionsVanishWhenClosed) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    record(device, 1);
    OpenedFile first = openFile(device, 1);
    const OpenedFile second = openFile(device, 1);
    EXPECT_EQ(std::make_pair(first.openFileId, second.openFileId), std::make_pair(0u, 1u));
    EXPECT_NE(first.mapping, second.mapping);
    EXPECT_EQ(first.mapping.rfind("orek_tavu", 0), 0u);
    EXPECT_TRUE(regionExists(first.mapping));
    device.closeFile(first.openFileId);
    EXPECT_FALSE(regionExists(first.mapping));
    EXPECT_FAILS_WITH(device.closeFile(first.openFileId), "File not open");
    EXPECT_FAILS_WITH(device.readFrame(2, 0), "Invalid fileId");
    first = openFile(device, 1);
    EXPECT_EQ(first.openFileId, 0u);
    device.closeFile(second.openFileId);
    EXPECT_FALSE(regionExists(second.mapping));
}

TEST_F(EmulatorTest, LiveViewFillsItsRegionWithARampThatRunsOn) {
    TavuDeviceEmulator device;
    EXPECT_FAILS_WITH(device.startLive(0), "Failed to create memory mapping");  // a frame of 0 bytes
    EXPECT_FAILS_WITH(device.liveFrame(0), "Live not started");
    EXPECT_FAILS_WITH(device.stopLive(0), "Live not started");
    EXPECT_FAILS_WITH(device.startLive(1), "Invalid port");
    device.setPortConfig(0, {4, 4, 0, 0});
    for (int run = 0; run < 2; ++run) {
        const std::string mapping = device.startLive(0);
        EXPECT_FAILS_WITH(device.startLive(0), "Live alrady started");
        SharedRegion view;
        ASSERT_TRUE(view.open(mapping));
        const auto* bytes = static_cast<const uint8_t*>(view.view());
        device.liveFrame(0);
        expectRamp(bytes, 0, 16, 0);
        // A new geometry is reported, but the region keeps its size.
        device.setPortConfig(0, {8, 8, 0, 0});
        const FrameGeometry frame = device.liveFrame(0);
        EXPECT_EQ(std::vector<uint32_t>({frame.width, frame.height, frame.imageSize}), std::vector<uint32_t>({8, 8, 128}));
        expectRamp(bytes, 0, 16, 1);
        device.setPortConfig(0, {4, 4, 0, 0});
        device.stopLive(0);
        EXPECT_FALSE(regionExists(mapping));
    }
}

}  // namespace
}  // namespace tavu::test
