#include "tools/tavutango/TavuRecorderClass.h"

#include <memory>

#include "tools/tavutango/TangoErrors.h"
#include "tools/tavutango/TavuRecorder.h"

namespace tavu::tavutango {

namespace {

using Reader = void (TavuRecorder::*)(Tango::Attribute&);
using Writer = void (TavuRecorder::*)(Tango::WAttribute&);

// An attribute of any shape whose read and write are members of the device.
template <typename Shape>
class MemberAttribute : public Shape {
public:
    template <typename... ShapeArguments>
    MemberAttribute(Reader reader, Writer writer, ShapeArguments... arguments)
        : Shape(arguments...), reader_(reader), writer_(writer) {}

    void read(Tango::DeviceImpl* device, Tango::Attribute& attribute) override {
        (static_cast<TavuRecorder*>(device)->*reader_)(attribute);
    }
    void write(Tango::DeviceImpl* device, Tango::WAttribute& attribute) override {
        if (writer_ != nullptr) {
            (static_cast<TavuRecorder*>(device)->*writer_)(attribute);
        }
    }

private:
    Reader reader_;
    Writer writer_;
};

using Action = std::string (TavuRecorder::*)(const std::string&);

// A command of the device: a text or nothing in, a text or nothing out. Whatever the action
// raises reaches the client as a DevFailed; the server itself goes on.
class MemberCommand : public Tango::Command {
public:
    MemberCommand(const char* name, Action action, const char* in, const char* out)
        : Tango::Command(name, in ? Tango::DEV_STRING : Tango::DEV_VOID, out ? Tango::DEV_STRING : Tango::DEV_VOID,
                         in ? in : "", out ? out : "", Tango::OPERATOR),
          action_(action), origin_("TavuRecorder::" + std::string(name)) {}

    CORBA::Any* execute(Tango::DeviceImpl* device, const CORBA::Any& in) override {
        std::string argument;
        if (get_in_type() == Tango::DEV_STRING) {
            Tango::DevString text = nullptr;
            extract(in, text);
            argument = text;
        }
        const std::string result =
            forClient(origin_.c_str(), [&] { return (static_cast<TavuRecorder*>(device)->*action_)(argument); });
        if (get_out_type() == Tango::DEV_STRING) {
            return insert(CORBA::string_dup(result.c_str()));
        }
        return insert();
    }

private:
    Action action_;
    std::string origin_;
};

// Widths and heights are 16-bit, ports fewer than 32.
constexpr long MaxPorts = 32;
constexpr long MaxImageSide = 65535;

// The framework takes ownership of what the factories hand it.
template <typename Shape, typename... ShapeArguments>
Tango::Attr* attribute(Reader reader, ShapeArguments... arguments) {
    return std::make_unique<MemberAttribute<Shape>>(reader, nullptr, arguments...).release();
}

template <typename Shape, typename... ShapeArguments>
Tango::Attr* writable(Reader reader, Writer writer, ShapeArguments... arguments) {
    return std::make_unique<MemberAttribute<Shape>>(reader, writer, arguments...).release();
}

Tango::Attr* evented(Tango::Attr* attribute) {
    attribute->set_change_event(true, false);
    attribute->set_archive_event(true, false);
    return attribute;
}

}  // namespace

TavuRecorderClass::TavuRecorderClass(std::string& name) : Tango::DeviceClass(name) {}

TavuRecorderClass* TavuRecorderClass::init(const char* name) {
    std::string text(name);
    return std::unique_ptr<TavuRecorderClass>(new TavuRecorderClass(text)).release();
}

void TavuRecorderClass::attribute_factory(std::vector<Tango::Attr*>& attributes) {
    using Scalar = Tango::Attr;
    using Spectrum = Tango::SpectrumAttr;
    attributes.push_back(evented(attribute<Scalar>(&TavuRecorder::readConnected, "Connected", Tango::DEV_BOOLEAN)));
    attributes.push_back(attribute<Scalar>(&TavuRecorder::readDeviceType, "DeviceType", Tango::DEV_LONG));
    attributes.push_back(attribute<Scalar>(&TavuRecorder::readPortCount, "PortCount", Tango::DEV_LONG));
    attributes.push_back(
        attribute<Spectrum>(&TavuRecorder::readPortNames, "PortNames", Tango::DEV_STRING, MaxPorts));
    attributes.push_back(attribute<Spectrum>(&TavuRecorder::readWidth, "Width", Tango::DEV_LONG, MaxPorts));
    attributes.push_back(attribute<Spectrum>(&TavuRecorder::readHeight, "Height", Tango::DEV_LONG, MaxPorts));
    attributes.push_back(attribute<Scalar>(&TavuRecorder::readPercentUsed, "PercentUsed", Tango::DEV_LONG));
    attributes.push_back(evented(attribute<Scalar>(&TavuRecorder::readRecording, "Recording", Tango::DEV_BOOLEAN)));
    attributes.push_back(evented(
        attribute<Spectrum>(&TavuRecorder::readFramesRecorded, "FramesRecorded", Tango::DEV_LONG64, MaxPorts)));
    attributes.push_back(attribute<Scalar>(&TavuRecorder::readRecoveryStatus, "RecoveryStatus", Tango::DEV_LONG));
    attributes.push_back(writable<Scalar>(&TavuRecorder::readLivePort, &TavuRecorder::writeLivePort, "LivePort",
                                          Tango::DEV_LONG, Tango::READ_WRITE));
    attributes.push_back(attribute<Tango::ImageAttr>(&TavuRecorder::readLiveImage, "LiveImage", Tango::DEV_USHORT,
                                                     MaxImageSide, MaxImageSide));
}

void TavuRecorderClass::command_factory() {
    const auto add = [this](const char* name, Action action, const char* in = nullptr, const char* out = nullptr) {
        command_list.push_back(std::make_unique<MemberCommand>(name, action, in, out).release());
    };
    add("StartRecording", &TavuRecorder::startRecording,
        R"(JSON: {"ports": [0, 1], "frames": 100} or "seconds": S; "trigger": "software" | "external-start" | )"
        R"("external-start-stop"; "pretrigger": N. Without "ports", the ports with a camera.)");
    add("StopRecording", &TavuRecorder::stopRecording);
    add("SoftwareTrigger", &TavuRecorder::softwareTrigger);
    add("ListFiles", &TavuRecorder::listFiles, nullptr,
        "JSON: a list of recordings, each with fileId, streamId, port, name, frames, width, height and startTime "
        "(ISO 8601, UTC)");
    add("RemoveFile", &TavuRecorder::removeFile, R"(JSON: {"fileId": 1, "streamId": 0}; streamId 0 if left out)");
    add("RenameFile", &TavuRecorder::renameFile, R"(JSON: {"fileId": 1, "streamId": 0, "name": "new name"})");
    add("Pair", &TavuRecorder::pair, R"(JSON: {"port": 0, "camera": "name", "framesPerPacket": 1})");
    add("Configure", &TavuRecorder::configure,
        R"(JSON: {"port": 0, "width": 640, "height": 480, "pixelFormat": 0, "tapGeometry": 0}; )"
        "values left out keep their setting");
    add("Recover", &TavuRecorder::recover);
    add("DiscardIncomplete", &TavuRecorder::discardIncomplete);
}

void TavuRecorderClass::device_factory(const Tango::DevVarStringArray* names) {
    for (CORBA::ULong index = 0; index < names->length(); ++index) {
        auto device = std::make_unique<TavuRecorder>(this, (*names)[index].in());
        TavuRecorder& made = *device;
        device_list.push_back(device.release());
        if (Tango::Util::_UseDb && !Tango::Util::_FileDb) {
            export_device(&made);
        } else {
            export_device(&made, made.get_name().c_str());
        }
    }
}

}  // namespace tavu::tavutango
