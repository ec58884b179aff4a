#include <array>

#include "protocol/Commands.h"

namespace tavu {

namespace {

// Indexed by wire number, as the list is in wire order.
constexpr auto Commands = std::to_array<CommandHandler>({
#define TAVU_COMMAND_ENTRY(ordinal, name, Name) commands::name,
    TAVU_COMMANDS(TAVU_COMMAND_ENTRY)
#undef TAVU_COMMAND_ENTRY
});
static_assert(Commands.size() == CommandCount);

}  // namespace

CommandHandler commandFor(uint32_t ordinal) { return Commands[ordinal]; }

}  // namespace tavu
