#include "EmulatorFixture.h"

#include <stdlib.h>

#include "support/ServiceProcess.h"

namespace tavu::test {

namespace fs = std::filesystem;

EmulatorTest::EmulatorTest() {
    std::string pattern = (fs::temp_directory_path() / "tavuemu-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    dataHome_ = pattern;
    setenv("XDG_DATA_HOME", pattern.c_str(), 1);
}

EmulatorTest::~EmulatorTest() {
    std::error_code ignored;
    fs::remove_all(dataHome_, ignored);
}

void prepare(TavuDeviceEmulator& device, uint16_t width, uint16_t height) {
    device.setPortConfig(0, {width, height, 7, 9});
    device.pairPort(0, "cam", {kBlock.data(), static_cast<uint32_t>(kBlock.size())}, 4);
}

void record(TavuDeviceEmulator& device, uint64_t frames) {
    device.startRecording({1, 0, StopCondition{1}, frames, false, 0});
    EXPECT_TRUE(eventually([&] { return device.isRecordingDone(); }));
    device.stopRecording();
}

uint64_t progress(TavuDeviceEmulator& device) {
    const RecordingProgress progress = device.recordingProgress(0);
    EXPECT_FALSE(progress.inPretrigger);
    return progress.numFrames;
}

std::vector<uint32_t> portConfig(TavuDeviceEmulator& device) {
    const PortConfig config = device.getPortConfig(0);
    return {config.width, config.height, config.pixelFormat, config.tapGeometry};
}

std::vector<std::string> fileNames(TavuDeviceEmulator& device) {
    std::vector<std::string> names;
    for (const FileRecord& file : device.listFiles()) {
        names.push_back(file.name);
    }
    return names;
}

OpenedFile openFile(TavuDeviceEmulator& device, uint32_t fileId) {
    return device.openFile(fileId, 0);
}

bool regionExists(const std::string& mapping) { return fs::exists("/dev/shm/" + mapping); }

uint16_t pixelAt(const uint8_t* frame, size_t index) {
    return static_cast<uint16_t>(frame[2 * index] | frame[2 * index + 1] << 8);
}

uint32_t le32(const uint8_t* bytes, size_t offset) {
    return pixelAt(bytes + offset, 0) | static_cast<uint32_t>(pixelAt(bytes + offset + 2, 0)) << 16;
}

}  // namespace tavu::test
