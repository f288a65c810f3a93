#include "bridge.h"

#include <algorithm>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds firstPause(250);
constexpr milliseconds longestPause(15000);

/// The server has so long to answer, and is asked so often whether it is there: nothing else would
/// tell that the network to it has gone.
constexpr seconds longestAnswer(10);
constexpr seconds betweenQuestions(20);

/// A serial device can't be waited for together with a relay, so it is looked at in rounds.
constexpr milliseconds pairedRound(1);
constexpr milliseconds idleRound(20);

/// At most so much goes to the device, and from it, at once: a quarter of a second at its rate.
constexpr std::size_t largestBlock = 512;

/// A text frame ends one byte behind its ETX, so that it needn't wait for a pause.
constexpr char ETX = 0x03;

bool endsAsText(const std::string &block) {
    return block.size() >= 2 && block[block.size() - 2] == ETX;
}

} // namespace

Bridge::Bridge(TkSerial &serial, const HostAndPort &relay, const std::string &description,
               const Wakeup &wakeup)
    : m_Serial(serial), m_Relay(relay), m_Description(description), m_Wakeup(wakeup),
      m_Backoff(firstPause, longestPause) {}

Bridge::End Bridge::run() {
    while (!m_Wakeup.interrupted()) {
        carryToDevice();
        if (!carryFromDevice()) {
            m_Log.line(std::string(m_Serial.getDevice()) + " has gone");
            break;
        }
        tend();
        m_Wakeup.wait(-1, -1, nextRound());
    }
    if (m_End) {
        m_End->logoff();
    }
    m_Log.line("ended");
    return m_Wakeup.interrupted() ? End::asked : End::deviceGone;
}

Deadline Bridge::nextRound() const {
    const bool busy = isPaired() || !m_Block.empty();
    return Clock::now() + (busy ? pairedRound : idleRound);
}

// --- Being logged on -----------------------------------------------------------------------------

void Bridge::tend() {
    if (!m_End) {
        if (Clock::now() >= m_NextTry) {
            logOn();
        }
        return;
    }
    if (m_End->isLost()) {
        giveUp("the connection to the relay has ended");
    } else if (m_End->isLogon() && !m_Introduced) {
        introduce();
    } else {
        askForLife();
    }
}

void Bridge::logOn() {
    const std::string place = m_Relay.host + ":" + std::to_string(m_Relay.port);
    const auto address = addressOf(m_Relay.host);
    m_Introduced = false;
    m_End = std::make_unique<SiteEnd>(m_Log, m_Wakeup);
    if (!address) {
        return giveUp(m_Relay.host + " has no address");
    }
    if (!m_End->logon(address->c_str(), m_Relay.port)) {
        return giveUp("nobody answers at " + place);
    }
    m_Asked = true; // the logon itself
    m_LifeSign = Clock::now() + longestAnswer;
}

/// A new endpoint each time: whatever state the old one was in doesn't matter.
void Bridge::giveUp(const std::string &why) {
    m_End.reset();
    const milliseconds pause = m_Backoff.next();
    m_Log.line(why + "; the next try is in " + std::to_string(pause.count()) + " ms");
    m_NextTry = Clock::now() + pause;
}

void Bridge::introduce() {
    m_Introduced = true;
    m_Asked = false;
    m_LifeSign = Clock::now() + betweenQuestions;
    m_End->sendDescription(m_Description.c_str());
}

/// The question is for the next control in the relay's list; what the answer says doesn't matter.
void Bridge::askForLife() {
    const auto now = Clock::now();
    if (m_Asked && m_End->isAddrReady()) {
        SITEINFO ignored;
        m_End->getSiteAddress(&ignored);
        m_Asked = false;
        m_LifeSign = now + betweenQuestions;
    }
    if (now < m_LifeSign) {
        return;
    }
    if (m_Asked) {
        return giveUp("the relay doesn't answer");
    }
    m_Asked = m_End->browse();
    m_LifeSign = now + longestAnswer;
}

// --- Carrying bytes ------------------------------------------------------------------------------

/// What the device sends goes out as one block when it pauses or a frame ends. False when the
/// device has gone.
bool Bridge::carryFromDevice() {
    if (!m_End || m_End->takePairEnd()) {
        m_Block.clear();
    }
    const std::size_t before = m_Block.size();
    char byte = 0;
    int result = 0;
    while (m_Block.size() < largestBlock && (result = m_Serial.read_ch(&byte)) > 0) {
        m_Block += byte;
    }
    if (result < 0) {
        return false;
    }
    const bool paused = m_Block.size() == before;
    const bool whole = paused || m_Block.size() >= largestBlock || endsAsText(m_Block);
    if (m_Block.empty() || !whole) {
        return true;
    }
    if (isPaired()) {
        m_End->transmitData(reinterpret_cast<const unsigned char *>(m_Block.data()),
                            static_cast<int>(m_Block.size()));
    }
    m_Block.clear();
    return true;
}

/// What a control sent before it left still goes out.
void Bridge::carryToDevice() {
    std::string block = m_End ? m_End->takeReceived(largestBlock) : std::string();
    if (block.empty()) {
        return;
    }
    const bool sent = m_Serial.write_str(block.data(), static_cast<unsigned int>(block.size())) > 0;
    if (!sent && !m_DeviceStuck) {
        m_Log.line(std::string(m_Serial.getDevice()) + " takes nothing");
    }
    m_DeviceStuck = !sent;
}
