#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "EmulatorFixture.h"
#include "emulator/SplitReader.h"
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

// A large read is split between two threads; whatever the split, the destination holds the file's
// bytes up to its end, untouched bytes past it, and the count is the readable beginning.
TEST_F(EmulatorTest, ASplitReadGivesTheSameBytesAsOneRead) {
    constexpr uint64_t kLarge = SplitReader::SplitFrom + 3 * 4096 + 5;
    struct Case {
        const char* what;
        uint64_t fileSize;
        uint64_t offset;
        uint64_t length;
    };
    const Case cases[] = {
        {"small, whole", 8192, 100, 1000},
        {"large, whole", 2 * kLarge, 7, kLarge},
        {"large, file ends in the far half", kLarge, 1000, kLarge},
        {"large, file ends in the near half", kLarge / 3, 0, kLarge},
        {"large, past the end", 4096, 8192, kLarge},
    };
    const std::filesystem::path path = deviceFolder() / "split";
    std::filesystem::create_directories(deviceFolder());
    SplitReader reader;
    for (int pass = 0; pass < 2; ++pass) {  // the second pass reuses the running helper
        for (const Case& c : cases) {
            std::vector<uint8_t> content(c.fileSize);
            for (uint64_t i = 0; i < content.size(); ++i) {
                content[i] = static_cast<uint8_t>(i * 7 + i / 251 + pass);
            }
            {
                std::ofstream out(path, std::ios::binary | std::ios::trunc);
                out.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
            }
            const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            ASSERT_GE(fd, 0);
            std::vector<uint8_t> destination(c.length, 0xEE);
            const uint64_t count = reader.read(fd, destination, c.offset);
            ::close(fd);
            const uint64_t readable = c.offset < c.fileSize ? std::min(c.length, c.fileSize - c.offset) : 0;
            EXPECT_EQ(count, readable) << c.what;
            EXPECT_TRUE(std::equal(destination.begin(), destination.begin() + static_cast<std::ptrdiff_t>(readable),
                                   content.begin() + static_cast<std::ptrdiff_t>(std::min(c.offset, c.fileSize))))
                << c.what;
            EXPECT_TRUE(std::all_of(destination.begin() + static_cast<std::ptrdiff_t>(readable), destination.end(),
                                    [](uint8_t byte) { return byte == 0xEE; }))
                << c.what;
        }
    }
    EXPECT_EQ(reader.read(-1, {}, 0), 0u);
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
