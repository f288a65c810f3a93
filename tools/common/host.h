#ifndef TKPROGRAMS_HOST_H
#define TKPROGRAMS_HOST_H

#include <optional>
#include <string>

/// A host and a port, as they are given on a command line.
struct HostAndPort {
    std::string host;
    unsigned short port = 0;
};

/// Takes "HOST:PORT" apart. Nothing when it isn't that, or the port isn't one from 1 to 65535.
std::optional<HostAndPort> hostAndPortFrom(const std::string &text);

/// The address of a host, dotted decimal, by its name or what is such an address already. Nothing
/// when there is none. May wait for the system's resolver.
std::optional<std::string> addressOf(const std::string &host);

#endif
