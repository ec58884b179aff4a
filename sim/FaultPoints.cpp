#include "sim/FaultPoints.h"

#include <algorithm>
#include <iterator>

namespace sim {
namespace {

constexpr std::string_view FaultPoints[] = {
    "Device::storage", "Device::portCount", "Device::port", "Device::triggerBank", "Device::record",
    "Port::name", "Port::isCameraDetected", "Port::setDataDescriptor", "Port::startGrab", "Port::stopGrab",
    "Port::isGrabbing", "Port::grab", "Port::interruptGrab", "Port::hasSerial", "Port::serial",
    "Port::measuredFrameRate", "Port::linkMode", "Port::writeMemory", "Port::readMemory",
    "Port::hasBitDepthSetting", "Port::setBitDepth", "Port::hasPackingSetting", "Port::setPacking",
    "SerialPort::send", "SerialPort::clear", "SerialPort::receive", "SerialPort::setEnabled",
    "SerialPort::isEnabled", "SerialPort::setBaudRate", "SerialPort::baudRate", "SerialPort::setStopBits",
    "SerialPort::setParity", "SerialPort::setWatermark", "SerialPort::watermarkLimit", "TriggerBank::element",
    "TriggerElement::parameter", "TriggerElement::connectInput", "Parameter::set", "Record::addPort",
    "Record::start", "Record::stopPort", "Record::status", "Record::attachDriveSet", "Record::detachPort",
    "Storage::driveSets", "Storage::driveGroups", "DriveSetCollection::open", "DriveSetCollection::ids",
    "DriveSetCollection::create", "DriveSetCollection::remove", "DriveGroupList::size", "DriveGroupList::group",
    "DriveGroup::size", "DriveGroup::drive", "DriveSet::info", "DriveSet::openFile", "DriveSet::fileIds",
    "DriveSet::findFile", "DriveSet::incompleteFileId", "DriveSet::fileEntry", "DriveSet::createFile",
    "DriveSet::removeFile", "DriveSet::recover", "DriveSet::capacityInfo", "DriveSet::drives",
    "DriveFile::driveSet", "DriveFile::info", "DriveFile::readMetadata", "DriveFile::writeMetadata",
    "DriveFile::metadataCapacity", "DriveFile::readBlock", "DriveFile::writeBlock", "DriveFile::streamCount",
    "DriveFile::streamByIndex", "DriveFile::streamIdByIndex", "DriveFile::streamById", "RecordedStream::portName",
    "RecordedStream::frames", "FrameSequence::dataType", "FrameSequence::frameCount", "FrameSequence::readFrames"};

}  // namespace

bool isFaultPoint(std::string_view operation) {
    return std::find(std::begin(FaultPoints), std::end(FaultPoints), operation) != std::end(FaultPoints);
}

}  // namespace sim
