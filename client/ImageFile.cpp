#include "client/ImageFile.h"

#include <png.h>
#include <tiffio.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavu::client {

namespace fs = std::filesystem;

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

// The writers below raise with the reason alone; writeImage names the file.
[[noreturn]] void fail(const std::string& reason) { throw std::runtime_error(reason); }

File openForWriting(const fs::path& path) {
    File file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!file) {
        fail(std::strerror(errno));
    }
    return file;
}

void closeChecked(File file) {
    if (std::fclose(file.release()) != 0) {
        fail(std::strerror(errno));
    }
}

void writeRaw(const fs::path& path, std::span<const uint8_t> pixels) {
    File file = openForWriting(path);
    if (std::fwrite(pixels.data(), 1, pixels.size(), file.get()) != pixels.size()) {
        fail(std::strerror(errno));
    }
    closeChecked(std::move(file));
}

// libpng reports errors by longjmp, so everything that runs between setjmp and the end of
// this function is plain data: the caller owns the file and the row buffer.
bool encodePng(FILE* file, uint32_t width, uint32_t height, const uint8_t* pixels, uint8_t* row) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    // Frames are large and exports long: favour speed over a few percent of size. One fixed
    // filter costs a fraction of trying all five on every row.
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_IHDR(png, info, width, height, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const size_t rowBytes = static_cast<size_t>(width) * 2;
    for (uint32_t y = 0; y < height; ++y) {
        // PNG samples are big-endian; the frame's are little-endian.
        const uint8_t* source = pixels + y * rowBytes;
        for (size_t x = 0; x < rowBytes; x += 2) {
            row[x] = source[x + 1];
            row[x + 1] = source[x];
        }
        png_write_row(png, row);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

void writePng(const fs::path& path, uint32_t width, uint32_t height, std::span<const uint8_t> pixels) {
    File file = openForWriting(path);
    std::vector<uint8_t> row(static_cast<size_t>(width) * 2);
    if (!encodePng(file.get(), width, height, pixels.data(), row.data())) {
        fail("PNG encoding failed");
    }
    closeChecked(std::move(file));
}

int keepTiffError(TIFF*, void* userData, const char*, const char* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    *static_cast<std::string*>(userData) = text;
    return 1;
}

int ignoreTiffWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

void writeTiff(const fs::path& path, uint32_t width, uint32_t height, std::span<const uint8_t> pixels) {
    std::string error = "TIFF encoding failed";
    std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                          TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepTiffError, &error);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreTiffWarning, nullptr);
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(TIFFOpenExt(path.c_str(), "w", options.get()), TIFFClose);
    if (!tiff) {
        fail(error);
    }
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff.get(), 0));
    // TIFF files say their own byte order; libtiff wants the samples in the host's.
    std::vector<uint16_t> row(width);
    const size_t rowBytes = static_cast<size_t>(width) * 2;
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* source = pixels.data() + y * rowBytes;
        for (uint32_t x = 0; x < width; ++x) {
            row[x] = static_cast<uint16_t>(source[2 * x] | (source[2 * x + 1] << 8));
        }
        if (TIFFWriteScanline(tiff.get(), row.data(), y, 0) < 0) {
            fail(error);
        }
    }
    if (TIFFFlush(tiff.get()) != 1) {
        fail(error);
    }
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return lower;
}

}  // namespace

std::optional<ImageFormat> imageFormatNamed(std::string_view name) {
    const std::string lower = lowerCase(name);
    if (lower == "png") {
        return ImageFormat::Png;
    }
    if (lower == "tiff" || lower == "tif") {
        return ImageFormat::Tiff;
    }
    if (lower == "raw") {
        return ImageFormat::Raw;
    }
    return std::nullopt;
}

std::optional<ImageFormat> imageFormatOfPath(const fs::path& path) {
    const std::string extension = path.extension().string();
    return extension.empty() ? std::nullopt : imageFormatNamed(std::string_view(extension).substr(1));
}

const char* imageExtension(ImageFormat format) {
    switch (format) {
        case ImageFormat::Png:
            return "png";
        case ImageFormat::Tiff:
            return "tiff";
        case ImageFormat::Raw:
            return "raw";
    }
    return "raw";
}

void writeImage(const fs::path& path, ImageFormat format, uint32_t width, uint32_t height,
                std::span<const uint8_t> pixels) {
    fs::path partial = path;
    partial += ".part";
    try {
        if (pixels.size() < static_cast<size_t>(width) * height * 2) {
            fail("the frame has fewer bytes than " + std::to_string(width) + " x " + std::to_string(height) +
                 " pixels of 16 bits");
        }
        switch (format) {
            case ImageFormat::Png:
                writePng(partial, width, height, pixels);
                break;
            case ImageFormat::Tiff:
                writeTiff(partial, width, height, pixels);
                break;
            case ImageFormat::Raw:
                writeRaw(partial, pixels.first(static_cast<size_t>(width) * height * 2));
                break;
        }
        fs::rename(partial, path);
    } catch (const std::exception& error) {
        std::error_code ignored;
        fs::remove(partial, ignored);
        throw std::runtime_error("cannot write " + path.string() + ": " + error.what());
    }
}

}  // namespace tavu::client
