#pragma once
#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <memory>

namespace Common {

// A block of bytes exchanged with the library. Both sides build buffers with the size constructor;
// `create` is the library's own factory.
class Buffer {
public:
    explicit Buffer(uint64_t size) : bytes_(std::make_unique<uint8_t[]>(size)), size_(size) {}
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    virtual ~Buffer() = default;

    // A null source leaves the bytes unset.
    static boost::shared_ptr<Buffer> create(const void* source, uint64_t size);

    uint8_t* data() { return bytes_.get(); }
    uint8_t* ptr(uint64_t offset) { return bytes_.get() + offset; }
    virtual uint64_t size() const { return size_; }

private:
    std::unique_ptr<uint8_t[]> bytes_;
    uint64_t size_;
};

}  // namespace Common
