#include "host.h"

#include <charconv>
#include <memory>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

std::optional<HostAndPort> hostAndPortFrom(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        return std::nullopt;
    }
    HostAndPort found{text.substr(0, colon), 0};
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, found.port);
    if (error != std::errc() || stop != end || found.port == 0) {
        return std::nullopt;
    }
    return found;
}

std::optional<std::string> addressOf(const std::string &host) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &wanted, &found) != 0) {
        return std::nullopt;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, ::freeaddrinfo);
    const auto *const address = reinterpret_cast<const sockaddr_in *>(found->ai_addr);
    char text[INET_ADDRSTRLEN];
    if (!::inet_ntop(AF_INET, &address->sin_addr, text, sizeof text)) {
        return std::nullopt;
    }
    return text;
}
