#pragma once
#include "sim/Errors.h"
#include "sim/Recorder.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace sim {

// A handle that the caller hands back (a port, a drive, a drive set) must be one that this
// recorder gave out, not another recorder's and not an object of the caller's own making.
template <typename Own, typename Base>
const Own& ownHandle(const boost::shared_ptr<Base>& handle, const Recorder& recorder, const std::string& what) {
    const auto* own = dynamic_cast<const Own*>(handle.get());
    if (own == nullptr || &own->recorder() != &recorder) {
        fail(what + " does not belong to recorder " + recorder.name() + ".");
    }
    return *own;
}

}  // namespace sim
