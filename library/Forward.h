#pragma once
// Forward declarations of the recorder library's classes, so that headers of the seam can name
// each other's handles without including each other.

namespace Common {
class Buffer;
class DataType;
class Frame;
class GeneralException;
}  // namespace Common

namespace Quillon {
class String;
class Instance;
class DeviceCollection;
class Device;
class Port;
class SerialPort;
class TriggerBank;
class TriggerElement;
class Parameter;
class Record;
class Storage;
class DriveSetCollection;
class DriveGroupList;
class DriveGroup;
class Drive;
class DriveSet;
class DriveFile;
class RecordedStream;
class FrameSequence;
class Recovery;
class DataDescriptor;
class LibraryEntry;
}  // namespace Quillon
