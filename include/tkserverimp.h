#ifndef TKSERVERIMP_H
#define TKSERVERIMP_H

#include "tkminisocket.h"
#include "tksiteinfo.h"

#include <array>
#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

/// One connection of the relay server, or its listening socket.
///
/// The server makes and destroys them, on its own threads. An application sees them in events, and
/// may ask them, from any thread, until the connection's tcpip_Server_Logoff or the server's
/// tcpip_Server_Shutdown; all else is the server's.
class TKGEN_EXPORT TkServerSocket : public TkMiniSocket {
  public:
    enum SOCKET_TYPES : int { TYPE_UNKNOWN, TYPE_SERVER, TYPE_CONTROL, TYPE_CLIENT };

    static constexpr int DESCRIPTION_SIZE = 256; ///< bytes, with the zero at the end

    /// No socket yet.
    TkServerSocket();

    /// Takes over an accepted connection.
    explicit TkServerSocket(unsigned int socket);
    ~TkServerSocket() override;

    /// What the peer has said it is; all are false until then.
    bool isServer() const { return m_nType == TYPE_SERVER; }
    bool isControl() const { return m_nType == TYPE_CONTROL; }
    bool isClient() const { return m_nType == TYPE_CLIENT; }
    void setSocketType(int type) { m_nType = type; }

    /// The connection with which this one is paired, null without one.
    TkServerSocket *getTalkingSocket() const { return m_pPartner; }
    bool isPipeEstablished() const { return m_pPartner != nullptr; }

    /// Pairs two connections, and both know it; ends the pair for both.
    void linkTalkingSocket(TkServerSocket *partner);
    void dropTalkingSocket();

    /// The site's own text, empty at the start. The result is the calling thread's own and stands
    /// until its next call. Text of DESCRIPTION_SIZE bytes or more changes nothing.
    char const *getDescription();
    void setDescription(char const *text, int length);

    /// The first address of this host, dotted decimal; empty when it can't be found out. Asks the
    /// system's resolver and may wait for it. The result is the calling thread's own and stands
    /// until its next call.
    char const *getIP();

    /// Opens the socket and binds it to a port: on all interfaces, or on the one with a dotted
    /// decimal address. Port 0 is the system's choice. False on failure.
    bool start(unsigned short port);
    bool start(char const *address, unsigned short port);

    /// Reads what has arrived, and passes data on to the partner, until a command is complete,
    /// nothing more is there, the partner doesn't take more, or 64 KiB have been read. Never waits.
    /// False only if a read failed; a peer that has closed isn't a failure.
    bool polling();

    /// A command has been received whole. Nothing behind it is looked at until it is taken.
    bool isCmdReady();

    /// Takes the command, at most `*length` bytes of it, which becomes their number: 0 when there
    /// is none.
    void getReceivedCmd(char *buffer, int *length);

    /// Sends bytes, in order and without waiting: what the system doesn't take stays here and goes
    /// later. Nothing is sent to a peer that has broken the connection, or takes so little that
    /// more than 64 KiB would have to stay: the server drops it. False on any other failure, and
    /// without a socket.
    bool transmit(char const *bytes, int length);

  private:
    friend class TkServerImp;         // its poller keeps the traffic going
    friend class TkServerSocketQueue; // it keeps the cursor right
    struct Traffic;

    std::size_t passOn(char const *bytes, std::size_t size);
    bool passOnRest();
    int readChunk(char *bytes, std::size_t size);
    void releaseHeld();
    void disownArrived(bool unread);
    bool hasUnsent();
    bool isStuck();
    bool isHeldUp();
    bool hasWork();
    void flush();
    void breakOff();

    TkMutex m_StreamLock; // guards what is received. The socket's own lock, and m_OutLock of the
                          // partner or this one, may be taken while it is held
    TkMutex m_OutLock;    // guards what is to be sent, and the description. The socket's own lock
                          // may be taken while it is held
    const std::unique_ptr<Traffic> m_pTraffic;
    std::array<char, DESCRIPTION_SIZE> m_Description{};
    std::atomic<int> m_nType{TYPE_UNKNOWN};
    std::atomic<TkServerSocket *> m_pPartner{nullptr};
    TkServerSocket *m_pCursor = nullptr; // the last one told in a listing; the poller's alone
};

/// The connections of a server, the newest first. It owns them. Each operation takes its lock, and
/// may be called from any thread; finding one and its neighbour costs the same however many there
/// are.
class TKGEN_EXPORT TkServerSocketQueue {
  public:
    TkServerSocketQueue() = default;
    ~TkServerSocketQueue();
    TkServerSocketQueue(const TkServerSocketQueue &) = delete;
    TkServerSocketQueue &operator=(const TkServerSocketQueue &) = delete;

    void add(TkServerSocket *socket); ///< at the front

    /// Destroys a connection, and returns the one behind it. Null when that was the last, and when
    /// the connection isn't here. A listing that had come to it goes on behind it.
    TkServerSocket *remove(TkServerSocket *socket);
    void clear(); ///< destroys all

    int size();
    TkServerSocket *operator[](int index); ///< null outside 0 to size - 1

    /// The first connection, of any type, null when there is none; the one behind another, the
    /// first behind the last. Null when the other isn't here.
    TkServerSocket *getFirstClient();
    TkServerSocket *getNextClient(TkServerSocket *socket);

    /// The first client at a dotted decimal address, null when there is none.
    TkServerSocket *findClient(char const *address);

    /// The next connection of a type behind another, or from the front for null. Null at the end.
    TkServerSocket *findNext(TkServerSocket *behind, int type);

    std::vector<TkServerSocket *> all(); ///< as they are now

  private:
    using Sockets = std::list<std::unique_ptr<TkServerSocket>>;

    std::mutex m_Mutex; // guards both below. A socket's own lock may be taken while it is held
    Sockets m_Sockets;
    std::unordered_map<TkServerSocket *, Sockets::iterator> m_Places;
};

/// The relay: joins two programs that don't reach each other. Clients are sites that log on and
/// wait; controls look through the clients and connect to one. From then on each hears what the
/// other sends, until one of them ends that or leaves. A peer that sends no "HELLO" for 15 s is
/// dropped; no peer holds up others than its own partner.
///
/// Two threads of its own accept and serve the connections, and fire all of its events but Create,
/// Ready, and the Shutdown of a shutdown that waits.
///
/// A peer that turns out to have gone, when it is read or sent to, is dropped like a silent one and
/// harms nobody else. A read, or the sending of a command, that fails for any other reason, and
/// want of memory, end the service: tcpip_Server_Failed tells, and a shutdown and a new run bring
/// it back, from a thread that isn't the server's own.
///
/// The SITEINFO that tcpip_Server_Ready and tcpip_Server_Logoff carry stands until the next such
/// event, and no longer than the server.
///
/// The public operations may be called from any thread; the protected ones belong to the server's.
class TKGEN_EXPORT TkServerImp {
  public:
    /// Decides by its address, dotted decimal, whether a peer may come in. Called on the server's
    /// thread.
    using Admission = std::function<bool(char const *address)>;

    TkServerImp();

    /// Shuts down. It leaves no thread behind; in a callback on one of the server's own threads it
    /// can't wait, and that thread ends when the callback has returned.
    virtual ~TkServerImp();
    TkServerImp(const TkServerImp &) = delete;
    TkServerImp &operator=(const TkServerImp &) = delete;

    /// Starts the server at a port, on all interfaces or on the one with a dotted decimal address;
    /// null is all. Port 0 is the system's choice. True if it runs, also if it ran already. May
    /// wait for the system's resolver.
    bool run(unsigned short port);
    bool run(char const *address, unsigned short port);

    /// Says "LOGOFF" to all, closes all connections and stops; a run that is under way gives up and
    /// returns false. Does nothing when stopped. Blocks for a running callback, and else at most
    /// 2 s whatever the peers do. In a callback on one of the server's own threads it returns at
    /// once, and the rest follows on that thread; so it does while another call is at it.
    void shutdown();

    /// From the end of run to the end of shutdown, also when a thread has ended itself meanwhile.
    bool isServerRunning() const;

    /// A running server has stopped accepting or serving after a failure.
    bool hasFailed() const;

    /// The port at which the server runs, 0 when it doesn't.
    unsigned short port() const;

    /// Who isn't admitted is turned away as he is accepted: no event, no place in the queue. Holds
    /// for connections from now on; everybody is admitted at the start.
    void setAdmission(Admission admission);

  protected:
    /// Carries out the command of a connection, if one is complete. False when a send has failed,
    /// which ends the service. The connection may be gone.
    bool analyzePackages(TkServerSocket *socket);

    /// Sends a command. False on failure.
    bool transmitData(TkServerSocket *socket, char const *text);

    /// What the two threads do.
    static void ServerListening(void *relay);
    static void ServerPolling(void *relay);

  private:
    class Relay;
    class Worker;

    static void fire(int event, void *data = nullptr);

    std::shared_ptr<Relay> m_pRelay; // what runs; it outlives a server destroyed in a callback
};

#endif
