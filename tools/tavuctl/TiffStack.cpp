#include <tiffio.h>

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include "tools/tavuctl/StackFile.h"

namespace tavu::tavuctl {

namespace {

// Classic TIFF addresses 4 GiB; a little room is left for the directories.
constexpr uint64_t ClassicTiffLimit = 0xF0000000;

int keepError(TIFF*, void* userData, const char*, const char* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    *static_cast<std::string*>(userData) = text;
    return 1;
}

int ignoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

class TiffStack : public StackFile {
public:
    TiffStack(const std::filesystem::path& path, const StackDescription& description)
        : description_(description), tiff_(nullptr, TIFFClose) {
        std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                              TIFFOpenOptionsFree);
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, &error_);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreWarning, nullptr);
        const uint64_t bytes = uint64_t{description.width} * description.height * 2 * description.frames;
        // Little-endian whatever the host, so that the frames' bytes go in as they are.
        tiff_.reset(TIFFOpenExt(path.c_str(), bytes > ClassicTiffLimit ? "w8l" : "wl", options.get()));
        if (!tiff_) {
            throw std::runtime_error(error_);
        }
    }

    void append(std::span<const uint8_t> pixels) override {
        TIFF* tiff = tiff_.get();
        TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, description_.width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, description_.height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, description_.height);
        TIFFSetField(tiff, TIFFTAG_PAGENUMBER, static_cast<uint16_t>(page_), static_cast<uint16_t>(description_.frames));
        TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, description_.name.c_str());
        const auto size = static_cast<tmsize_t>(uint64_t{description_.width} * description_.height * 2);
        // A raw strip is written as it stands: libtiff neither encodes nor swaps it, so the
        // service's region is only read.
        if (TIFFWriteRawStrip(tiff, 0, const_cast<uint8_t*>(pixels.data()), size) != size ||
            TIFFWriteDirectory(tiff) != 1) {
            throw std::runtime_error(error_);
        }
        ++page_;
    }

    void finish(uint64_t) override {
        if (TIFFFlush(tiff_.get()) != 1) {
            throw std::runtime_error(error_);
        }
        tiff_.reset();
    }

private:
    StackDescription description_;
    std::string error_ = "TIFF encoding failed";
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff_;
    uint64_t page_ = 0;
};

}  // namespace

std::unique_ptr<StackFile> createTiffStack(const std::filesystem::path& path, const StackDescription& description) {
    return std::make_unique<TiffStack>(path, description);
}

}  // namespace tavu::tavuctl
