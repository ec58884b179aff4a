#pragma once
#include <nlohmann/json.hpp>

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

namespace sim {

// The register space of the camera on one port: big-endian, zero where nothing was written,
// except that register 0x300C holds the address of the acquisition-start register as cameras
// of the link standard do.
class CameraMemory {
public:
    static constexpr uint32_t AcquisitionStartPointer = 0x300C;
    // The writes kept for the state file; older ones drop out.
    static constexpr size_t KeptWrites = 256;

    explicit CameraMemory(uint32_t acquisitionStartAddress) : acquisitionStartAddress_(acquisitionStartAddress) {}

    std::vector<uint8_t> read(uint32_t address, uint64_t size) const;
    void write(uint32_t address, const uint8_t* bytes, uint64_t size);
    bool acquisitionStarted() const;

    // The latest writes, oldest first, as {"address": n, "bytes": "hex"}.
    nlohmann::json writesAsJson() const;

private:
    struct Write {
        uint32_t address;
        std::vector<uint8_t> bytes;
    };

    uint8_t byteAt(uint32_t address) const;

    uint32_t acquisitionStartAddress_;
    std::map<uint32_t, uint8_t> written_;
    std::deque<Write> writes_;
};

}  // namespace sim
