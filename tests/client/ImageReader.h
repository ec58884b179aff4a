#pragma once
// Reads back the images that the client library writes, with libpng and libtiff themselves,
// for the tests of the library and of tavuctl.
#include <png.h>
#include <tiffio.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

namespace tavu::test {

struct GrayImage {
    uint32_t width = 0;
    uint32_t height = 0;
    int bitDepth = 0;
    bool gray = false;
    std::vector<uint16_t> pixels;  // as the image stores them, in row order
};

namespace detail {

// libpng's errors arrive by longjmp: nothing with a destructor lives in here.
inline bool decodePng(FILE* file, GrayImage& image, std::vector<uint8_t>& rows) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, file);
    png_read_info(png, info);
    image.width = png_get_image_width(png, info);
    image.height = png_get_image_height(png, info);
    image.bitDepth = png_get_bit_depth(png, info);
    image.gray = png_get_color_type(png, info) == PNG_COLOR_TYPE_GRAY;
    const size_t rowBytes = png_get_rowbytes(png, info);
    rows.resize(rowBytes * image.height);
    for (uint32_t y = 0; y < image.height; ++y) {
        png_read_row(png, rows.data() + y * rowBytes, nullptr);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

}  // namespace detail

// 16-bit samples are big-endian in the file and come out as numbers here.
inline GrayImage readPng(const std::filesystem::path& path) {
    GrayImage image;
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    std::vector<uint8_t> rows;
    if (!file || !detail::decodePng(file.get(), image, rows) || image.bitDepth != 16) {
        return image;
    }
    for (size_t i = 0; i + 1 < rows.size(); i += 2) {
        image.pixels.push_back(static_cast<uint16_t>(rows[i] << 8 | rows[i + 1]));
    }
    return image;
}

inline GrayImage readTiff(const std::filesystem::path& path) {
    GrayImage image;
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(TIFFOpen(path.c_str(), "r"), TIFFClose);
    uint16_t bits = 0;
    uint16_t photometric = 0;
    if (!tiff || TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &image.width) != 1 ||
        TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &image.height) != 1 ||
        TIFFGetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits) != 1 ||
        TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &photometric) != 1) {
        return image;
    }
    image.bitDepth = bits;
    image.gray = photometric == PHOTOMETRIC_MINISBLACK;
    std::vector<uint16_t> row(image.width);
    for (uint32_t y = 0; y < image.height && bits == 16; ++y) {
        if (TIFFReadScanline(tiff.get(), row.data(), y, 0) < 0) {
            return GrayImage{};
        }
        image.pixels.insert(image.pixels.end(), row.begin(), row.end());
    }
    return image;
}

}  // namespace tavu::test
