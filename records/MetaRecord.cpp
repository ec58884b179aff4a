#include "records/MetaRecord.h"

#include "encoding/MemStream.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"
#include "records/Envelope.h"
#include "records/FileTime.h"

#include <string>
#include <string_view>
#include <utility>

namespace tavu {

namespace {

constexpr const char* kInvalidMeta = "Invalid file metadata.";
constexpr uint32_t kFilePairsWithoutInfo = 14;

void writeFileMap(MessageWriter& writer, const FileRecord& file) {
    const bool hasInfo = !file.info.empty();
    writer.writeMapHeader(hasInfo ? kFilePairsWithoutInfo + 1 : kFilePairsWithoutInfo);
    auto text = [&](const char* key, const std::string& value) {
        writer.writeString(key);
        writer.writeString(value);
    };
    auto number = [&](const char* key, uint64_t value) {
        writer.writeString(key);
        writer.writeUint(value);
    };
    text("name", file.name);
    text("port", file.port);
    text("camera", file.camera);
    number("fileId", file.fileId);
    number("streamId", file.streamId);
    number("width", file.width);
    number("height", file.height);
    number("numFrames", file.numFrames);
    number("numDroppedFrames", file.numDroppedFrames);
    number("size", file.size);
    number("timestamp", file.timestamp);
    number("startTime", file.startTime);
    number("endTime", file.endTime);
    number("duration", file.duration);
    if (hasInfo) {
        writer.writeString("info");
        writer.writeBlob(file.info.data(), static_cast<uint32_t>(file.info.size()));
    }
}

// Numbers are cut to the field's width without a check, as everywhere in records.
template <typename T>
T readNumber(MessageReader& reader) {
    return static_cast<T>(reader.readPosInt());
}

using FieldReader = void (*)(MessageReader&, FileRecord&);

struct Field {
    std::string_view key;
    FieldReader read;
};

constexpr Field kFields[] = {
    {"name", [](MessageReader& r, FileRecord& f) { r.readString(f.name); }},
    {"port", [](MessageReader& r, FileRecord& f) { r.readString(f.port); }},
    {"camera", [](MessageReader& r, FileRecord& f) { r.readString(f.camera); }},
    {"fileId", [](MessageReader& r, FileRecord& f) { f.fileId = readNumber<uint32_t>(r); }},
    {"streamId", [](MessageReader& r, FileRecord& f) { f.streamId = readNumber<uint32_t>(r); }},
    {"width", [](MessageReader& r, FileRecord& f) { f.width = readNumber<uint16_t>(r); }},
    {"height", [](MessageReader& r, FileRecord& f) { f.height = readNumber<uint16_t>(r); }},
    {"numFrames", [](MessageReader& r, FileRecord& f) { f.numFrames = readNumber<uint64_t>(r); }},
    {"numDroppedFrames",
     [](MessageReader& r, FileRecord& f) { f.numDroppedFrames = readNumber<uint64_t>(r); }},
    {"size", [](MessageReader& r, FileRecord& f) { f.size = readNumber<uint64_t>(r); }},
    {"timestamp", [](MessageReader& r, FileRecord& f) { f.timestamp = readNumber<uint64_t>(r); }},
    {"startTime", [](MessageReader& r, FileRecord& f) { f.startTime = readNumber<uint64_t>(r); }},
    {"endTime", [](MessageReader& r, FileRecord& f) { f.endTime = readNumber<uint64_t>(r); }},
    {"duration", [](MessageReader& r, FileRecord& f) { f.duration = readNumber<uint64_t>(r); }},
    {"info",
     [](MessageReader& r, FileRecord& f) {
         r.readBlobHeader();
         r.readBlobBody(f.info);
     }},
};

void readField(MessageReader& reader, const std::string& key, FileRecord& file) {
    for (const Field& field : kFields) {
        if (field.key == key) {
            return field.read(reader, file);
        }
    }
    reader.skipValue();
}

// Width times height is taken in 32 signed bits and then widened, so a frame of 2^31 pixels
// or more gives a huge size. Stored files carry sizes made this way, so it must not change.
uint64_t computedSize(const FileRecord& file) {
    const auto pixels = static_cast<int32_t>(uint32_t{file.width} * file.height);
    return static_cast<uint64_t>(int64_t{pixels}) * file.numFrames * 2;
}

void fillIn(FileRecord& file) {
    if (file.size == 0) {
        file.size = computedSize(file);
    }
    if (file.timestamp == 0) {
        file.timestamp = currentFileTime();
    }
}

bool usable(const FileRecord& file) {
    return !file.name.empty() && file.width != 0 && file.height != 0 && file.numFrames != 0;
}

FileRecord readFileMap(MessageReader& reader) {
    FileRecord file;
    std::string key;
    for (uint32_t pairs = reader.readMapHeader(); pairs > 0; --pairs) {
        reader.readString(key);
        readField(reader, key, file);
    }
    fillIn(file);
    return file;
}

}  // namespace

void writeMetaList(const std::vector<FileRecord>& list, Stream& stream) {
    MessageWriter writer(stream);
    writeEnvelope(writer, "meta", "info");
    writer.writeArrayHeader(static_cast<uint32_t>(list.size()));
    for (const FileRecord& file : list) {
        writeFileMap(writer, file);
    }
}

void writeMetaList(const std::vector<FileRecord>& list, void* data, uint64_t size) {
    MemStream stream(data, size);
    writeMetaList(list, stream);
}

void readMetaList(std::vector<FileRecord>& target, Stream& stream) {
    target.clear();
    MessageReader reader(stream);
    uint32_t remaining = readEnvelope(reader, "meta", kInvalidMeta);
    reader.findField(remaining, "info");
    for (uint32_t count = reader.readArrayHeader(); count > 0; --count) {
        FileRecord file = readFileMap(reader);
        if (usable(file)) {
            target.push_back(std::move(file));
        }
    }
}

void readMetaList(std::vector<FileRecord>& target, const void* data, uint64_t size) {
    // MemStream is one view for both directions; reading never writes through it.
    MemStream stream(const_cast<void*>(data), size);
    readMetaList(target, stream);
}

}  // namespace tavu
