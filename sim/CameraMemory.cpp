#include "sim/CameraMemory.h"

#include "sim/Errors.h"

#include <cstdio>
#include <limits>

namespace sim {
namespace {

void checkRange(uint32_t address, uint64_t size) {
    if (size > uint64_t{std::numeric_limits<uint32_t>::max()} + 1 - address) {
        fail("Camera memory ends at 0xFFFFFFFF: " + std::to_string(size) + " bytes from " +
             std::to_string(address) + " pass it.");
    }
}

std::string hex(const std::vector<uint8_t>& bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

}  // namespace

std::vector<uint8_t> CameraMemory::read(uint32_t address, uint64_t size) const {
    checkRange(address, size);
    std::vector<uint8_t> bytes(size);
    for (uint64_t offset = 0; offset < size; ++offset) {
        bytes[offset] = byteAt(static_cast<uint32_t>(address + offset));
    }
    return bytes;
}

void CameraMemory::write(uint32_t address, const uint8_t* bytes, uint64_t size) {
    checkRange(address, size);
    for (uint64_t offset = 0; offset < size; ++offset) {
        written_[static_cast<uint32_t>(address + offset)] = bytes[offset];
    }
    writes_.push_back(Write{address, std::vector<uint8_t>(bytes, bytes + size)});
    if (writes_.size() > KeptWrites) {
        writes_.pop_front();
    }
}

bool CameraMemory::acquisitionStarted() const {
    const std::vector<uint8_t> value = read(acquisitionStartAddress_, 4);
    return value != std::vector<uint8_t>(4, 0);
}

nlohmann::json CameraMemory::writesAsJson() const {
    nlohmann::json list = nlohmann::json::array();
    for (const Write& write : writes_) {
        list.push_back({{"address", write.address}, {"bytes", hex(write.bytes)}});
    }
    return list;
}

uint8_t CameraMemory::byteAt(uint32_t address) const {
    if (const auto found = written_.find(address); found != written_.end()) {
        return found->second;
    }
    if (address >= AcquisitionStartPointer && address - AcquisitionStartPointer < 4) {
        const uint32_t shift = 8 * (3 - (address - AcquisitionStartPointer));
        return static_cast<uint8_t>(acquisitionStartAddress_ >> shift);
    }
    return 0;
}

}  // namespace sim
