#include "tkserverrelay.h"

#include "tk.h"
#include "tkdispatchers.h"
#include "tkdispatchmanager.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <utility>

namespace {

constexpr int BACKLOG = 1024;        // connections that wait to be accepted
constexpr long SHORTAGE_PAUSE = 100; // ms; until a connection is tried again
constexpr long LOGOFF_LIMIT = 500;   // ms; for what the peers haven't taken at the end

} // namespace

void TkServerImp::fire(int event, void *data) {
    Tk::m_DispatchManager.dispatchMsg(TkTCPIPDispatcher::CLASS, event, data);
}

bool TkServerImp::Worker::end(bool insist) {
    if (insist) {
        endThread();
        return !onThread();
    }
    return stopControl() == 1;
}

// --- The life of the server ----------------------------------------------------------------------

TkServerImp::Relay::Relay() : m_Listener(&ServerListening, *this), m_Poller(&ServerPolling, *this) {
    m_Listening.setSocketType(TkServerSocket::TYPE_SERVER);
}

bool TkServerImp::Relay::run(char const *address, unsigned short port) {
    {
        const std::lock_guard<std::mutex> lock(m_StateLock);
        if (m_State != stopped) {
            return m_State == running;
        }
        m_State = starting;
        m_bGivenUp = false;
    }
    fire(tkserverevent::CREATE);
    if (open(address, port) && launch()) {
        return true;
    }
    m_Listening.close();
    m_nPort = 0;
    m_State = stopped;
    fire(tkserverevent::FAILED);
    return false;
}

bool TkServerImp::Relay::open(char const *address, unsigned short port) {
    for (std::unique_ptr<SocketPoller> *const wait : {&m_pListenerWait, &m_pPollerWait}) {
        if (!*wait) {
            *wait = SocketPoller::create();
        }
        if (!*wait) {
            return false;
        }
    }
    // Listening already, so that peers may come as soon as run has returned.
    if (!m_Listening.start(address, port) || !m_Listening.listen(BACKLOG)) {
        return false;
    }
    m_nPort = tkplatform::ownPort(m_Listening.handle());
    const char *const own = address ? address : m_Listening.getIP();
    std::snprintf(m_Self.address, sizeof m_Self.address, "%s", own);
    fire(tkserverevent::READY, &m_Self);
    return true;
}

/// The threads of an earlier run are collected first. Whoever stops the server in a callback of the
/// first thread waits until it runs.
bool TkServerImp::Relay::launch() {
    if (!m_Listener.end(false) || !m_Poller.end(false)) {
        return false;
    }
    bool started = false;
    {
        const std::lock_guard<std::mutex> lock(m_StateLock);
        if (m_bGivenUp) {
            return false;
        }
        m_bStop = false;
        m_bListenerEnded = m_Listener.startControl() != 1;
        m_bPollerEnded = m_bListenerEnded || m_Poller.startControl() != 1;
        started = !m_bPollerEnded;
        m_bStop = !started;
        m_State = started ? running : starting;
    }
    if (!started) {
        wakeThreads();
        m_Listener.end(false);
    }
    return started;
}

void TkServerImp::Relay::wakeThreads() {
    m_pListenerWait->wake();
    m_pPollerWait->wake();
}

void TkServerImp::Relay::shutdown(bool insist) {
    bool mine = false;
    {
        const std::lock_guard<std::mutex> lock(m_StateLock);
        m_bGivenUp = m_State == starting;
        if (!isRunning()) {
            return;
        }
        mine = m_State == running;
        m_State = stopping;
        m_bStop = true;
    }
    wakeThreads();
    const bool waits = insist || !isOwnThread(); // one may wait for the other's callback
    const bool listenerEnded = waits && m_Listener.end(insist);
    const bool pollerEnded = waits && m_Poller.end(insist);
    if (!mine) {
        return; // another call, or a thread, finishes
    }
    if (!listenerEnded || !pollerEnded) {
        const std::lock_guard<std::mutex> lock(m_StateLock);
        m_bThreadsFinish = !hasEnded();
        if (m_bThreadsFinish) {
            return;
        }
    }
    finish();
}

/// At the end of a thread: the last one finishes a shutdown that couldn't wait.
void TkServerImp::Relay::leave(std::atomic<bool> &ended) {
    bool finishes = false;
    {
        const std::lock_guard<std::mutex> lock(m_StateLock);
        ended = true;
        finishes = hasEnded() && std::exchange(m_bThreadsFinish, false);
    }
    if (finishes) {
        finish();
    }
}

bool TkServerImp::Relay::hasEnded() {
    return m_bListenerEnded && m_bPollerEnded;
}

bool TkServerImp::Relay::hasFailed() const {
    return m_State == running && (m_bListenerEnded || m_bPollerEnded);
}

/// Both threads are through.
void TkServerImp::Relay::finish() {
    sayLogoff();
    for (TkServerSocket *const socket : m_Queue.all()) {
        forget(socket);
    }
    m_Queue.clear();
    m_Watched.clear();
    m_Again.clear();
    {
        const std::lock_guard<std::mutex> lock(m_FreshLock);
        m_Fresh.clear();
    }
    m_pListenerWait->forget(m_Listening.handle());
    m_Listening.close();
    m_nPort = 0;
    fire(tkserverevent::SHUTDOWN);
    m_State = stopped;
}

/// Peers that take nothing don't hear it.
void TkServerImp::Relay::sayLogoff() {
    const std::string frame = TkRelayStream::frameOf("LOGOFF");
    std::vector<TkServerSocket *> left = m_Queue.all();
    for (TkServerSocket *const socket : left) {
        socket->transmit(frame.data(), static_cast<int>(frame.size()));
    }
    const TkTimer limit(LOGOFF_LIMIT);
    const auto isThrough = [](TkServerSocket *socket) {
        socket->flush();
        return !socket->hasUnsent();
    };
    while (left.erase(std::remove_if(left.begin(), left.end(), isThrough), left.end()),
           !left.empty() && !limit.timedOut()) {
        tkplatform::isWritable(left.front()->handle(), 10);
    }
}

void TkServerImp::Relay::setAdmission(Admission admission) {
    const std::lock_guard<std::mutex> lock(m_StateLock);
    m_Admission = std::move(admission);
}

// --- The listener --------------------------------------------------------------------------------

void TkServerImp::ServerListening(void *relay) {
    static_cast<Relay *>(relay)->listening();
}

void TkServerImp::Relay::listening() {
    bool good = true;
    while (good && !m_bStop) {
        try {
            good = listenOnce();
        } catch (...) { // for want of memory
            good = false;
        }
    }
    if (!good) {
        fire(tkserverevent::FAILED);
    }
    leave(m_bListenerEnded);
}

/// Waits for one connection and takes it in. False on failure.
bool TkServerImp::Relay::listenOnce() {
    if (!m_Listening.listen(BACKLOG)) {
        return false;
    }
    fire(tkserverevent::WAIT_FOR_CONNECTION);
    bool failed = false;
    const unsigned int accepted = waitForConnection(&failed);
    if (accepted == tkplatform::NO_SOCKET) {
        return !failed;
    }
    auto socket = std::make_unique<TkServerSocket>(accepted);
    fire(tkserverevent::ACCEPT, socket.get());
    TkServerSocket *const fresh = socket.get();
    m_Queue.add(socket.release());
    {
        const std::lock_guard<std::mutex> lock(m_FreshLock);
        m_Fresh.push_back(fresh);
    }
    m_pPollerWait->wake();
    return true;
}

/// A connection of somebody who is admitted; none on failure, and at a stop.
unsigned int TkServerImp::Relay::waitForConnection(bool *failed) {
    const unsigned int listening = m_Listening.handle();
    bool told = false; // that somebody is there
    while (!m_bStop && !*failed) {
        const unsigned int accepted = tkplatform::acceptSocket(listening, failed);
        if (accepted != tkplatform::NO_SOCKET) {
            if (isAdmitted(accepted)) {
                return accepted;
            }
            tkplatform::closeSocket(accepted);
            continue;
        }
        // Still there, but not accepted: descriptors are short, and a wait would end at once.
        const bool shortage = told && tkplatform::isReadable(listening, 0);
        if (shortage) {
            m_bShortage = true;
            m_pPollerWait->wake();
        }
        *failed = *failed || !m_pListenerWait->watch(listening, !shortage, false);
        if (!*failed && !m_bStop) {
            told = !m_pListenerWait->wait(shortage ? SHORTAGE_PAUSE : -1).empty() || shortage;
        }
    }
    return tkplatform::NO_SOCKET;
}

bool TkServerImp::Relay::isAdmitted(unsigned int socket) {
    Admission admission;
    {
        const std::lock_guard<std::mutex> lock(m_StateLock);
        admission = m_Admission;
    }
    try {
        return !admission ||
               admission(tkplatform::addressText(tkplatform::peerAddress(socket)).c_str());
    } catch (...) {
        return false; // who can't be judged doesn't come in
    }
}

// --- What an application holds -------------------------------------------------------------------

namespace {

/// Relays whose server was destroyed in a callback on one of their threads, which may still run.
/// They are destroyed when a server is made or destroyed later. The list itself never is: threads
/// may run at the process's end.
template <class Relay>
class Abandoned {
  public:
    static void keep(std::shared_ptr<Relay> relay) {
        Abandoned &all = instance();
        const std::lock_guard<std::mutex> lock(all.m_Mutex);
        all.m_Relays.push_back(std::move(relay));
    }

    static void collect() {
        std::vector<std::shared_ptr<Relay>> ended; // destroyed without the lock
        Abandoned &all = instance();
        const std::lock_guard<std::mutex> lock(all.m_Mutex);
        const auto isThrough = [](const auto &relay) {
            return relay->hasEnded() && !relay->isRunning() && !relay->isOwnThread();
        };
        const auto first =
            std::stable_partition(all.m_Relays.begin(), all.m_Relays.end(),
                                  [&](const auto &relay) { return !isThrough(relay); });
        std::move(first, all.m_Relays.end(), std::back_inserter(ended));
        all.m_Relays.erase(first, all.m_Relays.end());
    }

  private:
    static Abandoned &instance() {
        static Abandoned &all = *new Abandoned;
        return all;
    }

    std::mutex m_Mutex; // guards the list; a leaf
    std::vector<std::shared_ptr<Relay>> m_Relays;
};

} // namespace

TkServerImp::TkServerImp() : m_pRelay(std::make_shared<Relay>()) {
    Abandoned<Relay>::collect();
}

TkServerImp::~TkServerImp() {
    m_pRelay->shutdown(true);
    Abandoned<Relay>::collect();
    if (m_pRelay->isOwnThread()) {
        Abandoned<Relay>::keep(m_pRelay);
    }
}

bool TkServerImp::run(unsigned short port) {
    return run(nullptr, port);
}

/// A callback may destroy this object meanwhile, here and below.
bool TkServerImp::run(char const *address, unsigned short port) {
    const std::shared_ptr<Relay> relay = m_pRelay;
    return relay->run(address, port);
}

void TkServerImp::shutdown() {
    const std::shared_ptr<Relay> relay = m_pRelay;
    relay->shutdown(false);
}

bool TkServerImp::isServerRunning() const {
    return m_pRelay->isRunning();
}

bool TkServerImp::hasFailed() const {
    return m_pRelay->hasFailed();
}

unsigned short TkServerImp::port() const {
    return m_pRelay->port();
}

void TkServerImp::setAdmission(Admission admission) {
    m_pRelay->setAdmission(std::move(admission));
}

bool TkServerImp::analyzePackages(TkServerSocket *socket) {
    return m_pRelay->analyzePackages(socket);
}

bool TkServerImp::transmitData(TkServerSocket *socket, char const *text) {
    return m_pRelay->transmitData(socket, text);
}
