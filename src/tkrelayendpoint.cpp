#include "tkrelayendpoint.h"

#include "tkrelaysession.h"

#include <algorithm>
#include <string>
#include <utility>

// A callback on the thread itself may destroy the endpoint: behind an event an operation only
// touches the session, which that thread leaves behind.

namespace {

using Status = TkRelayRole::Status;
using Event = TkRelayRole::Event;

/// A text with its closing zero, or an empty one where that has no room.
void giveText(const std::string &text, char *buffer, std::size_t size) {
    if (size > 0) {
        const std::size_t length = text.size() < size ? text.copy(buffer, size) : 0;
        buffer[length] = '\0';
    }
}

std::string orEmpty(char const *text) {
    return text ? text : "";
}

std::size_t sizeOf(int length) {
    return static_cast<std::size_t>(std::max(length, 0));
}

} // namespace

TkRelayEndpoint::TkRelayEndpoint(const TkRelayRole &role) : m_pSession(new TkRelaySession(role)) {}

void TkRelayEndpoint::endSession() {
    m_pSession->end();
}

TkRelayEndpoint::~TkRelayEndpoint() {
    m_pSession->end();
    TkRelaySession::dispose(std::move(m_pSession));
}

// --- As a link -----------------------------------------------------------------------------------

int TkRelayEndpoint::read_ch(char *byte) {
    return static_cast<int>(m_pSession->takeReceived(byte, 1));
}

int TkRelayEndpoint::write_ch(char byte) {
    return write_str(&byte, 1);
}

int TkRelayEndpoint::write_str(char *bytes, unsigned int length) {
    return m_pSession->transmitData(bytes, length) ? 1 : -1;
}

bool TkRelayEndpoint::enableBlocking(bool) {
    return true;
}

unsigned long TkRelayEndpoint::timeoutPeriod() {
    return 5000;
}

bool TkRelayEndpoint::isSocketValid() {
    return m_pSession->isSocketValid();
}

// --- With the server -----------------------------------------------------------------------------

bool TkRelayEndpoint::logon(char const *address, unsigned short port) {
    return m_pSession->logon(address, port);
}

void TkRelayEndpoint::logoff() {
    m_pSession->logoff();
}

bool TkRelayEndpoint::sendDescription(char const *text) {
    const int event = m_pSession->role().firstEvent + Event::DESCRIPTION;
    if (!m_pSession->request("DESCRIPTION->" + orEmpty(text), 0)) {
        return false;
    }
    TkRelaySession::fire(event);
    return true;
}

bool TkRelayEndpoint::browse() {
    const TkRelayRole &role = m_pSession->role();
    if (!m_pSession->request(role.browse, Status::ENUMERATING)) {
        return false;
    }
    TkRelaySession::fire(role.firstEvent + Event::ENUMERATING);
    return true;
}

void TkRelayEndpoint::getSiteAddress(SITEINFO *info) {
    const std::string text = m_pSession->takeText(TkRelayRole::SITE, Status::ADDR_READY);
    const std::size_t colon = std::min(text.find(':'), text.size());
    info->control = m_pSession->role().listsControls;
    giveText(text.substr(0, colon), info->address, sizeof info->address);
    giveText(text.substr(std::min(colon + 1, text.size())), info->description,
             sizeof info->description);
}

bool TkRelayEndpoint::transmitCmd(char const *text) {
    return m_pSession->request(orEmpty(text), 0);
}

// --- With the partner ----------------------------------------------------------------------------

bool TkRelayEndpoint::message(char const *text) {
    return isConnected() && m_pSession->request("MESSAGE:" + orEmpty(text), 0);
}

void TkRelayEndpoint::getReceivedMessage(char *buffer, int length) {
    const std::string text =
        m_pSession->takeText(TkRelayRole::MESSAGE, m_pSession->role().msgReady);
    giveText(text, buffer, sizeOf(length));
}

void TkRelayEndpoint::getPartnerAddress(char *buffer, int length) {
    giveText(m_pSession->text(TkRelayRole::PARTNER), buffer, sizeOf(length));
}

bool TkRelayEndpoint::transmitData(unsigned char const *bytes, int length) {
    return m_pSession->transmitData(reinterpret_cast<const char *>(bytes), sizeOf(length));
}

void TkRelayEndpoint::getReceivedData(unsigned char *buffer, int *length) {
    char *const bytes = reinterpret_cast<char *>(buffer);
    *length = static_cast<int>(m_pSession->takeReceived(bytes, sizeOf(*length)));
}

// --- Status --------------------------------------------------------------------------------------

void TkRelayEndpoint::setStatus(int set, int clear) {
    m_pSession->setStatus(set, clear);
}

bool TkRelayEndpoint::isLogging() {
    return m_pSession->is(Status::LOGGING);
}

bool TkRelayEndpoint::isLogon() {
    return m_pSession->is(Status::LOGON);
}

bool TkRelayEndpoint::isEnumerating() {
    return m_pSession->is(Status::ENUMERATING);
}

bool TkRelayEndpoint::isAddrReady() {
    return m_pSession->is(Status::ADDR_READY);
}

bool TkRelayEndpoint::isConnected() {
    return m_pSession->is(m_pSession->role().connected);
}

bool TkRelayEndpoint::isMsgReady() {
    return m_pSession->is(m_pSession->role().msgReady);
}
