#include "tkserverrelay.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr std::string_view DESCRIPTION = "DESCRIPTION->";
constexpr std::string_view CONNECT = "CONNECT->";
constexpr std::string_view MESSAGE = "MESSAGE:";

/// What was received, with a zero behind it.
struct Command {
    std::array<char, TkRelayStream::FRAME_LIMIT + 1> bytes{};
    std::size_t length = 0;

    /// The peers' commands are told apart by as much as has come of them: a short one is the first
    /// that begins so.
    bool is(const char *name) const { return std::strncmp(bytes.data(), name, length) == 0; }
    bool startsWith(std::string_view prefix) const {
        return text().substr(0, prefix.size()) == prefix;
    }
    std::string_view text() const { return {bytes.data(), length}; }
};

std::string addressOf(TkServerSocket *socket) {
    return tkplatform::addressText(static_cast<std::uint32_t>(socket->ipAddress_dig()));
}

} // namespace

bool TkServerImp::Relay::analyzePackages(TkServerSocket *socket) {
    if (!socket->isCmdReady()) {
        return true;
    }
    Command command;
    int length = static_cast<int>(TkRelayStream::FRAME_LIMIT);
    socket->getReceivedCmd(command.bytes.data(), &length);
    command.length = static_cast<std::size_t>(length);
    if (command.is("ZOR_CLIENT")) {
        return identify(socket, TkServerSocket::TYPE_CLIENT, tkserverevent::CLIENT);
    }
    if (command.is("ZOR_CONTROL")) {
        return identify(socket, TkServerSocket::TYPE_CONTROL, tkserverevent::CONTROL);
    }
    if (command.startsWith(DESCRIPTION)) {
        return describe(socket, command.text().substr(DESCRIPTION.size()));
    }
    if (command.is("ENUMERATE_CLIENT")) {
        return enumerate(socket, TkServerSocket::TYPE_CLIENT);
    }
    if (command.is("ENUMERATE_CONTROL")) {
        return enumerate(socket, TkServerSocket::TYPE_CONTROL);
    }
    if (command.startsWith(CONNECT)) {
        return connect(socket, command.text().substr(CONNECT.size()));
    }
    if (command.startsWith(MESSAGE)) {
        return passMessage(socket, command.text());
    }
    if (command.is("DISCONNECT")) {
        return disconnect(socket);
    }
    if (command.is("LOGOFF")) {
        return leaveInTurn(socket);
    }
    if (command.is("HELLO")) {
        socket->reset_timer();
    }
    return true;
}

bool TkServerImp::Relay::identify(TkServerSocket *socket, int type, int event) {
    socket->setSocketType(type);
    if (!transmitData(socket, "ZOR_SERVER")) {
        return false;
    }
    fire(event, socket);
    return true;
}

bool TkServerImp::Relay::describe(TkServerSocket *socket, std::string_view text) {
    if (text.size() < static_cast<std::size_t>(TkServerSocket::DESCRIPTION_SIZE)) {
        socket->setDescription(text.data(), static_cast<int>(text.size()));
        fire(tkserverevent::DESCRIPTION, socket);
    }
    return true;
}

/// Tells the next site of a kind. A listing ends behind the last one, and the next begins anew.
bool TkServerImp::Relay::enumerate(TkServerSocket *socket, int type) {
    TkServerSocket *const next = m_Queue.findNext(socket->m_pCursor, type);
    socket->m_pCursor = next;
    const std::string answer =
        next ? addressOf(next) + ":" + next->getDescription() : std::string("0.0.0.0:");
    if (!transmitData(socket, answer)) {
        return false;
    }
    fire(tkserverevent::ENUMERATE);
    return true;
}

bool TkServerImp::Relay::connect(TkServerSocket *socket, std::string_view address) {
    if (!disconnect(socket)) {
        return false;
    }
    TkServerSocket *const client = m_Queue.findClient(std::string(address).c_str());
    const bool isFree = client && !client->isPipeEstablished() && !client->m_pTraffic->broken;
    if (!isFree || client == socket) {
        return transmitData(socket, "REJECTED");
    }
    client->disownArrived(true); // from now on it may mean this partner
    socket->disownArrived(false);
    if (!transmitData(client, "CONNECT<-" + addressOf(socket)) ||
        !transmitData(socket, "ESTABLISHED")) {
        return false;
    }
    socket->linkTalkingSocket(client);
    update(socket);
    fire(tkserverevent::CONNECT, socket);
    return true;
}

bool TkServerImp::Relay::passMessage(TkServerSocket *socket, std::string_view command) {
    TkServerSocket *const partner = socket->getTalkingSocket();
    return !partner || transmitData(partner, command);
}

bool TkServerImp::Relay::disconnect(TkServerSocket *socket) {
    TkServerSocket *const partner = socket->getTalkingSocket();
    if (!partner) {
        return true;
    }
    if (!transmitData(partner, "DISCONNECT")) {
        return false;
    }
    socket->dropTalkingSocket();
    update(socket);
    update(partner);
    fire(tkserverevent::DISCONNECT);
    return true;
}

/// Everybody is told of everyone who leaves. When many do, those who stay are served in between.
bool TkServerImp::Relay::leaveInTurn(TkServerSocket *socket) {
    socket->m_pTraffic->leaving = m_nDepartures >= DEPARTURES_A_ROUND;
    return socket->m_pTraffic->leaving || site_down(socket);
}

bool TkServerImp::Relay::site_down(TkServerSocket *socket) {
    const std::string address = addressOf(socket);
    const std::string frame = TkRelayStream::frameOf("SITEDOWN:" + address);
    if (!disconnect(socket)) {
        return false;
    }
    for (TkServerSocket *const other : m_Queue.all()) {
        if (other != socket && !sendFrame(other, frame)) {
            return false;
        }
    }
    ++m_nDepartures;
    m_Gone.control = socket->isControl();
    std::snprintf(m_Gone.address, sizeof m_Gone.address, "%s", address.c_str());
    std::snprintf(m_Gone.description, sizeof m_Gone.description, "%s", socket->getDescription());
    fire(tkserverevent::LOGOFF, &m_Gone);
    forget(socket);
    m_Queue.remove(socket);
    return true;
}

bool TkServerImp::Relay::transmitData(TkServerSocket *socket, std::string_view text) {
    return sendFrame(socket, TkRelayStream::frameOf(text));
}

bool TkServerImp::Relay::sendFrame(TkServerSocket *socket, std::string const &frame) {
    const bool sent = socket->transmit(frame.data(), static_cast<int>(frame.size()));
    if (socket->hasUnsent()) {
        update(socket);
    }
    if (!sent) {
        fire(tkserverevent::FAILED);
    }
    return sent;
}
