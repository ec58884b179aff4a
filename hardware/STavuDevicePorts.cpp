// Describing ports to the recorder, and the drive set that they record to.
#include "hardware/STavuDevice.h"

#include "hardware/CameraWakeUp.h"
#include "hardware/DeviceTexts.h"
#include "hardware/DeviceType.h"
#include "hardware/DriveSets.h"
#include "hardware/PortDescriptor.h"
#include "library/Port.h"
#include "library/Record.h"

#include <algorithm>
#include <stdexcept>

namespace tavu {

namespace {

// Ties the port to the device's drive set, making the set first when the recorder has none.
void attachToDriveSet(Quillon::Device& device, const boost::shared_ptr<Quillon::Port>& port) {
    boost::shared_ptr<Quillon::Record> record = device.record();
    boost::shared_ptr<Quillon::DriveSetCollection> driveSets = device.storage(0)->driveSets();
    Quillon::Vector<uint32_t> ids = driveSets->ids();
    if (ids.size() == 0) {
        createDefaultDriveSet(device, *driveSets);
        ids = driveSets->ids();
        if (ids.size() == 0) {
            throw std::runtime_error(kNoDriveSet);
        }
    }
    boost::shared_ptr<Quillon::DriveSet> driveSet = driveSets->open(ids[0]);
    record->detachPort(port);
    record->attachDriveSet(driveSet, port);
}

}  // namespace

void STavuDevice::configurePort(Quillon::Device& device, uint32_t port, uint16_t width, uint16_t height,
                                uint32_t pixelFormat, uint32_t tapGeometry) {
    const uint32_t deviceType = device.hardwareInfo(0)->deviceType;
    boost::shared_ptr<Quillon::Port> libraryPort = device.port(port);
    const bool wasGrabbing = libraryPort->isGrabbing();
    libraryPort->setDataDescriptor(describePort(*libraryPort, deviceType, port, width, height, tapGeometry));
    attachToDriveSet(device, libraryPort);
    PortState& state = ports_[port];
    state.width = width;
    state.height = height;
    state.pixelFormat = pixelFormat;
    state.tapGeometry = tapGeometry;
    if (isCoaXPressType(deviceType) && isSilentCamera(*libraryPort)) {
        wakeUpCamera(*libraryPort);
    }
    // The new description ended a live view on the port; the next liveFrame starts it again.
    if (wasGrabbing) {
        state.restartLive = true;
    }
}

void STavuDevice::setup() {
    std::lock_guard guard(lock_);
    if (std::ranges::any_of(openFiles_, &OpenFileSlot::inUse)) {
        throw std::runtime_error("Can't setup tavu while files are open.");
    }
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (device->kind() == Quillon::Device::KindVirtual) {
        throw std::runtime_error("Cannot call setup on virtual devices.");
    }
    boost::shared_ptr<Quillon::Record> record = device->record();
    boost::shared_ptr<Quillon::DriveSetCollection> driveSets = device->storage(0)->driveSets();
    Quillon::Vector<uint32_t> ids = driveSets->ids();
    // The library's own port count, as the table may be out of date. The ports stay detached
    // until configurePort next runs for them.
    for (uint32_t index = 0; index < device->portCount(); ++index) {
        record->detachPort(device->port(index));
    }
    for (uint32_t id : ids) {
        driveSets->remove(id);
    }
    // ".config" and the ".pair" files went with the old sets; the ports' state reaches the new
    // set at the next write of the configuration record.
    createDefaultDriveSet(*device, *driveSets);
}

}  // namespace tavu
