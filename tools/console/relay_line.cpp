#include "relay_line.h"

#include "tk.h"

#include <algorithm>

namespace {

/// A relay answers at once.
constexpr std::chrono::seconds longestAnswer{5};

constexpr const char *noSite = "0.0.0.0"; // ends the relay's list

} // namespace

RelayLine::RelayLine(const HostAndPort &relay, const Wakeup &wakeup) : m_Wakeup(wakeup) {
    Tk::addDispatcher(this);
    try {
        logOn(relay);
    } catch (...) {
        Tk::removeDispatcher(this);
        throw;
    }
}

/// The relay ends the pair of one who leaves.
RelayLine::~RelayLine() {
    m_End.logoff();
    Tk::removeDispatcher(this);
}

void RelayLine::logOn(const HostAndPort &relay) {
    const auto address = addressOf(relay.host);
    if (!address) {
        throw NoLine(relay.host + " has no address");
    }
    if (!m_End.logon(address->c_str(), relay.port)) {
        throw NoLine("no relay answers at " + relay.host + ":" + std::to_string(relay.port));
    }
    await([this] { return m_End.isLogon(); }, "what answers there is no relay");
}

/// What has come before the relay went is still read.
int RelayLine::read_ch(char *byte) {
    const int result = m_End.read_ch(byte);
    return result == 0 && m_Ended ? -1 : result;
}

/// Asks again at each ring; the endpoint rings when an answer comes.
void RelayLine::await(const std::function<bool()> &done, const std::string &otherwise) {
    const Deadline deadline = Clock::now() + longestAnswer;
    while (!done()) {
        if (m_Wakeup.interrupted()) {
            throw NoLine("interrupted");
        }
        if (m_Ended) {
            throw NoLine("the relay has ended the connection");
        }
        if (Clock::now() >= *deadline) {
            throw NoLine(otherwise);
        }
        m_Wakeup.wait(-1, -1, deadline);
    }
}

RelayLine::Site RelayLine::nextSite() {
    if (!m_End.browse()) {
        throw NoLine("the relay has ended the connection");
    }
    await([this] { return m_End.isAddrReady(); }, "the relay doesn't list its sites");
    SITEINFO info;
    m_End.getSiteAddress(&info);
    return {info.address, info.description};
}

/// The list ends, or comes round to its beginning. Of several sites behind one address the relay
/// connects to the first.
std::vector<RelayLine::Site> RelayLine::sites() {
    std::vector<Site> found;
    for (Site site = nextSite(); site.address != noSite; site = nextSite()) {
        const auto isHere = [&](const Site &each) { return each.address == site.address; };
        if (std::none_of(found.begin(), found.end(), isHere)) {
            found.push_back(site);
        } else if (isHere(found.front()) && site.description == found.front().description) {
            break;
        }
    }
    return found;
}

void RelayLine::connect(const std::string &address) {
    if (!m_End.connect(address.c_str())) {
        throw NoLine("the relay has ended the connection");
    }
    await([this] { return !m_End.isConnecting(); }, "the relay doesn't connect");
    if (!m_End.isConnected()) {
        throw NoLine("the site has left, or somebody else is connected to it");
    }
}

void RelayLine::tcpip_Control_Disconnect() {
    m_Departed = true;
    m_Wakeup.ring();
}

void RelayLine::end() {
    m_Ended = true;
    m_Wakeup.ring();
}
