#pragma once
#include <string>

namespace Quillon {

// The library's string: a plain value, implemented here so that both sides of the seam share it.
class String {
public:
    String() = default;
    String(const char* text) : text_(text != nullptr ? text : "") {}  // implicit, as literals are passed for names
    String(const String&) = default;
    String& operator=(const String&) = default;
    String& operator=(const char* text) {
        text_ = text != nullptr ? text : "";
        return *this;
    }
    ~String() = default;

    const char* c_str() const { return text_.c_str(); }

private:
    std::string text_;
};

}  // namespace Quillon
