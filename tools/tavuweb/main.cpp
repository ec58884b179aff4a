#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iostream>

#include <CLI/CLI.hpp>
#include <boost/asio/signal_set.hpp>

#include "tools/tavuweb/Server.h"

namespace {

namespace net = boost::asio;
using tcp = net::ip::tcp;
using namespace tavu::tavuweb;

std::filesystem::path executableFolder() {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::current_path() : self.parent_path();
}

// "127.0.0.1:8090" -> address and port; a bare port keeps the loopback address.
tcp::endpoint parseListen(const std::string& text) {
    const size_t colon = text.rfind(':');
    std::string host = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    if (host == "localhost") {
        host = "127.0.0.1";
    }
    unsigned long number = 0;
    try {
        size_t used = 0;
        number = std::stoul(port, &used);
        if (used != port.size() || number > 65535) {
            throw std::invalid_argument(port);
        }
    } catch (const std::exception&) {
        throw CLI::ValidationError("--listen", "the port must be a number from 0 to 65535: " + text);
    }
    boost::system::error_code error;
    const auto address = net::ip::make_address(host, error);
    if (error) {
        throw CLI::ValidationError("--listen", "not an IP address: " + host);
    }
    return {address, static_cast<uint16_t>(number)};
}

// The Host values a browser sends for this console.
std::vector<std::string> hostsFor(const tcp::endpoint& endpoint, uint16_t port, const std::vector<std::string>& names) {
    const std::string suffix = ":" + std::to_string(port);
    std::vector<std::string> hosts;
    const auto address = endpoint.address();
    if (address.is_loopback() || address.is_unspecified()) {
        hosts = {"127.0.0.1" + suffix, "localhost" + suffix, "[::1]" + suffix};
    }
    if (!address.is_loopback() && !address.is_unspecified()) {
        hosts.push_back((address.is_v6() ? "[" + address.to_string() + "]" : address.to_string()) + suffix);
    }
    for (const std::string& name : names) {
        hosts.push_back(name + suffix);
    }
    return hosts;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("tavuweb: a web console for tavusvc. Shows the recorders' devices and ports, records, shows\n"
                 "cameras live, and plays recordings back, in a browser. The service is started when none runs.",
                 "tavuweb");
    std::string listen = "127.0.0.1:8090";
    std::vector<std::string> names;
    std::string page = (executableFolder() / "tavuweb-page").string();
    std::string token;
    double maxLiveRate = 30;
    app.add_option("--listen", listen, "Address and port to serve, ADDR:PORT (port 0: any free one)")
        ->capture_default_str();
    app.add_option("--host-name", names,
                   "A further host name that browsers use to reach this console (with --listen)");
    app.add_option("--page", page, "Folder of the page's files")->capture_default_str();
    app.add_option("--token", token, "Access token to require (default: a new random one)");
    app.add_option("--live-rate", maxLiveRate, "Live frames per second per port at most; 0: as fast as pages draw")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1000.0));
    app.set_version_flag("--version", "tavuweb 1.0");
    CLI11_PARSE(app, argc, argv);

    try {
        const tcp::endpoint endpoint = parseListen(listen);
        if (!endpoint.address().is_loopback()) {
            std::cerr << "tavuweb: warning: serving on " << listen
                      << ", beyond this machine; anyone who has the token can drive the recorders, and traffic "
                         "is not encrypted (an SSH tunnel is safer)\n";
        }
        // A page or the service going away mid-write must not end the console.
        std::signal(SIGPIPE, SIG_IGN);
        net::io_context io(1);
        tcp::acceptor acceptor(io, endpoint);
        const uint16_t port = acceptor.local_endpoint().port();
        tavu::client::ConnectOptions options;
        ServicePool pool(options);
        Access access(token.empty() ? randomToken() : token, hostsFor(endpoint, port, names));
        // The first host is the one to open: the loopback address, or the one given.
        const std::string address = "http://" + hostsFor(endpoint, port, {}).front();
        Server server(std::move(acceptor), access, page, pool, maxLiveRate);
        server.start();
        net::signal_set signals(io, SIGINT, SIGTERM);
        signals.async_wait([&](const boost::system::error_code&, int) { io.stop(); });
        std::cout << "tavuweb: open " << address << "/?token=" << access.token() << std::endl;
        io.run();
        std::cout << "tavuweb: stopping" << std::endl;
        server.stop();
    } catch (const std::exception& error) {
        std::cerr << "tavuweb: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
