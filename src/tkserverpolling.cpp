#include "tkserverrelay.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int COMMANDS_A_ROUND = 16; // of one connection

} // namespace

void TkServerImp::ServerPolling(void *relay) {
    static_cast<Relay *>(relay)->polling();
}

void TkServerImp::Relay::polling() {
    bool good = true;
    m_WatchTimer.reset();
    m_bWatchOn = false;
    while (good && !m_bStop) {
        try {
            good = round();
        } catch (...) { // for want of memory
            fire(tkserverevent::FAILED);
            good = false;
        }
    }
    leave(m_bPollerEnded);
}

/// One wait, and what is ready then. New connections come last: they may have the numbers of such
/// as were ready and have gone.
bool TkServerImp::Relay::round() {
    m_nDepartures = 0;
    for (const SocketPoller::Ready &ready :
         m_pPollerWait->wait(m_Again.empty() ? untilWatch() : 0)) {
        if (m_bStop) {
            return true;
        }
        if (!attend(ready)) {
            return false;
        }
    }
    if (!serveQueued()) {
        return false;
    }
    adopt();
    return untilWatch() > 0 || watchPeers();
}

long TkServerImp::Relay::untilWatch() const {
    if (m_bWatchOn || m_bShortage || m_WatchTimer.timedOut()) {
        return 0;
    }
    return std::max(WATCH_PERIOD - static_cast<long>(m_WatchTimer.elapsedTime()), 0L);
}

bool TkServerImp::Relay::attend(const SocketPoller::Ready &ready) {
    const auto found = m_Watched.find(ready.socket);
    if (found == m_Watched.end()) {
        return true; // it went earlier in this round
    }
    TkServerSocket *const socket = found->second;
    if (ready.ended) {
        socket->breakOff();
    } else if (ready.writable) {
        socket->flush();
    }
    if (ready.readable || ready.ended) {
        return serve(socket);
    }
    update(socket);
    return true;
}

/// Reads and obeys a connection, as much as one may have at a time.
bool TkServerImp::Relay::serve(TkServerSocket *socket) {
    m_pServed = socket;
    bool good = !socket->m_pTraffic->leaving || leaveInTurn(socket);
    const auto stays = [&] { return m_pServed && !socket->m_pTraffic->leaving; };
    for (int commands = 0; good && stays() && commands < COMMANDS_A_ROUND; ++commands) {
        if (!socket->polling()) {
            fire(tkserverevent::FAILED);
            return false;
        }
        if (!socket->isCmdReady()) {
            break;
        }
        good = analyzePackages(socket);
    }
    if (m_pServed) {
        update(socket);
    }
    return good;
}

bool TkServerImp::Relay::serveQueued() {
    const std::vector<TkServerSocket *> queued = std::exchange(m_Again, {});
    for (TkServerSocket *const socket : queued) {
        socket->m_pTraffic->queued = false;
    }
    for (std::size_t i = 0; i < queued.size() && !m_bStop; ++i) {
        if (!serve(queued[i])) {
            return false;
        }
    }
    return true;
}

/// Begins to watch the connections that the listener has accepted.
void TkServerImp::Relay::adopt() {
    std::vector<TkServerSocket *> fresh;
    {
        const std::lock_guard<std::mutex> lock(m_FreshLock);
        fresh.swap(m_Fresh);
    }
    for (TkServerSocket *const socket : fresh) {
        Traffic &traffic = *socket->m_pTraffic;
        traffic.adopted = true;
        traffic.watched = socket->handle();
        if (traffic.watched != tkplatform::NO_SOCKET) {
            m_Watched[traffic.watched] = socket;
            settle(socket);
        }
    }
}

/// Drops those who are gone, a few at a time, and lets go of bytes that were held back too long.
bool TkServerImp::Relay::watchPeers() {
    const bool shortage = m_bShortage.exchange(false);
    m_bWatchOn = false;
    m_WatchTimer.reset();
    for (TkServerSocket *const socket : m_Queue.all()) {
        Traffic &traffic = *socket->m_pTraffic;
        if (m_bStop || m_bWatchOn) {
            return true;
        }
        if (!traffic.adopted) {
            continue;
        }
        const bool waited = std::exchange(traffic.waited, socket->isHeldUp()) || traffic.waited;
        if (waited && !traffic.atEnd && !traffic.broken) {
            socket->reset_timer(); // its "HELLO" may not have been read
        }
        if (isGone(socket) || (shortage && traffic.atEnd)) {
            if (!site_down(socket)) {
                return false;
            }
            m_bWatchOn = m_nDepartures >= DEPARTURES_A_ROUND;
            m_bShortage = shortage && m_bWatchOn;
            continue;
        }
        socket->releaseHeld();
        update(socket);
    }
    return true;
}

bool TkServerImp::Relay::isGone(TkServerSocket *socket) {
    return !socket->isSocketValid() || socket->isStuck() || !socket->isSocketAlive();
}

/// After bytes were moved to or from a connection: what it and its partner wait for, and whether
/// they can go on.
void TkServerImp::Relay::update(TkServerSocket *socket) {
    for (TkServerSocket *const one : {socket, socket->getTalkingSocket()}) {
        if (!one) {
            continue;
        }
        settle(one);
        if (one->m_pTraffic->adopted && !one->m_pTraffic->queued && one->hasWork()) {
            one->m_pTraffic->queued = true;
            m_Again.push_back(one);
        }
    }
}

void TkServerImp::Relay::settle(TkServerSocket *socket) {
    Traffic &traffic = *socket->m_pTraffic;
    if (traffic.watched == tkplatform::NO_SOCKET || traffic.broken) {
        return; // nothing more to wait for
    }
    traffic.waited = traffic.waited || socket->isHeldUp();
    const bool reads = !traffic.atEnd && !socket->isHeldUp();
    const bool writes = socket->hasUnsent();
    if (reads == traffic.reads && writes == traffic.writes) {
        return;
    }
    if (!m_pPollerWait->watch(traffic.watched, reads, writes)) {
        traffic.dead = true; // it can't be served
    }
    traffic.reads = reads;
    traffic.writes = writes;
}

/// Before a connection is destroyed.
void TkServerImp::Relay::forget(TkServerSocket *socket) {
    const unsigned int watched = socket->m_pTraffic->watched;
    const auto found = m_Watched.find(watched);
    if (found != m_Watched.end() && found->second == socket) {
        m_pPollerWait->forget(watched);
        m_Watched.erase(found);
    }
    m_Again.erase(std::remove(m_Again.begin(), m_Again.end(), socket), m_Again.end());
    if (m_pServed == socket) {
        m_pServed = nullptr;
    }
}
