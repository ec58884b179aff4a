#pragma once
#include <string>
#include <utility>

namespace Common {

// What the recorder library throws. It deliberately does not derive from std::exception: callers
// catch the two kinds separately and pass either text on.
class GeneralException {
public:
    explicit GeneralException(std::string text) : text_(std::move(text)) {}

    const char* what() const noexcept { return text_.c_str(); }

private:
    std::string text_;
};

}  // namespace Common
