#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace tavu::tavuweb {

// Who may use the console: a browser that came through the printed address (token in the query,
// then a cookie), or a script that sends the token as a bearer token. The Host of every request
// must be an address the console serves, and a WebSocket's Origin must be its own page, so that
// another site, even through a rebound DNS name, cannot reach the recorders.
class Access {
public:
    // hosts: the Host values to accept, such as "127.0.0.1:8080" and "localhost:8080".
    Access(std::string token, std::vector<std::string> hosts);

    const std::string& token() const { return token_; }
    bool hostAllowed(std::string_view host) const;
    // An absent Origin (a script, not a browser) is let through; the token still has to match.
    bool originAllowed(std::string_view origin) const;
    bool tokenMatches(std::string_view candidate) const;
    // From a Cookie header or an "Authorization: Bearer" header.
    bool authorised(std::string_view cookieHeader, std::string_view authorization) const;
    // The Set-Cookie value that a browser keeps for the session.
    std::string cookie() const;

    static constexpr const char* CookieName = "tavuweb_token";

private:
    std::string token_;
    std::vector<std::string> hosts_;
};

// 128 random bits as 32 hexadecimal digits.
std::string randomToken();

}  // namespace tavu::tavuweb
