#include "tools/tavuweb/Access.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace tavu::tavuweb {

namespace {

// Comparison in a time that doesn't depend on where the first difference lies.
bool sameText(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    unsigned char difference = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    }
    return difference == 0;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace

Access::Access(std::string token, std::vector<std::string> hosts) : token_(std::move(token)), hosts_(std::move(hosts)) {}

bool Access::hostAllowed(std::string_view host) const {
    return std::any_of(hosts_.begin(), hosts_.end(), [&](const std::string& allowed) { return host == allowed; });
}

bool Access::originAllowed(std::string_view origin) const {
    if (origin.empty()) {
        return true;
    }
    return std::any_of(hosts_.begin(), hosts_.end(),
                       [&](const std::string& allowed) { return origin == "http://" + allowed; });
}

bool Access::tokenMatches(std::string_view candidate) const { return sameText(candidate, token_); }

bool Access::authorised(std::string_view cookieHeader, std::string_view authorization) const {
    constexpr std::string_view Bearer = "Bearer ";
    if (authorization.starts_with(Bearer) && tokenMatches(trimmed(authorization.substr(Bearer.size())))) {
        return true;
    }
    const std::string prefix = std::string(CookieName) + "=";
    while (!cookieHeader.empty()) {
        const size_t end = cookieHeader.find(';');
        const std::string_view pair = trimmed(cookieHeader.substr(0, end));
        if (pair.starts_with(prefix) && tokenMatches(pair.substr(prefix.size()))) {
            return true;
        }
        cookieHeader = end == std::string_view::npos ? std::string_view{} : cookieHeader.substr(end + 1);
    }
    return false;
}

std::string Access::cookie() const {
    return std::string(CookieName) + "=" + token_ + "; Path=/; HttpOnly; SameSite=Strict";
}

std::string randomToken() {
    std::random_device device;
    std::string token;
    for (int i = 0; i < 4; ++i) {
        char part[9];
        std::snprintf(part, sizeof part, "%08x", static_cast<unsigned>(device()));
        token += part;
    }
    return token;
}

}  // namespace tavu::tavuweb
