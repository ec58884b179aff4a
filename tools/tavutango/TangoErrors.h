#pragma once
#include <stdexcept>

namespace tavu::tavutango {

// A client's argument that cannot be used; the text names the fault.
class BadArgument : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// Turns the exception being handled into the DevFailed a client of the control system sees:
// TAVU_ServiceError with the service's own text for a refusal, TAVU_BadArgument for an argument,
// TAVU_NotConnected when the service or the recorder is missing. Call only inside a catch block.
[[noreturn]] void throwForClient(const char* origin);

// Runs `body`, turning what it raises into a DevFailed.
template <typename Body>
auto forClient(const char* origin, Body&& body) {
    try {
        return body();
    } catch (...) {
        throwForClient(origin);
    }
}

}  // namespace tavu::tavutango
