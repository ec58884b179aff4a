#include "tools/tavuctl/Failure.h"

namespace tavu::tavuctl {

std::string refusal(const std::string& what, const client::ServiceError& error) {
    const std::string text = error.what();
    std::string message = what + ": " + text;
    // Recorders say so in two spellings.
    if (text == "no drive set." || text == "No drive set.") {
        message += " 'tavuctl setup DEV' prepares the drives (and erases them)";
    }
    return message;
}

}  // namespace tavu::tavuctl
