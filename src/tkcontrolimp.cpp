#include "tkcontrolimp.h"

#include "tkrelaysession.h"

namespace {

using R = TkRelayRole;
using S = R::Status;

enum BITS : int { CONNECTING = 16, CONNECTED = 32, MSG_READY = 64 };

enum EVENTS : int {
    FIRST = 300,
    LOGON = FIRST + R::Event::LOGON,
    ADDR_READY = FIRST + R::Event::ADDR_READY,
    CONNECTING_EVENT = 308,
    CONNECTED_EVENT,
    REJECTED,
    DISCONNECT,
    MESSAGE,
    SHUTDOWN,
    SITE_DOWN,
    SERVER_DOWN
};

constexpr TkRelayRole::Row ROWS[] = {
    // command, with text, needs, kept as, sets, clears, event, ends
    {"ZOR_SERVER", false, S::LOGGING, R::NO_TEXT, S::LOGON, S::LOGGING, LOGON, false},
    {"MESSAGE:", true, 0, R::MESSAGE, MSG_READY, 0, MESSAGE, false},
    {"DISCONNECT", false, 0, R::PARTNER, 0, CONNECTED, DISCONNECT, false},
    {"SITEDOWN:", true, 0, R::NO_TEXT, 0, 0, SITE_DOWN, false},
    {"LOGOFF", false, 0, R::NO_TEXT, 0, 0, SERVER_DOWN, true},
    {"", true, S::ENUMERATING, R::SITE, S::ADDR_READY, S::ENUMERATING, ADDR_READY, false},
    {"ESTABLISHED", false, CONNECTING, R::NO_TEXT, CONNECTED, CONNECTING, CONNECTED_EVENT, false},
    // The server has ended the pair that there was before it looked for another one.
    {"REJECTED", false, CONNECTING, R::PARTNER, 0, CONNECTING | CONNECTED, REJECTED, false},
};

constexpr TkRelayRole ROLE = {
    "ZOR_CONTROL",      // logs on by
    "ENUMERATE_CLIENT", // browses by
    false,              // lists controls
    false,              // traces answers
    true,               // tells of an overflow
    CONNECTING,
    CONNECTED,
    MSG_READY,
    FIRST,
    SHUTDOWN,
    ROWS,
    std::size(ROWS),
};

} // namespace

TkControlImp::TkControlImp() : TkRelayEndpoint(ROLE) {}

TkControlImp::~TkControlImp() {
    endSession();
}

bool TkControlImp::connect(char const *address) {
    return session().connect(address, CONNECTING_EVENT);
}

bool TkControlImp::isConnecting() {
    return session().is(CONNECTING);
}
