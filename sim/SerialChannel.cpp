#include "sim/SerialChannel.h"

#include "sim/Errors.h"

#include <algorithm>

namespace sim {

void SerialChannel::send(const uint8_t* bytes, uint64_t size) {
    {
        std::lock_guard lock(mutex_);
        requireEnabled();
        for (uint64_t index = 0; index < size; ++index) {
            line_.push_back(static_cast<char>(bytes[index]));
            if (bytes[index] == '\r') {
                answer(line_);
                line_.clear();
            }
        }
    }
    arrived_.notify_all();
}

void SerialChannel::clear() {
    std::lock_guard lock(mutex_);
    requireEnabled();
    line_.clear();
    received_.clear();
}

bool SerialChannel::receive(uint8_t* target, uint64_t size, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    requireEnabled();
    if (!arrived_.wait_for(lock, timeout, [&] { return received_.size() >= size; })) {
        return false;
    }
    std::copy_n(received_.begin(), size, target);
    received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(size));
    return true;
}

void SerialChannel::setEnabled(bool enabled) {
    std::lock_guard lock(mutex_);
    enabled_ = enabled;
}

bool SerialChannel::isEnabled() {
    std::lock_guard lock(mutex_);
    return enabled_;
}

void SerialChannel::setBaudRate(uint32_t baudRate) {
    if (baudRate == 0) {
        fail("The serial channel of port " + port_ + " cannot run at 0 baud.");
    }
    std::lock_guard lock(mutex_);
    baudRate_ = baudRate;
}

uint32_t SerialChannel::baudRate() {
    std::lock_guard lock(mutex_);
    return baudRate_;
}

void SerialChannel::setStopBits(uint8_t stopBits) {
    if (stopBits != 1 && stopBits != 2) {
        fail("The serial channel of port " + port_ + " takes 1 or 2 stop bits, not " + std::to_string(stopBits) + ".");
    }
    std::lock_guard lock(mutex_);
    stopBits_ = stopBits;
}

void SerialChannel::setParity(uint8_t parity) {
    if (parity > 2) {
        fail("The serial channel of port " + port_ + " takes parity 0 (none), 1 (odd) or 2 (even), not " +
             std::to_string(parity) + ".");
    }
    std::lock_guard lock(mutex_);
    parity_ = parity;
}

void SerialChannel::setWatermark(uint32_t watermark) {
    if (watermark > WatermarkLimit) {
        fail("The watermark of the serial channel of port " + port_ + " cannot pass " +
             std::to_string(WatermarkLimit) + ".");
    }
    std::lock_guard lock(mutex_);
    watermark_ = watermark;
}

nlohmann::json SerialChannel::toJson() {
    std::lock_guard lock(mutex_);
    return {{"enabled", enabled_},
            {"baudRate", baudRate_},
            {"parity", parity_},
            {"stopBits", stopBits_},
            {"watermark", watermark_}};
}

void SerialChannel::requireEnabled() const {
    if (!enabled_) {
        fail("The serial channel of port " + port_ + " is not enabled.");
    }
}

void SerialChannel::answer(const std::string& line) {
    std::string reply = line;
    if (line == "ID?\r") {
        reply = "SIMCAM " + port_ + "\r";
    } else if (line == "BAUD?\r") {
        reply = std::to_string(baudRate_) + "\r";
    }
    const size_t room = WatermarkLimit - std::min<size_t>(WatermarkLimit, received_.size());
    received_.insert(received_.end(), reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(std::min(room, reply.size())));
}

}  // namespace sim
