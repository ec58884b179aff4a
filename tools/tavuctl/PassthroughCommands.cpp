// serial, reg: traffic passed through to a camera, in hexadecimal both ways.
#include <iostream>

#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/Parsing.h"

namespace tavu::tavuctl {

namespace {

struct Target {
    uint32_t device = 0;
    unsigned port = 0;
};

struct SerialSettings {
    uint32_t baudRate = 115200;
    unsigned parity = 0;
    unsigned stopBits = 1;
};

// Checks the port, then runs one passthrough call with a message that names it.
template <typename Call>
decltype(auto) onPort(Session& session, const Target& target, const std::string& what, Call&& call) {
    session.requirePort(target.device, target.port);
    return attempt(what + " on " + session.portLabel(target.device, static_cast<uint8_t>(target.port)),
                   [&] { return call(session.client(), target.device, static_cast<uint8_t>(target.port)); });
}

void printData(const Session& session, const std::vector<uint8_t>& data) {
    if (session.json()) {
        session.emit({{"data", hexBytes(data, "")}, {"size", data.size()}});
    } else {
        std::cout << hexBytes(data) << "\n";
    }
}

void printDone(const Session& session, const std::string& text, Json value) {
    if (session.json()) {
        session.emit(value);
    } else {
        std::cout << text << "\n";
    }
}

void addSerialOpen(CLI::App& serial, Session& session, const std::shared_ptr<Target>& target) {
    auto settings = std::make_shared<SerialSettings>();
    auto* open = serial.add_subcommand("open", "Open the camera's serial channel");
    open->add_option("--baud", settings->baudRate, "Baud rate, in bits per second")
        ->check(wholeNumber(1, UINT32_MAX))
        ->capture_default_str();
    open->add_option("--parity", settings->parity, "Parity, as the recorder numbers it")
        ->check(wholeNumber(0, 255))
        ->capture_default_str();
    open->add_option("--stop-bits", settings->stopBits, "Stop bits, as the recorder numbers them")
        ->check(wholeNumber(0, 255))
        ->capture_default_str();
    open->callback([&session, target, settings] {
        onPort(session, *target, "cannot open the serial channel", [&](client::Client& c, uint32_t d, uint8_t p) {
            c.serialOpen(d, p, settings->baudRate, static_cast<uint8_t>(settings->parity),
                         static_cast<uint8_t>(settings->stopBits));
        });
        printDone(session, "Opened the serial channel at " + std::to_string(settings->baudRate) + " baud.",
                  {{"opened", true}, {"baudRate", settings->baudRate}});
    });
}

void addSerialTransfer(CLI::App& serial, Session& session, const std::shared_ptr<Target>& target) {
    auto size = std::make_shared<uint32_t>(256);
    auto* read = serial.add_subcommand(
        "read", "Read SIZE bytes that the camera sent, in hexadecimal. The recorder waits a short time of its own "
                "(100 in its units, milliseconds on most) for all of them and fails when fewer came");
    read->add_option("SIZE", *size, "Bytes to read")->check(wholeNumber(0, UINT32_MAX))->capture_default_str();
    read->callback([&session, target, size] {
        printData(session, onPort(session, *target, "cannot read the serial channel",
                                  [&](client::Client& c, uint32_t d, uint8_t p) { return c.serialRead(d, p, *size); }));
    });

    auto hex = std::make_shared<std::vector<std::string>>();
    auto text = std::make_shared<std::string>();
    auto* write = serial.add_subcommand("write", "Send bytes to the camera, given in hexadecimal or as text");
    auto* hexOption = write->add_option("HEX", *hex, "Bytes in hexadecimal, as in \"de ad be ef\" or de ad be ef");
    auto* textOption =
        write->add_option("--text", *text, "Text to send, with the escapes \\r \\n \\t \\0 \\\\ and \\xHH, as in 'ID?\\r'");
    hexOption->excludes(textOption);
    write->callback([&session, target, hex, text, hexOption, textOption] {
        if (hexOption->count() == 0 && textOption->count() == 0) {
            throw Failure(exitcode::Usage, "give the bytes to send in hexadecimal, or as text with --text");
        }
        std::vector<uint8_t> data = parseEscapedText(*text);
        for (const std::string& part : *hex) {
            const std::vector<uint8_t> bytes = parseHex(part);
            data.insert(data.end(), bytes.begin(), bytes.end());
        }
        const uint32_t sent = onPort(session, *target, "cannot write to the serial channel",
                                     [&](client::Client& c, uint32_t d, uint8_t p) { return c.serialWrite(d, p, data); });
        printDone(session, "Sent " + std::to_string(sent) + " of " + std::to_string(data.size()) + " bytes.",
                  {{"sent", sent}, {"size", data.size()}});
    });
}

void addSerialControl(CLI::App& serial, Session& session, const std::shared_ptr<Target>& target) {
    auto rate = std::make_shared<std::optional<uint32_t>>();
    auto* baud = serial.add_subcommand("baud", "Show the baud rate, or set it to RATE");
    baud->add_option("RATE", *rate, "New baud rate, in bits per second")->check(wholeNumber(1, UINT32_MAX));
    baud->callback([&session, target, rate] {
        if (*rate) {
            onPort(session, *target, "cannot set the baud rate", [&](client::Client& c, uint32_t d, uint8_t p) {
                c.serialSetBaudRate(d, p, **rate);
            });
        }
        const uint32_t current = onPort(session, *target, "cannot read the baud rate",
                                        [](client::Client& c, uint32_t d, uint8_t p) { return c.serialGetBaudRate(d, p); });
        printDone(session, std::to_string(current) + " baud", {{"baudRate", current}});
    });

    auto* clear = serial.add_subcommand("clear", "Drop what waits in the serial channel");
    clear->callback([&session, target] {
        onPort(session, *target, "cannot clear the serial channel",
               [](client::Client& c, uint32_t d, uint8_t p) { c.serialClear(d, p); });
        printDone(session, "Cleared the serial channel.", {{"cleared", true}});
    });

    auto* close = serial.add_subcommand("close", "Close the serial channel");
    close->callback([&session, target] {
        onPort(session, *target, "cannot close the serial channel",
               [](client::Client& c, uint32_t d, uint8_t p) { c.serialClose(d, p); });
        printDone(session, "Closed the serial channel.", {{"closed", true}});
    });
}

void addSerial(CLI::App& app, Session& session) {
    auto target = std::make_shared<Target>();
    auto* serial = app.add_subcommand("serial", "Talk to a camera over its serial channel");
    addDeviceArgument(*serial, target->device);
    addPortArgument(*serial, target->port);
    serial->require_subcommand(1);
    addSerialOpen(*serial, session, target);
    addSerialTransfer(*serial, session, target);
    addSerialControl(*serial, session, target);
}

void addRegister(CLI::App& app, Session& session) {
    auto target = std::make_shared<Target>();
    auto* reg = app.add_subcommand("reg", "Read or write a camera's registers");
    addDeviceArgument(*reg, target->device);
    addPortArgument(*reg, target->port);
    reg->require_subcommand(1);

    auto address = std::make_shared<std::string>();
    auto size = std::make_shared<uint32_t>(4);
    auto* read = reg->add_subcommand("read", "Read SIZE bytes from ADDR, in hexadecimal");
    read->add_option("ADDR", *address, "Register address, as in 0x300C or 12300")->required();
    read->add_option("SIZE", *size, "Bytes to read")->check(wholeNumber(0, UINT32_MAX))->capture_default_str();
    read->callback([&session, target, address, size] {
        const uint32_t at = parseAddress(*address);
        printData(session, onPort(session, *target, "cannot read register " + *address,
                                  [&](client::Client& c, uint32_t d, uint8_t p) { return c.registerRead(d, p, at, *size); }));
    });

    auto writeAddress = std::make_shared<std::string>();
    auto hex = std::make_shared<std::string>();
    auto* write = reg->add_subcommand("write", "Write bytes to ADDR");
    write->add_option("ADDR", *writeAddress, "Register address, as in 0x300C or 12300")->required();
    write->add_option("HEX", *hex, "Bytes in hexadecimal, as in \"00 00 00 01\"")->required();
    write->callback([&session, target, writeAddress, hex] {
        const uint32_t at = parseAddress(*writeAddress);
        const std::vector<uint8_t> data = parseHex(*hex);
        onPort(session, *target, "cannot write register " + *writeAddress,
               [&](client::Client& c, uint32_t d, uint8_t p) { c.registerWrite(d, p, at, data); });
        printDone(session, "Wrote " + std::to_string(data.size()) + " bytes at " + *writeAddress + ".",
                  {{"written", data.size()}, {"address", at}});
    });
}

}  // namespace

void addPassthroughCommands(CLI::App& app, Session& session) {
    addSerial(app, session);
    addRegister(app, session);
}

}  // namespace tavu::tavuctl
