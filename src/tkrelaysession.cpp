#include "tkrelaysession.h"

#include "platform/platform.h"
#include "tk.h"
#include "tkdispatchers.h"
#include "tkdispatchmanager.h"
#include "tkrelaystream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace {

using Status = TkRelayRole::Status;
using Event = TkRelayRole::Event;

constexpr long KEEP_ALIVE_PERIOD = 2000; // ms
constexpr long LOOK_PERIOD = 250;        // ms; the longest wait
constexpr long HELD_PERIOD = 50;         // ms; the same while bytes are held back

// The system's numbers for TCP over IPv4.
constexpr int INTERNET = 2;
constexpr int STREAM = 1;
constexpr int TCP = 6;

/// The time from the arrival of data to the answer that follows: one for all endpoints.
std::atomic<unsigned long> traceStart{TkTimer::time()};
std::atomic<bool> traceStarts{true}; // with the next data

void traceAnswer() {
    std::array<char, 40> line;
    const auto elapsed = static_cast<long>(TkTimer::time() - traceStart);
    std::snprintf(line.data(), line.size(), "--> %ld\n", elapsed);
    traceStarts = true;
    tkplatform::debugOutput(line.data());
}

void traceData() {
    if (traceStarts.exchange(false)) {
        traceStart = TkTimer::time();
    }
}

/// Sessions that outlive their endpoints, until their threads have ended.
class Leftovers {
  public:
    static Leftovers &all() {
        static Leftovers leftovers;
        return leftovers;
    }

    void add(std::unique_ptr<TkRelaySession> session) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Sessions.push_back(std::move(session));
    }

    /// Destroys those whose threads are through.
    void clear() {
        std::vector<std::unique_ptr<TkRelaySession>> ended;
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const auto end =
            std::partition(m_Sessions.begin(), m_Sessions.end(),
                           [](const auto &session) { return session->isThreadActive(); });
        std::move(end, m_Sessions.end(), std::back_inserter(ended));
        m_Sessions.erase(end, m_Sessions.end());
    }

  private:
    std::mutex m_Mutex; // guards the list; a leaf
    std::vector<std::unique_ptr<TkRelaySession>> m_Sessions;
};

} // namespace

TkRelaySession::TkRelaySession(const TkRelayRole &role)
    : m_Role(role), m_pPoller(tkplatform::SocketPoller::create()),
      m_KeepAliveTimer(KEEP_ALIVE_PERIOD) {
    setSleepTime(0); // it waits for the socket
    Leftovers::all().clear();
}

TkRelaySession::~TkRelaySession() {
    end();
}

/// On the thread itself it only asks: the cycle sees it when the callback has returned.
void TkRelaySession::end() {
    askToEnd();
    if (!onThread()) {
        endThread();
    }
    closeSocket();
}

void TkRelaySession::dispose(std::unique_ptr<TkRelaySession> session) {
    if (session->onThread()) {
        Leftovers::all().add(std::move(session));
    }
}

void TkRelaySession::fire(int event, void *data) {
    Tk::m_DispatchManager.dispatchMsg(TkTCPIPDispatcher::CLASS, event, data);
}

void TkRelaySession::askToEnd() {
    m_bStop = true;
    m_Socket.abandonSends();
    if (m_pPoller) {
        m_pPoller->wake();
    }
}

// --- Coming and leaving --------------------------------------------------------------------------

bool TkRelaySession::logon(const char *address, unsigned short port) {
    if (m_Socket.isSocketValid() && isThreadActive() && !m_bStop) {
        return true;
    }
    const bool onOwnThread = onThread();
    if (!mayStart(onOwnThread)) {
        fire(m_Role.firstEvent + Event::FAILED);
        return false;
    }
    startAnew();
    std::string &told = m_LogonAddress[onOwnThread ? 1 : 0];
    told = address ? address : "";
    fire(m_Role.firstEvent + Event::CREATE);
    if (!openSocket(address, port) || (!onOwnThread && startControl() == 0)) {
        m_bStop = true;
        closeSocket();
        setStatus(0, m_Role.online());
        fire(m_Role.firstEvent + Event::FAILED);
        return false;
    }
    fire(m_Role.firstEvent + Event::LOGGING, told.data());
    return true;
}

/// A callback on the thread itself goes on with the one that there is, unless that is being
/// stopped; anyone else collects the one that has ended.
bool TkRelaySession::mayStart(bool onOwnThread) {
    return m_pPoller && (onOwnThread ? isThreadActive() : stopControl() == 1);
}

void TkRelaySession::startAnew() {
    closeSocket();
    m_Socket.startAnew();
    setText(TkRelayRole::PARTNER, "", 0, m_nStatus);
    dropReceived();
    m_bWatched = false;
    m_KeepAliveTimer.reset();
    m_bStop = false;
}

bool TkRelaySession::openSocket(const char *address, unsigned short port) {
    if (!m_Socket.create(INTERNET, STREAM, TCP) || !m_Socket.connect(address, port)) {
        return false;
    }
    setStatus(Status::LOGGING, 0);
    const std::string frame = TkRelayStream::frameOf(m_Role.logon);
    return m_Socket.transmitFirst(frame.data(), frame.size());
}

/// By the thread, by a logoff or a destructor that ends it, or when there is none.
void TkRelaySession::closeSocket() {
    if (m_pPoller && m_Socket.isSocketValid()) {
        m_pPoller->forget(m_Socket.handle());
    }
    m_Socket.close();
}

void TkRelaySession::logoff() {
    if (!is(Status::LOGON)) {
        return;
    }
    askToEnd();
    const bool ended = !onThread() && stopControl() == 1;
    if ((m_nStatus.fetch_and(~m_Role.online()) & Status::LOGON) == 0) {
        if (ended) {
            closeSocket(); // a callback may have opened another one meanwhile
        }
        return; // the server was quicker
    }
    setText(TkRelayRole::PARTNER, "", 0, 0);
    const std::string frame = TkRelayStream::frameOf("LOGOFF");
    const bool sent = m_Socket.transmit(frame.data(), frame.size());
    closeSocket();
    if (!sent) {
        fire(m_Role.firstEvent + Event::FAILED);
    }
    fire(m_Role.shutdownEvent);
}

// --- Sending -------------------------------------------------------------------------------------

bool TkRelaySession::request(std::string_view command, int bits) {
    const bool isFrame = command.find(TkRelayStream::END) == std::string_view::npos &&
                         command.size() < TkRelayStream::FRAME_LIMIT - TkRelayStream::MARKER.size();
    setStatus(bits, 0);
    const std::string frame = isFrame ? TkRelayStream::frameOf(command) : "";
    if (!isFrame || !m_Socket.transmit(frame.data(), frame.size())) {
        setStatus(0, bits);
        fire(m_Role.firstEvent + Event::FAILED);
        return false;
    }
    return true;
}

bool TkRelaySession::connect(const char *address, int event) {
    if (!address) {
        return false;
    }
    const std::string before = text(TkRelayRole::PARTNER);
    setText(TkRelayRole::PARTNER, address, 0, 0);
    if (!request(std::string("CONNECT->") + address, m_Role.connecting)) {
        setText(TkRelayRole::PARTNER, before, 0, 0);
        return false;
    }
    std::string &told = m_ConnectAddress[onThread() ? 1 : 0];
    told = address;
    fire(event, told.data());
    return true;
}

bool TkRelaySession::transmitData(const char *bytes, std::size_t length) {
    if (!m_Socket.transmit(bytes, length)) {
        fire(m_Role.firstEvent + Event::FAILED);
        return false;
    }
    if (m_Role.traces && length > 0 && bytes[length - 1] == TkRelayStream::END) {
        traceAnswer();
    }
    return true;
}

// --- Status and texts ----------------------------------------------------------------------------

void TkRelaySession::setStatus(int set, int clear) {
    int status = m_nStatus;
    while (!m_nStatus.compare_exchange_weak(status, (status | set) & ~clear)) {
    }
}

void TkRelaySession::setText(TkRelayRole::Text which, std::string_view text, int set, int clear) {
    const std::lock_guard<std::mutex> lock(m_TextMutex);
    if (which != TkRelayRole::NO_TEXT) {
        m_Texts[which] = text;
    }
    setStatus(set, clear);
}

std::string TkRelaySession::text(TkRelayRole::Text which) {
    const std::lock_guard<std::mutex> lock(m_TextMutex);
    return m_Texts[which];
}

std::string TkRelaySession::takeText(TkRelayRole::Text which, int bit) {
    const std::lock_guard<std::mutex> lock(m_TextMutex);
    std::string taken = std::exchange(m_Texts[which], {});
    const bool ready = is(bit);
    setStatus(0, bit);
    return ready ? taken : std::string();
}

// --- The thread ----------------------------------------------------------------------------------

/// A callback within may log off, log on anew, or destroy the endpoint.
void TkRelaySession::threadCycle() {
    awaitSocket();
    if (!m_bStop && !(m_Socket.isSocketValid() && m_Socket.polling())) {
        m_bStop = true;
    }
    if (!m_bStop) {
        analyzePackages();
    }
    if (!m_bStop) {
        processData();
    }
    if (!m_bStop && m_KeepAliveTimer.timedOut()) {
        m_KeepAliveTimer.reset();
        if (!m_Socket.keepAlive()) {
            m_bStop = true;
            fire(m_Role.firstEvent + Event::FAILED);
        }
    }
    if (m_bStop) {
        endAfterCycle();
    }
}

/// A server that has closed shows by a failed send: until then nothing is there to be read.
void TkRelaySession::awaitSocket() {
    const unsigned int socket = m_Socket.handle();
    if (!std::exchange(m_bWatched, true) && !m_pPoller->watch(socket, true, false)) {
        m_bStop = true;
        fire(m_Role.firstEvent + Event::FAILED);
        return;
    }
    const long elapsed = static_cast<long>(m_KeepAliveTimer.elapsedTime());
    const long left = std::max(KEEP_ALIVE_PERIOD - elapsed, 0L);
    const long longest = m_Socket.isHolding() ? HELD_PERIOD : LOOK_PERIOD;
    for (const auto &ready : m_pPoller->wait(m_Socket.isLeftOver() ? 0 : std::min(left, longest))) {
        if (ready.readable && !ready.ended && !m_Socket.isDataPending()) {
            m_pPoller->watch(socket, false, false);
        }
    }
}

void TkRelaySession::analyzePackages() {
    std::array<char, TkRelayStream::FRAME_LIMIT> buffer;
    int length = static_cast<int>(buffer.size());
    if (!m_Socket.isCmdReady()) {
        return;
    }
    m_Socket.getReceivedCmd(buffer.data(), &length);
    std::string_view command(buffer.data(), static_cast<std::size_t>(length));
    const auto *const end = m_Role.rows + m_Role.rowCount;
    const auto *const row =
        std::find_if(m_Role.rows, end, [&](const auto &one) { return fits(one, command); });
    if (row != end) {
        act(*row, command);
    }
}

/// A command without a text behind it may be cut short.
bool TkRelaySession::fits(const TkRelayRole::Row &row, std::string_view command) const {
    const std::string_view whole = row.prefix ? command : row.command;
    const std::string_view start = row.prefix ? row.command : command;
    return (m_nStatus & row.needs) == row.needs && whole.substr(0, start.size()) == start;
}

void TkRelaySession::act(const TkRelayRole::Row &row, std::string_view command) {
    std::string_view text = row.prefix ? command.substr(row.command.size()) : "";
    text = text.substr(0, text.find('\0'));
    void *data = &m_Socket;
    if (row.prefix) {
        std::string &told = m_Told[static_cast<std::size_t>(&row - m_Role.rows)];
        told = text;
        data = told.data();
    }
    if (row.ends) {
        closeSocket();
        m_bStop = true;
        setText(TkRelayRole::PARTNER, "", 0, 0);
    }
    if ((row.set & m_Role.connected) != 0) {
        m_Socket.dropData(); // of the last partner
        dropReceived();
    }
    setText(row.text, text, row.set, row.ends ? m_Role.online() : row.clear);
    fire(row.event, data);
}

// --- Received data -------------------------------------------------------------------------------

void TkRelaySession::processData() {
    std::array<unsigned char, TkClientSocket::DATA_LIMIT> block;
    int length = static_cast<int>(std::min(m_Socket.completeData(), block.size()));
    if (length == 0) {
        return;
    }
    m_Socket.getReceivedData(block.data(), &length);
    if (!appendReceived(block.data(), static_cast<std::size_t>(length))) {
        m_bStop = true;
        if (m_Role.tellsOverflow) {
            fire(m_Role.firstEvent + Event::FAILED);
        }
        return;
    }
    if (m_Role.traces) {
        traceData();
    }
    fire(m_Role.firstEvent + Event::DATA_READY);
}

void TkRelaySession::dropReceived() {
    const std::lock_guard<std::mutex> lock(m_ReceivedMutex);
    m_nReceived = 0;
}

bool TkRelaySession::appendReceived(const unsigned char *bytes, std::size_t size) {
    const std::lock_guard<std::mutex> lock(m_ReceivedMutex);
    const std::size_t count = m_nReceived;
    if (size > m_Received.size() - count) {
        return false;
    }
    for (std::size_t i = 0; i < size; ++i) {
        const std::size_t place = (m_nReceivedStart + count + i) % m_Received.size();
        m_Received[place] = static_cast<char>(bytes[i]);
    }
    m_nReceived = count + size;
    return true;
}

std::size_t TkRelaySession::takeReceived(char *bytes, std::size_t size) {
    if (m_nReceived == 0) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(m_ReceivedMutex);
    const std::size_t taken = std::min<std::size_t>(size, m_nReceived);
    for (std::size_t i = 0; i < taken; ++i) {
        bytes[i] = m_Received[m_nReceivedStart];
        m_nReceivedStart = (m_nReceivedStart + 1) % m_Received.size();
    }
    m_nReceived -= taken;
    return taken;
}
