#include <algorithm>
#include <csignal>
#include <functional>
#include <optional>
#include <iostream>

#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/Failure.h"

namespace tavu::tavuctl {

namespace {

constexpr const char* Description =
    "tavuctl: control tavusvc, the service for high-speed camera recorders.\n"
    "Find recorders, pair cameras with their ports, record, list, export and recover recordings.\n"
    "The service is started when none runs (from tavuctl's folder or PATH) and ends with its last client.";

constexpr const char* Footer =
    "Exit status:\n"
    "  0    success\n"
    "  1    the service refused the request (its reason is shown), a local file could not be used,\n"
    "       or a recording ended short of what was asked\n"
    "  2    usage: bad arguments, or no such device, port, recording or frame\n"
    "  3    no service: none listens and none could be started (the message says where tavusvc\n"
    "       was looked for), or the connection to it was lost\n"
    "  130  interrupted (Ctrl-C, SIGTERM) before the task was complete; a recording is still\n"
    "       stopped and kept, and every image written is complete\n"
    "\n"
    "Environment: TAVUSRV_ENABLE_EMULATOR=1 gives a service that tavuctl starts an emulated\n"
    "recorder as device 0. The socket is $XDG_RUNTIME_DIR/tavusrv, else /tmp/tavusrv-<uid>/tavusrv.\n"
    "Results go to standard output; progress and notices to standard error.\n"
    "'tavuctl help COMMAND' is 'tavuctl COMMAND --help'.";

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
    app.add_flag("--json", options.json,
                 "Print results as JSON on standard output (progress goes to standard error)");
    app.add_flag("--no-start", options.noStart, "Don't start the service when none runs; fail instead");
    app.add_flag("-q,--quiet", options.quiet, "No progress display");
    app.set_version_flag("--version", "tavuctl 1.0 (protocol version 0)");
}

// "tavuctl: DEV is required", then where to read more: the help of the subcommand at fault.
std::string failureMessage(const CLI::App* app, const CLI::Error& error) {
    std::string command = "tavuctl";
    for (const CLI::App* current = app; !current->get_subcommands().empty();) {
        current = current->get_subcommands().front();
        command += " " + current->get_name();
    }
    return "tavuctl: " + std::string(error.what()) + "\nRun '" + command + " --help' for more information.\n";
}

// Letters to change, add or drop to turn one word into the other.
size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

std::string unknownCommand(const CLI::App& app, const std::string& word) {
    std::string message = "tavuctl: unknown command '" + word + "'";
    size_t best = 3;
    for (const CLI::App* command : app.get_subcommands(std::function<bool(const CLI::App*)>())) {
        const size_t distance = editDistance(word, command->get_name());
        if (distance < best) {
            best = distance;
            message = "tavuctl: unknown command '" + word + "'; did you mean '" + command->get_name() + "'?";
        }
    }
    return message + "\nRun 'tavuctl --help' for the list of commands.\n";
}

// The command word is the first argument that is not an option: "help [COMMAND]" becomes
// "[COMMAND] --help", and a word that is no command is refused with the nearest one.
std::optional<std::vector<std::string>> commandLine(const CLI::App& app, int argc, char** argv) {
    std::vector<std::string> args(argv, argv + argc);
    const auto word = std::find_if(args.begin() + 1, args.end(), [](const std::string& arg) { return !arg.starts_with("-"); });
    if (word == args.end()) {
        return args;
    }
    if (*word == "help") {
        args.erase(word);
        args.emplace_back("--help");
        return args;
    }
    const auto named = app.get_subcommands([&](const CLI::App* command) { return command->get_name() == *word; });
    if (named.empty()) {
        std::cerr << unknownCommand(app, *word);
        return std::nullopt;
    }
    return args;
}

int report(const Session& session, int code, const std::string& message) {
    std::cerr << "tavuctl: " << message << std::endl;
    if (session.json()) {
        session.emit({{"error", message}, {"exitCode", code}});
    }
    return code;
}

int run(int argc, char** argv) {
    Session session;
    CLI::App app(Description, "tavuctl");
    app.require_subcommand(1);
    app.fallthrough();
    addGlobalOptions(app, session.options);
    addDeviceCommands(app, session);
    addPortCommands(app, session);
    addRecordCommands(app, session);
    addFileCommands(app, session);
    addImageCommands(app, session);
    addEventsCommand(app, session);
    addRecoverCommand(app, session);
    addPassthroughCommands(app, session);
    app.footer(Footer);
    app.failure_message(failureMessage);
    if (argc == 1) {
        std::cerr << app.help();
        return exitcode::Usage;
    }
    const auto args = commandLine(app, argc, argv);
    if (!args) {
        return exitcode::Usage;
    }
    std::vector<char*> pointers;
    for (const std::string& arg : *args) {
        pointers.push_back(const_cast<char*>(arg.c_str()));
    }
    try {
        app.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitcode::Ok : exitcode::Usage;
    } catch (const Failure& failure) {
        return report(session, failure.exitCode(), failure.what());
    } catch (const client::ServiceError& error) {
        return report(session, exitcode::Failed,
                      std::string("the service refused ") + commandName(error.command()) + ": " +
                          error.what());
    } catch (const client::NoServiceError& error) {
        return report(session, exitcode::NoService, error.what());
    } catch (const client::ConnectionError& error) {
        return report(session, exitcode::NoService, error.what());
    } catch (const std::exception& error) {
        return report(session, exitcode::Failed, error.what());
    }
    return session.exitCode;
}

}  // namespace

}  // namespace tavu::tavuctl

int main(int argc, char** argv) {
    // A closed pipe on standard output must not kill tavuctl in the middle of a recording.
    std::signal(SIGPIPE, SIG_IGN);
    return tavu::tavuctl::run(argc, argv);
}
