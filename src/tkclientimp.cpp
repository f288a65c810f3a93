#include "tkclientimp.h"

#include "tkrelaysession.h"

namespace {

using R = TkRelayRole;
using S = R::Status;

enum BITS : int { CONNECTED = 16, MSG_READY = 32 };

enum EVENTS : int {
    FIRST = 200,
    LOGON = FIRST + R::Event::LOGON,
    ADDR_READY = FIRST + R::Event::ADDR_READY,
    CONNECT = 208,
    DISCONNECT,
    MESSAGE,
    SHUTDOWN,
    SITE_DOWN,
    SERVER_DOWN
};

constexpr TkRelayRole::Row ROWS[] = {
    // command, with text, needs, kept as, sets, clears, event, ends
    {"ZOR_SERVER", false, S::LOGGING, R::NO_TEXT, S::LOGON, S::LOGGING, LOGON, false},
    {"CONNECT<-", true, 0, R::PARTNER, CONNECTED, 0, CONNECT, false},
    {"MESSAGE:", true, 0, R::MESSAGE, MSG_READY, 0, MESSAGE, false},
    {"DISCONNECT", false, 0, R::PARTNER, 0, CONNECTED, DISCONNECT, false},
    {"SITEDOWN:", true, 0, R::NO_TEXT, 0, 0, SITE_DOWN, false},
    {"LOGOFF", false, 0, R::NO_TEXT, 0, 0, SERVER_DOWN, true},
    {"", true, S::ENUMERATING, R::SITE, S::ADDR_READY, S::ENUMERATING, ADDR_READY, false},
};

constexpr TkRelayRole ROLE = {
    "ZOR_CLIENT",        // logs on by
    "ENUMERATE_CONTROL", // browses by
    true,                // lists controls
    true,                // traces answers
    false,               // tells of an overflow
    0,
    CONNECTED,
    MSG_READY,
    FIRST,
    SHUTDOWN,
    ROWS,
    std::size(ROWS),
};

} // namespace

TkClientImp::TkClientImp() : TkRelayEndpoint(ROLE) {}

TkClientImp::~TkClientImp() {
    endSession();
}
