#pragma once
#include <nlohmann/json.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

// The serial channel of the camera on one port. The camera reads lines ended by a carriage
// return: "ID?" is answered with "SIMCAM <port>\r", "BAUD?" with the baud rate and "\r", and any
// other line comes back as it was sent. Answers wait in a receive queue of WatermarkLimit bytes;
// what does not fit is lost. It has its own lock, so that a waiting receive holds up nothing else.
class SerialChannel {
public:
    static constexpr uint32_t WatermarkLimit = 4096;

    explicit SerialChannel(std::string port) : port_(std::move(port)) {}

    void send(const uint8_t* bytes, uint64_t size);
    void clear();
    // Fills `target` whole within `timeout`, or takes nothing and gives false.
    bool receive(uint8_t* target, uint64_t size, std::chrono::milliseconds timeout);
    void setEnabled(bool enabled);
    bool isEnabled();
    void setBaudRate(uint32_t baudRate);
    uint32_t baudRate();
    // 1 or 2.
    void setStopBits(uint8_t stopBits);
    // 0 none, 1 odd, 2 even.
    void setParity(uint8_t parity);
    void setWatermark(uint32_t watermark);
    // The settings, for the state file.
    nlohmann::json toJson();

private:
    // The caller holds mutex_.
    void requireEnabled() const;
    void answer(const std::string& line);

    const std::string port_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    bool enabled_ = false;
    uint32_t baudRate_ = 9600;
    uint8_t stopBits_ = 1;
    uint8_t parity_ = 0;
    uint32_t watermark_ = 0;
    std::string line_;
    std::deque<uint8_t> received_;
};

}  // namespace sim
