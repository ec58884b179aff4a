#pragma once
#include <stdexcept>
#include <string>

#include "wire/Commands.h"

namespace tavu::client {

// Base of everything the client library raises of its own.
class ClientError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The service answered a command with an error reply. what() is the service's text exactly as
// it came, so that callers can show it or compare it.
class ServiceError : public ClientError {
public:
    ServiceError(Command command, const std::string& text) : ClientError(text), command_(command) {}
    Command command() const { return command_; }

private:
    Command command_;
};

// No service listens and none could be started; the text says where the client looked.
class NoServiceError : public ClientError {
public:
    using ClientError::ClientError;
};

// The connection ended, or the service sent something that isn't a reply of the protocol.
class ConnectionError : public ClientError {
public:
    using ClientError::ClientError;
};

}  // namespace tavu::client
