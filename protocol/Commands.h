#pragma once
#include "protocol/CommandContext.h"
#include "wire/Commands.h"

// One handler per command, named as the command. Each reads its parameters in order, makes its
// device calls, and only then writes its reply, so that a failure never follows a partly written
// reply. The handlers of a family live in one file: QueueCommands, DeviceCommands,
// SerialCommands, FileCommands, PairingCommands, RecordingCommands, LiveCommands.
namespace tavu::commands {

#define TAVU_COMMAND_HANDLER(ordinal, name, Name) void name(CommandContext& context);
TAVU_COMMANDS(TAVU_COMMAND_HANDLER)
#undef TAVU_COMMAND_HANDLER

}  // namespace tavu::commands
