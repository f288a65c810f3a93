#ifndef TKSERVERRELAY_H
#define TKSERVERRELAY_H

#include "platform/platform.h"
#include "tkrelaystream.h"
#include "tkserverimp.h"

#include <string>
#include <string_view>

/// What travels over a server's connection.
struct TkServerSocket::Traffic {
    /// Who takes nothing for so many ms is dead. A system tells that its program has taken
    /// something only when that is a good part of a buffer of megabytes.
    static constexpr long STANDSTILL = 180000;

    TkRelayStream stream;
    std::string rest; // read, but not looked at yet
    std::size_t used = 0;
    std::size_t disowned = 0; // so many bytes from here on are meant for an earlier partner
    bool atEnd = false;       // the peer sends no more

    std::string out; // not taken by the system yet
    std::size_t sent = 0;

    TkTimer standstill{STANDSTILL}; // since the peer took the last of it
    std::size_t untaken = 0;        // bytes, when that was looked at last

    std::atomic<bool> broken{false}; // nothing can be sent
    std::atomic<bool> dead{false};   // to be dropped: the peer takes too little

    // The poller's alone
    tkplatform::SocketHandle watched = tkplatform::NO_SOCKET;
    bool adopted = false;
    bool reads = false; // what it waits for
    bool writes = false;
    bool queued = false;  // for another turn
    bool waited = false;  // for its partner to take something, since that was looked at last
    bool leaving = false; // it has logged off, and waits for its turn to go
};

/// The numbers of a server's events.
namespace tkserverevent {
enum Number : int {
    FAILED = 100,
    CREATE,
    READY,
    WAIT_FOR_CONNECTION,
    ACCEPT,
    SHUTDOWN,
    CLIENT,
    CONTROL,
    DESCRIPTION,
    ENUMERATE,
    CONNECT,
    DISCONNECT,
    LOGOFF
};
}

/// One of the server's threads.
class TkServerImp::Worker : public TkThread {
  public:
    using Function = void (*)(void *relay);

    Worker(Function function, Relay &relay) : m_Function(function), m_Relay(relay) {
        setSleepTime(0);
    }
    ~Worker() override { endThread(); }

    /// True when the thread has ended. It can't wait on itself, nor, unless it insists, for one
    /// that waits for the caller.
    bool end(bool insist);
    bool isCaller() { return onThread(); }

  protected:
    void threadCycle() override {
        m_Function(&m_Relay);
        endAfterCycle();
    }

  private:
    const Function m_Function;
    Relay &m_Relay;
};

/// A server at work: the listening socket, the connections and the two threads.
class TkServerImp::Relay {
  public:
    Relay();

    bool run(char const *address, unsigned short port);
    void shutdown(bool insist);

    bool isRunning() const { return m_State == running || m_State == stopping; }
    bool hasFailed() const;
    unsigned short port() const { return m_nPort; }
    void setAdmission(Admission admission);

    /// Whether the calling thread is one of this relay's.
    bool isOwnThread() { return m_Listener.isCaller() || m_Poller.isCaller(); }
    bool hasEnded();

    void listening();
    void polling();
    bool analyzePackages(TkServerSocket *socket);
    bool transmitData(TkServerSocket *socket, std::string_view text);

  private:
    enum State : int { stopped, starting, running, stopping }; // of a server
    static constexpr long WATCH_PERIOD = 250; // ms between two looks at who is still there
    static constexpr int DEPARTURES_A_ROUND = 4;

    using SocketPoller = tkplatform::SocketPoller;
    using Traffic = TkServerSocket::Traffic;

    // The life of the server
    bool open(char const *address, unsigned short port);
    bool launch();
    void wakeThreads();
    void leave(std::atomic<bool> &ended);
    void finish();
    void sayLogoff();

    // The listener
    bool listenOnce();
    unsigned int waitForConnection(bool *failed);
    bool isAdmitted(unsigned int socket);

    // The poller
    bool round();
    bool attend(const SocketPoller::Ready &ready);
    bool serve(TkServerSocket *socket);
    bool serveQueued();
    void adopt();
    bool watchPeers();
    bool isGone(TkServerSocket *socket);
    void update(TkServerSocket *socket);
    void settle(TkServerSocket *socket);
    void forget(TkServerSocket *socket);
    long untilWatch() const;

    // The commands
    bool identify(TkServerSocket *socket, int type, int event);
    bool describe(TkServerSocket *socket, std::string_view text);
    bool enumerate(TkServerSocket *socket, int type);
    bool connect(TkServerSocket *socket, std::string_view address);
    bool passMessage(TkServerSocket *socket, std::string_view command);
    bool disconnect(TkServerSocket *socket);
    bool leaveInTurn(TkServerSocket *socket);
    bool site_down(TkServerSocket *socket);
    bool sendFrame(TkServerSocket *socket, std::string const &frame);

    std::mutex m_StateLock; // guards the state's changes, the start of the threads, who finishes
                            // and the admission. A worker's own lock may be taken while it is held
    std::atomic<State> m_State{stopped};
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bListenerEnded{true};
    std::atomic<bool> m_bPollerEnded{true};
    bool m_bThreadsFinish = false; // the last thread finishes the shutdown
    bool m_bGivenUp = false;       // the start under way
    Admission m_Admission;

    std::atomic<unsigned short> m_nPort{0};
    TkServerSocket m_Listening;
    TkServerSocketQueue m_Queue;
    std::unique_ptr<SocketPoller> m_pListenerWait; // each is its thread's, but for wake
    std::unique_ptr<SocketPoller> m_pPollerWait;

    std::atomic<bool> m_bShortage{false}; // of descriptors: who has closed is dropped at once

    std::mutex m_FreshLock;                // guards the list below; a leaf
    std::vector<TkServerSocket *> m_Fresh; // accepted, and not yet watched by the poller

    // The poller's alone
    std::unordered_map<unsigned int, TkServerSocket *> m_Watched;
    std::vector<TkServerSocket *> m_Again; // they can go on without new bytes
    TkServerSocket *m_pServed = nullptr;
    int m_nDepartures = 0; // in this round

    SITEINFO m_Self{}; // of the last events, for the application to look at
    SITEINFO m_Gone{};
    TkTimer m_WatchTimer{WATCH_PERIOD};
    bool m_bWatchOn = false; // more are to be dropped

    Worker m_Listener; // last, so that they end first
    Worker m_Poller;
};

#endif
