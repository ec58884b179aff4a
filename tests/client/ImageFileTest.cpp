#include "client/ImageFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/support/ServiceProcess.h"
#include "tests/client/ImageReader.h"

namespace tavu::test {
namespace {

using client::ImageFormat;

// A 3 x 2 frame of little-endian pixels, with values whose two bytes differ, so that a byte
// swap shows.
const std::vector<uint16_t> Values = {0x0000, 0x0102, 0xFF00, 0x1234, 0xFFFF, 0x00FF};

std::vector<uint8_t> littleEndian(const std::vector<uint16_t>& values) {
    std::vector<uint8_t> bytes;
    for (const uint16_t value : values) {
        bytes.push_back(static_cast<uint8_t>(value & 0xFF));
        bytes.push_back(static_cast<uint8_t>(value >> 8));
    }
    return bytes;
}

class ImageFileTest : public ::testing::Test {
protected:
    TestHome home;
};

TEST_F(ImageFileTest, PngAndTiffKeepTheSixteenBitValues) {
    const auto pixels = littleEndian(Values);
    const auto png = home.root() / "frame.png";
    const auto tiff = home.root() / "frame.tiff";
    client::writeImage(png, ImageFormat::Png, 3, 2, pixels);
    client::writeImage(tiff, ImageFormat::Tiff, 3, 2, pixels);
    for (const GrayImage& image : {readPng(png), readTiff(tiff)}) {
        EXPECT_EQ(image.width, 3u);
        EXPECT_EQ(image.height, 2u);
        EXPECT_EQ(image.bitDepth, 16);
        EXPECT_TRUE(image.gray);
        EXPECT_EQ(image.pixels, Values);
    }
}

TEST_F(ImageFileTest, RawIsTheFrameBytesAsTheyAre) {
    const auto pixels = littleEndian(Values);
    const auto path = home.root() / "frame.raw";
    // A region is rounded up to whole pages: only the frame's own bytes go out.
    std::vector<uint8_t> region = pixels;
    region.resize(4096, 0xEE);
    client::writeImage(path, ImageFormat::Raw, 3, 2, region);
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {}), pixels);
}

TEST_F(ImageFileTest, FailedWriteNamesTheFileAndLeavesNothingBehind) {
    const auto path = home.root() / "missing" / "frame.png";
    try {
        client::writeImage(path, ImageFormat::Png, 3, 2, littleEndian(Values));
        FAIL() << "written";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(path.string()), std::string::npos) << error.what();
    }
    const auto shortFrame = home.root() / "short.png";
    EXPECT_THROW(client::writeImage(shortFrame, ImageFormat::Png, 3, 2, std::vector<uint8_t>(11)), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_empty(home.root() / "data"));
    EXPECT_FALSE(std::filesystem::exists(shortFrame));
    EXPECT_FALSE(std::filesystem::exists(home.root() / "short.png.part"));
}

TEST_F(ImageFileTest, FormatsByNameAndByExtension) {
    EXPECT_EQ(client::imageFormatNamed("PNG"), ImageFormat::Png);
    EXPECT_EQ(client::imageFormatNamed("tif"), ImageFormat::Tiff);
    EXPECT_EQ(client::imageFormatNamed("raw"), ImageFormat::Raw);
    EXPECT_EQ(client::imageFormatNamed("jpeg"), std::nullopt);
    EXPECT_EQ(client::imageFormatOfPath("a/b.TIFF"), ImageFormat::Tiff);
    EXPECT_EQ(client::imageFormatOfPath("snapshot"), std::nullopt);
}

}  // namespace
}  // namespace tavu::test
