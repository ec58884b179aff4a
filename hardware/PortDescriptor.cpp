#include "hardware/PortDescriptor.h"

#include "hardware/DeviceType.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace tavu {

namespace {

using Quillon::ParameterValue;
using Field = std::pair<uint32_t, ParameterValue>;

constexpr uint32_t kCoaXPressDescriptor = 4;
constexpr uint32_t kFrameGrabberDescriptor = 0;
constexpr uint32_t kNarrowLinkMode = 2;

ParameterValue u32(uint32_t value) { return ParameterValue::unsigned32(value); }
ParameterValue flag(bool value) { return ParameterValue::boolean(value); }

boost::shared_ptr<Quillon::DataDescriptor> createDescriptor(uint32_t type, uint32_t portIndex,
                                                            std::initializer_list<Field> fields) {
    boost::shared_ptr<Quillon::DataDescriptor> descriptor = Quillon::DataDescriptor::Factory::create(type);
    descriptor->setCustom(true);
    descriptor->setManufacturer("OREK");
    descriptor->setModel("TAVU");
    descriptor->setSubModel(std::to_string(portIndex).c_str());
    for (const auto& [id, value] : fields) {
        descriptor->field(id) = value;
    }
    return descriptor;
}

boost::shared_ptr<Quillon::DataDescriptor> describeCoaXPressPort(Quillon::Port& port, uint32_t deviceType,
                                                                 uint32_t portIndex, uint32_t width,
                                                                 uint32_t height) {
    const bool narrow = port.linkMode() == kNarrowLinkMode;
    // Pixels per clock: eight on the second family, otherwise four on a narrow link and two on a wide one.
    const uint32_t clockedWidth = isSecondFamilyType(deviceType) ? width >> 3 : (narrow ? width >> 2 : width >> 1);
    return createDescriptor(kCoaXPressDescriptor, portIndex,
                            {{35, u32(width)}, {1, u32(clockedWidth)}, {2, u32(height)}, {3, u32(0)},
                             {4, u32(0)}, {5, u32(narrow ? 2 : 1)}, {6, u32(16)}, {7, u32(0)},
                             {9, flag(false)}, {13, flag(false)}, {14, flag(false)}, {15, u32(1)},
                             {16, flag(false)}, {17, u32(1)}, {18, u32(1)}, {19, u32(1)}});
}

struct TapLayout {
    uint32_t geometry;
    uint32_t taps;
};

TapLayout tapLayout(uint32_t tapGeometry) {
    switch (tapGeometry) {
        case 19:
            return {2, 4};
        // 10 and 1 share the geometry value and differ only in taps.
        case 10:
            return {1, 3};
        case 1:
            return {1, 2};
        default:
            return {0, 1};
    }
}

boost::shared_ptr<Quillon::DataDescriptor> describeFrameGrabberPort(uint32_t portIndex, uint32_t width,
                                                                    uint32_t height, uint32_t tapGeometry) {
    const TapLayout layout = tapLayout(tapGeometry);
    // Field 20 stands before 16: the recorder takes the fields in this order.
    return createDescriptor(kFrameGrabberDescriptor, portIndex,
                            {{0, u32(layout.geometry)}, {1, u32(width / layout.taps)}, {2, u32(height)},
                             {3, u32(0)}, {4, u32(0)}, {5, u32(layout.taps)}, {6, u32(16)}, {7, u32(0)},
                             {8, flag(false)}, {9, flag(false)}, {13, flag(false)}, {14, flag(false)},
                             {15, u32(1)}, {20, flag(false)}, {16, flag(false)}, {17, u32(1)},
                             {18, u32(1)}, {19, u32(1)}, {24, flag(false)}, {25, u32(0)},
                             {27, flag(false)}, {28, flag(false)}, {30, flag(false)}});
}

}  // namespace

boost::shared_ptr<Quillon::DataDescriptor> describePort(Quillon::Port& port, uint32_t deviceType,
                                                        uint32_t portIndex, uint16_t width, uint16_t height,
                                                        uint32_t tapGeometry) {
    if (isCoaXPressType(deviceType)) {
        return describeCoaXPressPort(port, deviceType, portIndex, width, height);
    }
    return describeFrameGrabberPort(portIndex, width, height, tapGeometry);
}

}  // namespace tavu
