#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "emulator/TavuDeviceEmulator.h"

namespace tavu::test {

// Expects `statement` to throw an exception whose text is `text`.
#define EXPECT_FAILS_WITH(statement, text)             \
    try {                                             \
        statement;                                    \
        ADD_FAILURE() << #statement " did not throw"; \
    } catch (const std::exception& e) {               \
        EXPECT_STREQ(e.what(), text) << #statement;   \
    }

inline const std::vector<uint8_t> kBlock{1, 2, 3};

// Each test gets a private data folder (XDG_DATA_HOME), removed with everything in it afterwards.
class EmulatorTest : public ::testing::Test {
protected:
    EmulatorTest();
    ~EmulatorTest() override;

    std::filesystem::path deviceFolder() const { return dataHome_ / "OREK Systems/TAVU/Emulator"; }
    std::filesystem::path portFolder() const { return deviceFolder() / "Emu"; }

private:
    std::filesystem::path dataHome_;
};

// Configures the port (pixel format 7, tap geometry 9) and pairs it with "cam" and kBlock.
void prepare(TavuDeviceEmulator& device, uint16_t width, uint16_t height);
// Records `frames` frames (type 1), waits for the end and stops.
void record(TavuDeviceEmulator& device, uint64_t frames);
uint64_t progress(TavuDeviceEmulator& device);
// Width, height, pixel format and tap geometry.
std::vector<uint32_t> portConfig(TavuDeviceEmulator& device);
std::vector<std::string> fileNames(TavuDeviceEmulator& device);

OpenedFile openFile(TavuDeviceEmulator& device, uint32_t fileId);

bool regionExists(const std::string& mapping);
// Pixel `index` of a frame of little-endian 16-bit pixels, and a 32-bit little-endian field.
uint16_t pixelAt(const uint8_t* frame, size_t index);
uint32_t le32(const uint8_t* bytes, size_t offset);

}  // namespace tavu::test
