#pragma once

#include <cstdint>
#include <memory>

namespace tavu {

// The tag of a value. The numbers are part of the format's vocabulary: the
// reader reports them as the type of the last head it read.
enum class ObjectType : uint32_t {
    Nil = 0,
    NegativeInteger = 1,
    PositiveInteger = 2,
    String = 3,
    Bool = 4,
    Float = 5,
    Blob = 6,
    Map = 7,
    Array = 8,
};

// A dynamic value that owns its whole tree: a decoded message lives in one of
// these while its parameters are taken out. Maps keep their pairs in insertion
// order, accept duplicate keys and find the first match. Accessors check the
// tag and raise std::runtime_error on a mismatch; indices past the end raise
// std::out_of_range.
class ObjectValue {
public:
    // A string length of all ones means "NUL-terminated, count it".
    static constexpr uint32_t kCountedLength = 0xFFFFFFFF;

    ObjectValue() noexcept;  // nil
    static ObjectValue negative(int64_t value);
    static ObjectValue positive(uint64_t value);
    static ObjectValue boolean(bool value);
    static ObjectValue floating(double value);
    static ObjectValue string(const char* text, uint32_t length = kCountedLength);
    static ObjectValue blobCopy(const void* data, uint32_t length);
    static ObjectValue blobAdopt(std::unique_ptr<uint8_t[]> data, uint32_t length);
    static ObjectValue map(uint32_t capacity);
    static ObjectValue array(uint32_t capacity);

    // Copies are deep and exactly sized; a moved-from value is nil.
    ObjectValue(const ObjectValue& other);
    ObjectValue(ObjectValue&& other) noexcept;
    ObjectValue& operator=(const ObjectValue& other);
    ObjectValue& operator=(ObjectValue&& other) noexcept;
    ~ObjectValue();

    ObjectType type() const { return type_; }
    uint64_t asPositive() const;
    int64_t asNegative() const;
    int64_t asInt64() const;
    bool asBool() const;
    double asFloat() const;
    const char* asString() const;
    const uint8_t* blobData() const;
    uint32_t blobSize() const;
    // Hands the bytes to the caller; the value stays a blob, empty and null.
    std::unique_ptr<uint8_t[]> takeBlob();
    uint32_t size() const;
    // Slots allocated in a map or array; grows 0 or 1 -> 2, then doubles.
    uint32_t capacity() const { return capacity_; }

    const ObjectValue& arrayAt(uint32_t index) const;
    ObjectValue& arrayAt(uint32_t index);
    void arrayAppend(ObjectValue&& value);

    bool mapContains(const char* key) const;
    int32_t mapIndexOf(const char* key) const;  // -1 when absent
    const ObjectValue& mapAt(const char* key) const;
    ObjectValue& mapAt(const char* key);
    const char* mapKeyAt(uint32_t index) const;
    const ObjectValue& mapValueAt(uint32_t index) const;
    ObjectValue& mapValueAt(uint32_t index);
    void mapAppend(const char* key, ObjectValue&& value);

private:
    struct MapPair;

    explicit ObjectValue(ObjectType type, uint64_t bits = 0);

    void requireType(ObjectType expected, const char* message) const;
    void requireMapIndex(uint32_t index) const;
    // Makes room for one more pair or element.
    void growIfFull();

    ObjectType type_;
    // Scalars by tag: the integer's bits, a double's bits, or 0/1 for a bool.
    uint64_t bits_;
    uint32_t size_ = 0;
    uint32_t capacity_ = 0;
    std::unique_ptr<char[]> text_;
    std::unique_ptr<uint8_t[]> blob_;
    std::unique_ptr<MapPair[]> pairs_;
    std::unique_ptr<ObjectValue[]> elements_;
};

}  // namespace tavu
