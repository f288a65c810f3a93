#include "journal.h"

#include "tk.h"
#include "tkserverimp.h"

#include <string>

namespace {

TkServerSocket &socketOf(void *connection) {
    return *static_cast<TkServerSocket *>(connection);
}

std::string addressOf(void *connection) {
    return socketOf(connection).ipAddress_str();
}

} // namespace

Journal::Journal(Log &log, const Wakeup &wakeup) : m_Log(log), m_Wakeup(wakeup) {
    Tk::addDispatcher(this);
}

Journal::~Journal() {
    Tk::removeDispatcher(this);
}

void Journal::tcpip_Server_Failed() {
    m_Log.line("the server has failed");
    m_Failed = true;
    m_Wakeup.ring();
}

void Journal::tcpip_Server_Accept(void *connection) {
    m_Log.line("connection from " + addressOf(connection));
}

void Journal::tcpip_Server_Client(void *connection) {
    m_Log.line("client " + addressOf(connection) + " has logged on");
}

void Journal::tcpip_Server_Control(void *connection) {
    m_Log.line("control " + addressOf(connection) + " has logged on");
}

void Journal::tcpip_Server_Description(void *connection) {
    m_Log.line(addressOf(connection) + " is '" + socketOf(connection).getDescription() + "'");
}

void Journal::tcpip_Server_Connect(void *connection) {
    TkServerSocket *const client = socketOf(connection).getTalkingSocket();
    const std::string partner = client ? addressOf(client) : "a client";
    m_Log.line("control " + addressOf(connection) + " is connected to " + partner);
}

void Journal::tcpip_Server_Disconnect() {
    m_Log.line("a pair has ended");
}

void Journal::tcpip_Server_Logoff(void *site) {
    const SITEINFO &gone = *static_cast<const SITEINFO *>(site);
    m_Log.line(std::string(gone.control ? "control " : "client ") + gone.address + " '" +
               gone.description + "' has gone");
}
