#pragma once
#include <CLI/CLI.hpp>

#include "tools/tavuctl/Session.h"

// Each adds its subcommands to the app; a subcommand's callback does the work.
namespace tavu::tavuctl {

void addDeviceCommands(CLI::App& app, Session& session);       // devices, ports, setup
void addPortCommands(CLI::App& app, Session& session);         // pair, unpair, config
void addRecordCommands(CLI::App& app, Session& session);       // record, stop, trigger
void addFileCommands(CLI::App& app, Session& session);         // files, info, rename, rm
void addImageCommands(CLI::App& app, Session& session);        // export, snapshot
void addEventsCommand(CLI::App& app, Session& session);        // events
void addRecoverCommand(CLI::App& app, Session& session);       // recover
void addPassthroughCommands(CLI::App& app, Session& session);  // serial, reg

// The arguments most subcommands take, checked for their wire width.
CLI::Option* addDeviceArgument(CLI::App& command, uint32_t& device);
CLI::Option* addPortArgument(CLI::App& command, unsigned& port);

}  // namespace tavu::tavuctl
