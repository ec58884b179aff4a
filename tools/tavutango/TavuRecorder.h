#pragma once
#include <memory>
#include <string>
#include <vector>

#include "tools/tavutango/Tango.h"
#include "tools/tavutango/RecorderLink.h"

namespace tavu::tavutango {

// One recorder of the local service as a device of the control system. Its State and Status
// follow the recorder (see stateOf), its attributes are read from the service when a client
// reads them, and changes the service announces are pushed as change events.
class TavuRecorder : public TANGO_BASE_CLASS {
public:
    TavuRecorder(Tango::DeviceClass* deviceClass, const char* name);
    ~TavuRecorder() override;
    TavuRecorder(const TavuRecorder&) = delete;
    TavuRecorder& operator=(const TavuRecorder&) = delete;

    void init_device() override;
    void delete_device() override;
    Tango::DevState dev_state() override;
    Tango::ConstDevString dev_status() override;

    void readConnected(Tango::Attribute& attribute);
    void readDeviceType(Tango::Attribute& attribute);
    void readPortCount(Tango::Attribute& attribute);
    void readPortNames(Tango::Attribute& attribute);
    void readWidth(Tango::Attribute& attribute);
    void readHeight(Tango::Attribute& attribute);
    void readPercentUsed(Tango::Attribute& attribute);
    void readRecording(Tango::Attribute& attribute);
    void readFramesRecorded(Tango::Attribute& attribute);
    void readRecoveryStatus(Tango::Attribute& attribute);
    void readLivePort(Tango::Attribute& attribute);
    void writeLivePort(Tango::WAttribute& attribute);
    void readLiveImage(Tango::Attribute& attribute);

    // Commands: a text in (empty for those that take none), a text out (empty for those that give none).
    std::string startRecording(const std::string& argument);
    std::string stopRecording(const std::string& argument);
    std::string softwareTrigger(const std::string& argument);
    std::string listFiles(const std::string& argument);
    std::string removeFile(const std::string& argument);
    std::string renameFile(const std::string& argument);
    std::string pair(const std::string& argument);
    std::string configure(const std::string& argument);
    std::string recover(const std::string& argument);
    std::string discardIncomplete(const std::string& argument);

private:
    void linkChanged(const LinkSnapshot& snapshot);
    void readGeometry(Tango::Attribute& attribute, bool width);
    template <typename Ask>
    void readDeviceNumber(Tango::Attribute& attribute, const char* origin, Ask ask);

    std::unique_ptr<RecorderLink> link_;

    // What a read hands to the framework, which sends it after the read returned.
    Tango::DevBoolean connected_ = false;
    Tango::DevBoolean recording_ = false;
    Tango::DevLong number_ = 0;
    std::vector<std::string> portNames_;
    std::vector<Tango::DevString> portNamePointers_;
    std::vector<Tango::DevLong> geometry_;
    std::vector<Tango::DevLong64> frames_;
    std::vector<Tango::DevUShort> image_;
    std::string status_;

    // What the last events carried.
    uint64_t pushedVersion_ = 0;
    Tango::DevBoolean pushedConnected_ = false;
    Tango::DevBoolean pushedRecording_ = false;
    std::vector<Tango::DevLong64> pushedFrames_;
};

// ON idle, RUNNING recording, STANDBY waiting for a trigger, ALARM a cut-off recording waits,
// FAULT the service or the recorder is missing.
Tango::DevState stateOf(Condition condition);

}  // namespace tavu::tavutango
