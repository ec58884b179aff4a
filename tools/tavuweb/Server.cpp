#include "tools/tavuweb/Server.h"

#include <algorithm>
#include <cctype>
#include <deque>
#include <fstream>
#include <iostream>

#include <boost/asio/post.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

namespace tavu::tavuweb {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace net = boost::asio;
using tcp = net::ip::tcp;

namespace {

using namespace std::chrono_literals;

constexpr size_t HeaderLimit = 8 * 1024;
constexpr size_t BodyLimit = 256 * 1024;
constexpr size_t MessageLimit = 64 * 1024;
constexpr auto RequestTimeout = 30s;
constexpr int ConnectionLimit = 128;
// Text messages a page may have waiting before it counts as stuck and is closed.
constexpr size_t QueueLimit = 1024;
// Frames of live view sent to a page and not yet drawn.
constexpr int FramesInFlight = 2;

std::string_view view(beast::string_view text) { return {text.data(), text.size()}; }

const char* contentType(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    if (extension == ".html") return "text/html; charset=utf-8";
    if (extension == ".js") return "text/javascript; charset=utf-8";
    if (extension == ".css") return "text/css; charset=utf-8";
    if (extension == ".png") return "image/png";
    if (extension == ".svg") return "image/svg+xml";
    return "application/octet-stream";
}

// The query of a target as a map: "a=1&b=x". The page sends only plain numbers and the token,
// so percent escapes are not decoded.
std::map<std::string, std::string> queryOf(std::string_view target) {
    std::map<std::string, std::string> query;
    const size_t start = target.find('?');
    if (start == std::string_view::npos) {
        return query;
    }
    std::string_view rest = target.substr(start + 1);
    while (!rest.empty()) {
        const size_t end = rest.find('&');
        const std::string_view pair = rest.substr(0, end);
        const size_t equals = pair.find('=');
        if (equals != std::string_view::npos) {
            query[std::string(pair.substr(0, equals))] = std::string(pair.substr(equals + 1));
        }
        rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    }
    return query;
}

// A path of the page's folder: letters, digits, '-', '_', '.', '/' and no "..".
bool plainPath(std::string_view path) {
    if (path.find("..") != std::string_view::npos) {
        return false;
    }
    return std::all_of(path.begin(), path.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.' || c == '/';
    });
}

}  // namespace

// One page's WebSocket: pushes the console's messages and live frames, and takes the page's
// requests for live view.
class PageSession : public LiveWatcher, public std::enable_shared_from_this<PageSession> {
public:
    PageSession(tcp::socket socket, Server& server, std::shared_ptr<void> slot)
        : ws_(std::move(socket)), server_(server), slot_(std::move(slot)) {}

    void run(http::request<http::string_body> request) {
        ws_.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        ws_.read_message_max(MessageLimit);
        // A frame goes out as one WebSocket frame, not thousands of small ones that the page
        // would have to join.
        ws_.auto_fragment(false);
        ws_.async_accept(request, [self = shared_from_this()](beast::error_code error) {
            if (!error) {
                self->server_.addPage(self);
                self->send(self->server_.console().state().dump(), false);
                self->read();
            }
        });
    }

    // Any thread.
    void send(std::string message, bool binary) {
        net::post(ws_.get_executor(), [self = shared_from_this(), message = std::move(message), binary]() mutable {
            self->enqueue(std::move(message), binary);
        });
    }

    void close() {
        net::post(ws_.get_executor(), [self = shared_from_this()] {
            self->closing_ = true;
            self->ws_.async_close(websocket::close_code::going_away, [self](beast::error_code) {});
        });
    }

    bool wantsFrame() override { return framesInFlight_.load() < FramesInFlight; }

    DisplayRequest display() override {
        const std::lock_guard lock(displayMutex_);
        return display_;
    }

    void deliver(std::string message) override {
        ++framesInFlight_;
        send(std::move(message), true);
    }

    void failed(const std::string& text) override { send(Json{{"kind", "liveError"}, {"text", text}}.dump(), false); }

private:
    void read() {
        ws_.async_read(buffer_, [self = shared_from_this()](beast::error_code error, size_t) {
            if (error) {
                self->server_.live().forget(self.get());
                return;
            }
            self->received(beast::buffers_to_string(self->buffer_.data()));
            self->buffer_.consume(self->buffer_.size());
            self->read();
        });
    }

    void received(const std::string& text) {
        const Json message = Json::parse(text, nullptr, false);
        if (!message.is_object()) {
            return;
        }
        const std::string op = message.value("op", "");
        if (op == "ack") {
            if (framesInFlight_.load() > 0) {
                --framesInFlight_;
            }
            server_.live().kick();
        } else if (op == "display" || op == "live") {
            {
                const std::lock_guard lock(displayMutex_);
                display_ = displayRequestFrom(message.value("display", Json::object()));
            }
            if (op == "live") {
                framesInFlight_ = 0;
                const auto device = message.value("device", 0u);
                const auto port = static_cast<uint8_t>(message.value("port", 0u));
                server_.live().watch(device, port, shared_from_this());
            } else {
                server_.live().kick();
            }
        } else if (op == "liveStop") {
            server_.live().forget(this);
        }
    }

    void enqueue(std::string message, bool binary) {
        if (closing_) {
            return;
        }
        if (queue_.size() >= QueueLimit) {
            // A page that takes nothing would make the console hold its messages without end.
            closing_ = true;
            server_.live().forget(this);
            beast::get_lowest_layer(ws_).close();
            return;
        }
        queue_.emplace_back(std::move(message), binary);
        if (queue_.size() == 1) {
            write();
        }
    }

    void write() {
        ws_.binary(queue_.front().second);
        ws_.async_write(net::buffer(queue_.front().first), [self = shared_from_this()](beast::error_code error, size_t) {
            if (error) {
                self->closing_ = true;
                self->queue_.clear();
                return;
            }
            self->queue_.pop_front();
            if (!self->queue_.empty()) {
                self->write();
            }
        });
    }

    websocket::stream<beast::tcp_stream> ws_;
    Server& server_;
    std::shared_ptr<void> slot_;
    beast::flat_buffer buffer_;
    std::deque<std::pair<std::string, bool>> queue_;
    bool closing_ = false;
    std::atomic<int> framesInFlight_{0};
    std::mutex displayMutex_;
    DisplayRequest display_;
};

namespace {

// One HTTP connection: the page's files, the API, and the upgrade to a PageSession.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(tcp::socket socket, Server& server, std::shared_ptr<void> slot)
        : stream_(std::move(socket)), server_(server), slot_(std::move(slot)) {}

    void run() { read(); }

private:
    void read() {
        parser_.emplace();
        parser_->header_limit(HeaderLimit);
        parser_->body_limit(BodyLimit);
        stream_.expires_after(RequestTimeout);
        http::async_read(stream_, buffer_, *parser_, [self = shared_from_this()](beast::error_code error, size_t) {
            if (error == http::error::body_limit || error == http::error::header_limit) {
                self->respond(self->textReply(http::status::payload_too_large, "The request is too large.\n"), true);
                return;
            }
            if (error) {
                return;
            }
            self->handle(self->parser_->release());
        });
    }

    http::response<http::string_body> textReply(http::status status, std::string text,
                                                 const char* type = "text/plain; charset=utf-8") {
        http::response<http::string_body> response{status, 11};
        response.set(http::field::content_type, type);
        response.set(http::field::cache_control, "no-store");
        response.body() = std::move(text);
        response.prepare_payload();
        return response;
    }

    void handle(http::request<http::string_body> request) {
        const Access& access = server_.access();
        keepAlive_ = request.keep_alive();
        if (!access.hostAllowed(view(request[http::field::host]))) {
            respond(textReply(http::status::misdirected_request,
                              "This console answers only at the address that tavuweb printed.\n"),
                    true);
            return;
        }
        const std::string target(request.target());
        const std::string path = target.substr(0, target.find('?'));
        const bool authorised =
            access.authorised(view(request[http::field::cookie]), view(request[http::field::authorization]));
        if (websocket::is_upgrade(request)) {
            if (path != "/ws" || !authorised || !access.originAllowed(view(request[http::field::origin]))) {
                respond(textReply(http::status::forbidden, "Forbidden.\n"), true);
                return;
            }
            std::make_shared<PageSession>(stream_.release_socket(), server_, std::move(slot_))->run(std::move(request));
            return;
        }
        const auto query = queryOf(target);
        if (path == "/" && query.contains("token")) {
            if (!access.tokenMatches(query.at("token"))) {
                respond(textReply(http::status::unauthorized, "That token is not this console's.\n"), true);
                return;
            }
            // The token leaves the address bar: the cookie carries it from here on.
            http::response<http::string_body> response = textReply(http::status::see_other, "");
            response.set(http::field::location, "/");
            response.set(http::field::set_cookie, access.cookie());
            respond(std::move(response), false);
            return;
        }
        if (!authorised) {
            respond(textReply(http::status::unauthorized,
                              "Open the address that tavuweb printed when it started: it carries the access token.\n"),
                    false);
            return;
        }
        if (path.starts_with("/api/")) {
            if (request.method() != http::verb::get && !access.originAllowed(view(request[http::field::origin]))) {
                respond(textReply(http::status::forbidden, "Forbidden.\n"), true);
                return;
            }
            ApiRequest call{std::string(request.method_string()), path.substr(5), query, std::move(request.body())};
            net::post(server_.workers(), [self = shared_from_this(), call = std::move(call)] {
                ApiReply reply = self->server_.api().handle(call);
                net::post(self->stream_.get_executor(), [self, reply = std::move(reply)]() mutable {
                    auto response = self->textReply(static_cast<http::status>(reply.status), std::move(reply.body),
                                                    reply.contentType.c_str());
                    if (!reply.downloadName.empty()) {
                        response.set(http::field::content_disposition,
                                     "attachment; filename=\"" + reply.downloadName + "\"");
                    }
                    self->respond(std::move(response), false);
                });
            });
            return;
        }
        serveFile(path == "/" ? "/index.html" : path);
    }

    void serveFile(const std::string& path) {
        if (!plainPath(path)) {
            respond(textReply(http::status::not_found, "Not found.\n"), false);
            return;
        }
        const std::filesystem::path file = server_.pageFolder() / path.substr(1);
        std::ifstream in(file, std::ios::binary);
        if (!in || std::filesystem::is_directory(file)) {
            respond(textReply(http::status::not_found, "Not found.\n"), false);
            return;
        }
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        respond(textReply(http::status::ok, bytes, contentType(file)), false);
    }

    void respond(http::response<http::string_body> response, bool close) {
        response.keep_alive(keepAlive_ && !close);
        auto shared = std::make_shared<http::response<http::string_body>>(std::move(response));
        http::async_write(stream_, *shared, [self = shared_from_this(), shared](beast::error_code error, size_t) {
            if (error || !shared->keep_alive()) {
                beast::error_code ignored;
                self->stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
                return;
            }
            self->read();
        });
    }

    beast::tcp_stream stream_;
    Server& server_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    std::shared_ptr<void> slot_;
    bool keepAlive_ = false;
};

}  // namespace

Server::Server(tcp::acceptor acceptor, Access access, std::filesystem::path pageFolder, ServicePool& pool,
               double maxLiveRate)
    : acceptor_(std::move(acceptor)),
      access_(std::move(access)),
      pageFolder_(std::move(pageFolder)),
      console_(pool, *this),
      api_(pool, console_),
      live_(pool.options(), console_, maxLiveRate) {}

Server::~Server() { stop(); }

uint16_t Server::port() const { return acceptor_.local_endpoint().port(); }

void Server::start() {
    console_.start();
    accept();
}

void Server::stop() {
    if (stopped_) {
        return;
    }
    stopped_ = true;
    beast::error_code ignored;
    acceptor_.close(ignored);
    live_.stop();
    console_.stop();
    workers_.join();
}

void Server::accept() {
    acceptor_.async_accept([this](beast::error_code error, tcp::socket socket) {
        if (error == net::error::operation_aborted || !acceptor_.is_open()) {
            return;
        }
        if (!error) {
            if (auto slot = admitConnection()) {
                std::make_shared<HttpSession>(std::move(socket), *this, std::move(slot))->run();
            }
        }
        accept();
    });
}

std::shared_ptr<void> Server::admitConnection() {
    const auto count = connections_;
    if (++*count > ConnectionLimit) {
        --*count;
        return nullptr;
    }
    return {count.get(), [count](void*) { --*count; }};
}

void Server::addPage(const std::shared_ptr<PageSession>& page) {
    const std::lock_guard lock(pagesMutex_);
    std::erase_if(pages_, [](const std::weak_ptr<PageSession>& entry) { return entry.expired(); });
    pages_.push_back(page);
}

void Server::broadcast(const std::string& message) {
    std::vector<std::shared_ptr<PageSession>> pages;
    {
        const std::lock_guard lock(pagesMutex_);
        for (const auto& entry : pages_) {
            if (auto page = entry.lock()) {
                pages.push_back(std::move(page));
            }
        }
    }
    for (const auto& page : pages) {
        page->send(message, false);
    }
}

}  // namespace tavu::tavuweb
