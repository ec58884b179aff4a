#pragma once
#include <map>
#include <string>

#include "tools/tavuweb/Console.h"
#include "tools/tavuweb/ServicePool.h"

namespace tavu::tavuweb {

struct ApiRequest {
    std::string method;
    std::string path;  // below /api/, without the query
    std::map<std::string, std::string> query;
    std::string body;
};

struct ApiReply {
    unsigned status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::string downloadName;  // set: the body is a file to save under this name
};

// The console's HTTP API, one call per user action. Runs on worker threads, each call on a
// connection of its own; a refusal of the service comes back as {"error": text} with the
// service's words after what was being done.
class Api {
public:
    Api(ServicePool& pool, Console& console) : pool_(pool), console_(console) {}

    ApiReply handle(const ApiRequest& request);

private:
    ApiReply route(const ApiRequest& request, const std::vector<std::string>& parts, const Json& body);
    ApiReply port(uint32_t device, uint8_t port, const std::string& action, const Json& body);
    ApiReply record(uint32_t device, const Json& body);
    ApiReply recover(uint32_t device);
    ApiReply file(const ApiRequest& request, uint32_t device, uint32_t fileId, uint32_t streamId,
                  const std::vector<std::string>& rest, const Json& body);
    ApiReply frame(const ApiRequest& request, uint32_t device, uint32_t fileId, uint32_t streamId,
                   const std::string& which);

    ServicePool& pool_;
    Console& console_;
};

// A failure that the page should show as it is; status is the HTTP status.
struct ApiFailure : std::runtime_error {
    ApiFailure(unsigned status, const std::string& text) : std::runtime_error(text), status(status) {}
    unsigned status;
};

}  // namespace tavu::tavuweb
