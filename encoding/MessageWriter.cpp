#include "encoding/MessageWriter.h"

#include "encoding/BigEndian.h"

#include <bit>
#include <cstring>
#include <stdexcept>

namespace tavu {

void MessageWriter::writeHead(uint8_t lead, uint64_t value, size_t width) {
    uint8_t head[10];
    head[0] = lead;
    storeBigEndian(head + 1, value, width);
    stream_.write(head, 1 + width);
}

void MessageWriter::writeNil() {
    writeHead(0xC0, 0, 0);
}

void MessageWriter::writeBool(bool value) {
    writeHead(value ? 0xC3 : 0xC2, 0, 0);
}

void MessageWriter::writeUint(uint64_t value) {
    if (value < 128) {
        writeHead(static_cast<uint8_t>(value), 0, 0);
    } else if (value <= UINT8_MAX) {
        writeHead(0xCC, value, 1);
    } else if (value <= UINT16_MAX) {
        writeHead(0xCD, value, 2);
    } else if (value <= UINT32_MAX) {
        writeHead(0xCE, value, 4);
    } else {
        writeHead(0xCF, value, 8);
    }
}

void MessageWriter::writeInt(int64_t value) {
    const auto bits = static_cast<uint64_t>(value);
    if (value >= 0) {
        writeUint(bits);
    } else if (value >= -32) {
        writeHead(static_cast<uint8_t>(bits), 0, 0);
    } else if (value >= INT8_MIN) {
        writeHead(0xD0, bits, 1);
    } else if (value >= INT16_MIN) {
        writeHead(0xD1, bits, 2);
    } else if (value >= INT32_MIN) {
        writeHead(0xD2, bits, 4);
    } else {
        writeHead(0xD3, bits, 8);
    }
}

void MessageWriter::writeFloat(float value) {
    writeHead(0xCA, std::bit_cast<uint32_t>(value), 4);
}

void MessageWriter::writeDouble(double value) {
    writeHead(0xCB, std::bit_cast<uint64_t>(value), 8);
}

void MessageWriter::writeString(const char* text, uint64_t length) {
    if (length == kCountedLength) {
        length = std::strlen(text);
    }
    if (length < 32) {
        writeHead(static_cast<uint8_t>(0xA0 | length), 0, 0);
    } else if (length <= UINT8_MAX) {
        writeHead(0xD9, length, 1);
    } else if (length <= UINT16_MAX) {
        writeHead(0xDA, length, 2);
    } else {
        writeHead(0xDB, length, 4);
    }
    stream_.write(text, length);
}

void MessageWriter::writeString(const std::string& text) {
    writeString(text.data(), text.size());
}

void MessageWriter::writeBlob(const void* data, uint32_t length) {
    if (length <= UINT8_MAX) {
        writeHead(0xC4, length, 1);
    } else if (length <= UINT16_MAX) {
        writeHead(0xC5, length, 2);
    } else {
        writeHead(0xC6, length, 4);
    }
    stream_.write(data, length);
}

void MessageWriter::writeExt(uint8_t type, const void* data, uint32_t length) {
    // The type byte rides as the lowest byte behind the length bytes.
    const uint64_t lengthAndType = (uint64_t{length} << 8) | type;
    switch (length) {
    case 1: writeHead(0xD4, type, 1); break;
    case 2: writeHead(0xD5, type, 1); break;
    case 4: writeHead(0xD6, type, 1); break;
    case 8: writeHead(0xD7, type, 1); break;
    case 16: writeHead(0xD8, type, 1); break;
    default:
        if (length <= UINT8_MAX) {
            writeHead(0xC7, lengthAndType, 2);
        } else if (length <= UINT16_MAX) {
            writeHead(0xC8, lengthAndType, 3);
        } else {
            writeHead(0xC9, lengthAndType, 5);
        }
        break;
    }
    stream_.write(data, length);
}

void MessageWriter::writeArrayHeader(uint32_t count) {
    if (count <= 15) {
        writeHead(static_cast<uint8_t>(0x90 | count), 0, 0);
    } else if (count <= UINT16_MAX) {
        writeHead(0xDC, count, 2);
    } else {
        writeHead(0xDC, count, 4);
    }
}

void MessageWriter::writeMapHeader(uint32_t count) {
    if (count <= 15) {
        writeHead(static_cast<uint8_t>(0x80 | count), 0, 0);
    } else if (count <= UINT16_MAX) {
        writeHead(0xDE, count, 2);
    } else {
        writeHead(0xDF, count, 4);
    }
}

void MessageWriter::writeObject(const ObjectValue& value) {
    switch (value.type()) {
    case ObjectType::Nil:
        return writeNil();
    case ObjectType::NegativeInteger:
        return writeInt(value.asNegative());
    case ObjectType::PositiveInteger:
        return writeUint(value.asPositive());
    case ObjectType::String:
        return writeString(value.asString(), value.size());
    case ObjectType::Bool:
        return writeBool(value.asBool());
    case ObjectType::Float:
        return writeDouble(value.asFloat());
    case ObjectType::Blob:
        return writeBlob(value.blobData(), value.blobSize());
    case ObjectType::Map:
        writeMapHeader(value.size());
        for (uint32_t i = 0; i < value.size(); ++i) {
            writeString(value.mapKeyAt(i));
            writeObject(value.mapValueAt(i));
        }
        return;
    case ObjectType::Array:
        writeArrayHeader(value.size());
        for (uint32_t i = 0; i < value.size(); ++i) {
            writeObject(value.arrayAt(i));
        }
        return;
    }
    throw std::runtime_error("unrecognized object type.");
}

void MessageWriter::writeRaw(const void* data, uint64_t length) {
    stream_.write(data, length);
}

}  // namespace tavu
