#pragma once
#include "library/Buffer.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <utility>

namespace Common {

// Geometry and depth of the frames of a stream or a grab.
class DataType {
public:
    DataType(uint32_t width, uint32_t height, uint32_t bitDepth)
        : width_(width), height_(height), bitDepth_(bitDepth) {}

    uint32_t bitDepth() const { return bitDepth_; }
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    static uint32_t width(const boost::shared_ptr<DataType>& type) { return type->width(); }
    static uint32_t height(const boost::shared_ptr<DataType>& type) { return type->height(); }

private:
    uint32_t width_;
    uint32_t height_;
    uint32_t bitDepth_;
};

// One frame delivered by the library: its data type and the buffer holding its pixels.
class Frame {
public:
    Frame(boost::shared_ptr<DataType> dataType, boost::shared_ptr<Buffer> buffer)
        : dataType_(std::move(dataType)), buffer_(std::move(buffer)) {}

    boost::shared_ptr<DataType> dataType() const { return dataType_; }
    boost::shared_ptr<Buffer> buffer() const { return buffer_; }

private:
    boost::shared_ptr<DataType> dataType_;
    boost::shared_ptr<Buffer> buffer_;
};

}  // namespace Common
