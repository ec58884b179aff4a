#pragma once
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

namespace tavu::client {

enum class ImageFormat { Png, Tiff, Raw };

// "png", "tiff" (or "tif"), "raw"; nothing for other names.
std::optional<ImageFormat> imageFormatNamed(std::string_view name);
// The format that a file name's extension asks for.
std::optional<ImageFormat> imageFormatOfPath(const std::filesystem::path& path);
const char* imageExtension(ImageFormat format);

// Writes one frame of width x height 16-bit little-endian pixels: PNG and TIFF as 16-bit
// grayscale with the values unchanged, raw as the bytes themselves. The image goes to a
// temporary name first and replaces `path` only when complete. Raises std::runtime_error.
void writeImage(const std::filesystem::path& path, ImageFormat format, uint32_t width, uint32_t height,
                std::span<const uint8_t> pixels);

}  // namespace tavu::client
