// The Tango device server against the client library it is built on: LiveImage reads through
// the control system's client against liveFrame, and the time from StartRecording to the State
// change event against the time from startRecording to the service's RecordingStarted event.
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <tango.h>

#include "bench/Benchmarks.h"
#include "bench/EmulatorService.h"
#include "client/EventReader.h"
#include "client/LiveView.h"

extern char** environ;

namespace tavu::bench {

namespace {

using namespace std::chrono_literals;

constexpr uint16_t kSide = 2048;
constexpr int kLatencyWarmUp = 3;
constexpr int kLatencyRounds = 30;

uint16_t freeLoopbackPort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(probe);
        throw std::runtime_error("no free loopback port");
    }
    ::close(probe);
    return ntohs(address.sin_port);
}

// tavutango of this build with one device, on the benchmark's service, without a database.
class TangoServer {
public:
    explicit TangoServer(const EmulatorService& service) {
        const std::string port = std::to_string(freeLoopbackPort());
        std::vector<std::string> environment;
        for (char** entry = environ; *entry != nullptr; ++entry) {
            environment.emplace_back(*entry);
        }
        environment.push_back("XDG_RUNTIME_DIR=" + (service.root() / "run").string());
        environment.push_back("XDG_DATA_HOME=" + (service.root() / "data").string());
        const std::string program = std::string(TAVUSVC_BIN_DIR) + "/tavutango";
        std::vector<std::string> args{program, "bench", "-nodb", "-dlist", "bench/tavu/1", "-ORBendPoint",
                                      "giop:tcp:127.0.0.1:" + port};
        pid_ = test::spawnProgram(std::move(args), std::move(environment), "/dev/null", {});
        std::string name = "tango://127.0.0.1:" + port + "/bench/tavu/1#dbase=no";
        const bool up = test::eventually(
            [&] {
                try {
                    device_ = std::make_unique<Tango::DeviceProxy>(name);
                    device_->ping();
                    return true;
                } catch (const Tango::DevFailed&) {
                    return false;
                }
            },
            20s);
        if (!up) {
            throw std::runtime_error("tavutango did not come up");
        }
    }
    ~TangoServer() {
        device_.reset();
        ::kill(pid_, SIGTERM);
        int status = 0;
        ::waitpid(pid_, &status, 0);
    }
    TangoServer(const TangoServer&) = delete;
    TangoServer& operator=(const TangoServer&) = delete;

    Tango::DeviceProxy& device() { return *device_; }

private:
    pid_t pid_ = -1;
    std::unique_ptr<Tango::DeviceProxy> device_;
};

// Notes when State change events bring a wanted state.
class StateWatch : public Tango::CallBack {
public:
    void push_event(Tango::EventData* event) override {
        if (event->err || event->attr_value == nullptr) {
            return;
        }
        Tango::DevState state;
        *event->attr_value >> state;
        {
            std::lock_guard guard(lock_);
            state_ = state;
            when_ = Clock::now();
        }
        changed_.notify_all();
    }
    Clock::time_point waitFor(Tango::DevState wanted) {
        std::unique_lock lock(lock_);
        if (!changed_.wait_for(lock, 10s, [&] { return state_ == wanted; })) {
            throw std::runtime_error("no State change event to " + std::string(Tango::DevStateName[wanted]));
        }
        return when_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    Tango::DevState state_ = Tango::UNKNOWN;
    Clock::time_point when_;
};

double microseconds(Clock::duration duration) { return std::chrono::duration<double, std::micro>(duration).count(); }

void benchLiveImage(Report& report, EmulatorService& service, TangoServer& server, Seconds window) {
    auto client = service.connect();
    client->setPortConfig(0, 0, {kSide, kSide, 0, 0});
    // The emulator has one live view a port: each side starts its own in its turn.
    double tango = 0;
    double library = 0;
    for (int round = 0; round < 3; ++round) {
        Tango::DeviceAttribute on("LivePort", Tango::DevLong(0));
        server.device().write_attribute(on);
        tango = std::max(tango, warmRate(window, [&] { server.device().read_attribute("LiveImage"); }));
        Tango::DeviceAttribute off("LivePort", Tango::DevLong(-1));
        server.device().write_attribute(off);
        client::LiveView live(*client, 0, 0);
        library = std::max(library, warmRate(window, [&] { live.grab(); }));
    }
    report.add({"LiveImage 2048x2048 through Tango", "reads/s", tango, library, "liveFrame through the client library",
                0.5});
}

void benchStateEvent(Report& report, EmulatorService& service, TangoServer& server) {
    auto client = service.connect();
    client->setPortConfig(0, 0, {64, 64, 0, 0});
    StateWatch watch;
    const int subscription = server.device().subscribe_event("State", Tango::CHANGE_EVENT, &watch);
    Tango::DeviceData request;
    std::string ports = R"({"ports": [0]})";
    request << ports;
    std::vector<double> tango;
    for (int round = 0; round < kLatencyWarmUp + kLatencyRounds; ++round) {
        watch.waitFor(Tango::ON);
        const auto start = Clock::now();
        server.device().command_inout("StartRecording", request);
        const auto running = watch.waitFor(Tango::RUNNING);
        server.device().command_inout("StopRecording");
        if (round >= kLatencyWarmUp) {
            tango.push_back(microseconds(running - start));
        }
    }
    server.device().unsubscribe_event(subscription);

    auto listener = service.connect();
    client::EventReader events(*listener);
    std::vector<double> library;
    for (int round = 0; round < kLatencyWarmUp + kLatencyRounds; ++round) {
        const auto start = Clock::now();
        client->startRecording(0, {1, 0, StopCondition::None, 0, false, 0});
        while (events.next().value_or(DeviceEvent{DeviceEvent::NoEvent}).type != DeviceEvent::RecordingStarted) {
        }
        const auto started = Clock::now();
        client->stopRecording(0);
        if (round >= kLatencyWarmUp) {
            library.push_back(microseconds(started - start));
        }
    }
    report.add({"StartRecording until the State change event", "us", median(tango), median(library),
                "startRecording until RecordingStarted through the client library", std::nullopt, true});
}

}  // namespace

void benchTango(Report& report, EmulatorService& service, Seconds window) {
    {
        TangoServer server(service);
        benchLiveImage(report, service, server, window);
        benchStateEvent(report, service, server);
    }
    Tango::ApiUtil::cleanup();
}

}  // namespace tavu::bench
