#include "tools/tavuweb/Render.h"

#include <algorithm>
#include <cmath>

namespace tavu::tavuweb {

namespace {

uint16_t pixel(std::span<const uint8_t> frame, size_t index) {
    return static_cast<uint16_t>(frame[2 * index] | (frame[2 * index + 1] << 8));
}

template <typename T>
T field(const nlohmann::json& value, const char* key, T fallback) {
    const auto found = value.find(key);
    return found != value.end() && found->is_number() ? found->get<T>() : fallback;
}

// The value below which `fraction` of the counted pixels lie, from a histogram of `bins` bins
// over [min, max].
uint16_t quantile(const std::vector<uint32_t>& counts, uint64_t total, double fraction, uint16_t min, uint16_t max) {
    const auto wanted = static_cast<uint64_t>(fraction * static_cast<double>(total));
    uint64_t seen = 0;
    const double binWidth = (static_cast<double>(max) - min + 1) / static_cast<double>(counts.size());
    for (size_t bin = 0; bin < counts.size(); ++bin) {
        seen += counts[bin];
        if (seen > wanted) {
            return static_cast<uint16_t>(std::min<double>(max, min + binWidth * static_cast<double>(bin)));
        }
    }
    return max;
}

}  // namespace

DisplayRequest displayRequestFrom(const nlohmann::json& value) {
    DisplayRequest request;
    if (!value.is_object()) {
        return request;
    }
    request.x = field<uint32_t>(value, "x", 0);
    request.y = field<uint32_t>(value, "y", 0);
    request.width = field<uint32_t>(value, "width", 0);
    request.height = field<uint32_t>(value, "height", 0);
    request.maxWidth = std::clamp<uint32_t>(field<uint32_t>(value, "maxWidth", 1024), 1, 4096);
    request.maxHeight = std::clamp<uint32_t>(field<uint32_t>(value, "maxHeight", 1024), 1, 4096);
    const auto window = value.find("window");
    if (window != value.end() && window->is_object()) {
        request.autoWindow = false;
        request.low = field<uint16_t>(*window, "low", 0);
        request.high = field<uint16_t>(*window, "high", 65535);
    }
    return request;
}

DisplayFrame render(std::span<const uint8_t> frame, uint16_t width, uint16_t height, const DisplayRequest& request) {
    DisplayFrame out;
    out.frameWidth = width;
    out.frameHeight = height;
    if (width == 0 || height == 0 || frame.size() < size_t{width} * height * 2) {
        return out;
    }
    out.x = std::min<uint32_t>(request.x, width - 1);
    out.y = std::min<uint32_t>(request.y, height - 1);
    out.width = request.width == 0 ? width - out.x : std::min<uint32_t>(request.width, width - out.x);
    out.height = request.height == 0 ? height - out.y : std::min<uint32_t>(request.height, height - out.y);
    const double scale = std::min({1.0, static_cast<double>(request.maxWidth) / out.width,
                                   static_cast<double>(request.maxHeight) / out.height});
    out.outWidth = std::max<uint32_t>(1, static_cast<uint32_t>(std::floor(out.width * scale)));
    out.outHeight = std::max<uint32_t>(1, static_cast<uint32_t>(std::floor(out.height * scale)));

    // Nearest-pixel sampling: one source row and column per output row and column.
    std::vector<uint32_t> columns(out.outWidth);
    for (uint32_t i = 0; i < out.outWidth; ++i) {
        columns[i] = out.x + static_cast<uint32_t>(uint64_t{i} * out.width / out.outWidth);
    }
    std::vector<uint16_t> samples(size_t{out.outWidth} * out.outHeight);
    uint16_t min = 65535, max = 0;
    for (uint32_t row = 0; row < out.outHeight; ++row) {
        const size_t source = size_t{out.y + static_cast<uint32_t>(uint64_t{row} * out.height / out.outHeight)} * width;
        uint16_t* target = &samples[size_t{row} * out.outWidth];
        for (uint32_t i = 0; i < out.outWidth; ++i) {
            const uint16_t value = pixel(frame, source + columns[i]);
            target[i] = value;
            min = std::min(min, value);
            max = std::max(max, value);
        }
    }
    out.min = min;
    out.max = max;

    std::vector<uint32_t> fine(1024);
    const double span = static_cast<double>(max) - min + 1;
    for (uint16_t value : samples) {
        ++fine[static_cast<size_t>((value - min) * 1024.0 / span)];
    }
    for (size_t bin = 0; bin < fine.size(); ++bin) {
        out.histogram[bin / 4] += fine[bin];
    }
    if (request.autoWindow) {
        out.low = quantile(fine, samples.size(), 0.001, min, max);
        out.high = std::max<uint16_t>(quantile(fine, samples.size(), 0.999, min, max), out.low);
    } else {
        out.low = request.low;
        out.high = request.high;
    }

    std::array<uint8_t, 65536> lookup{};
    const double range = static_cast<double>(out.high) - out.low;
    for (uint32_t value = 0; value < lookup.size(); ++value) {
        if (value <= out.low) {
            lookup[value] = 0;
        } else if (value >= out.high) {
            lookup[value] = 255;
        } else {
            lookup[value] = static_cast<uint8_t>((value - out.low) * 255 / range);
        }
    }
    out.grey.resize(samples.size());
    std::transform(samples.begin(), samples.end(), out.grey.begin(), [&](uint16_t value) { return lookup[value]; });
    return out;
}

std::string displayMessage(const DisplayFrame& frame, const nlohmann::json& extra) {
    nlohmann::json header = extra;
    header["frameWidth"] = frame.frameWidth;
    header["frameHeight"] = frame.frameHeight;
    header["x"] = frame.x;
    header["y"] = frame.y;
    header["width"] = frame.width;
    header["height"] = frame.height;
    header["outWidth"] = frame.outWidth;
    header["outHeight"] = frame.outHeight;
    header["low"] = frame.low;
    header["high"] = frame.high;
    header["min"] = frame.min;
    header["max"] = frame.max;
    header["histogram"] = frame.histogram;
    const std::string text = header.dump();
    std::string message(4, '\0');
    const auto length = static_cast<uint32_t>(text.size());
    for (int i = 0; i < 4; ++i) {
        message[i] = static_cast<char>((length >> (8 * i)) & 0xFF);
    }
    message += text;
    message.append(reinterpret_cast<const char*>(frame.grey.data()), frame.grey.size());
    return message;
}

}  // namespace tavu::tavuweb
