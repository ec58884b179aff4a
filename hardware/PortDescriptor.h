#pragma once
#include "library/DataDescriptor.h"
#include "library/Port.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace tavu {

// Builds the data descriptor that tells the recorder what the camera on a port delivers: 16-bit
// frames of the configured geometry. CoaXPress recorders take one table of fields, all others
// another; the fields are set in the order that the recorder expects them.
boost::shared_ptr<Quillon::DataDescriptor> describePort(Quillon::Port& port, uint32_t deviceType,
                                                        uint32_t portIndex, uint16_t width, uint16_t height,
                                                        uint32_t tapGeometry);

}  // namespace tavu
