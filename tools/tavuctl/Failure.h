#pragma once
#include <stdexcept>
#include <string>

#include "client/ClientErrors.h"

namespace tavu::tavuctl {

// Exit statuses of tavuctl; the footer of `tavuctl --help` lists them.
namespace exitcode {
inline constexpr int Ok = 0;
inline constexpr int Failed = 1;       // the service refused, or a local file couldn't be used
inline constexpr int Usage = 2;        // bad arguments, or no such device, port, recording or frame
inline constexpr int NoService = 3;    // no service and none could be started, or connection lost
inline constexpr int Interrupted = 130;
}  // namespace exitcode

// A failure with the message for the user and the exit status that goes with it.
class Failure : public std::runtime_error {
public:
    Failure(int exitCode, const std::string& message) : std::runtime_error(message), exitCode_(exitCode) {}
    int exitCode() const { return exitCode_; }

private:
    int exitCode_;
};

// "cannot pair ...: no drive set." and, where the text calls for it, what to do about it.
std::string refusal(const std::string& what, const client::ServiceError& error);

// Runs work; an error reply of the service becomes a Failure that says what was being done.
template <typename Work>
decltype(auto) attempt(const std::string& what, Work&& work) {
    try {
        return work();
    } catch (const client::ServiceError& error) {
        throw Failure(exitcode::Failed, refusal(what, error));
    }
}

}  // namespace tavu::tavuctl
