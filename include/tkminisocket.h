#ifndef TKMINISOCKET_H
#define TKMINISOCKET_H

#include "tkthread.h"

#include <atomic>
#include <cstddef>

struct sockaddr;

/// One TCP socket behind a lock, with a watch on whether its peer is alive. The base of the relay's
/// sockets; it is no TkComms.
///
/// Handles are those of the system, -1 as unsigned number for none. Whether a handle blocks is left
/// as it is, and doesn't matter here: a read is only of what is there, a send has a limit. No call
/// raises a signal. Packets aren't held back to be joined.
///
/// Each operation holds the lock for its length and may be called from any thread, but for
/// reset_timer and isSocketAlive, which belong to one.
class TKGEN_EXPORT TkMiniSocket {
  public:
    static constexpr unsigned int INVALID = 0xFFFFFFFFU;
    static constexpr long ALIVE_PERIOD = 5000; ///< ms; a peer is dead when three have passed

    /// No socket yet.
    TkMiniSocket();

    /// Takes over a connected socket, and with it its peer's address.
    explicit TkMiniSocket(unsigned int socket);

    /// Closes the socket.
    virtual ~TkMiniSocket();
    TkMiniSocket(const TkMiniSocket &) = delete;
    TkMiniSocket &operator=(const TkMiniSocket &) = delete;

    /// Sends one byte, or one block: 1, or 0 on failure, without a socket, and when the peer takes
    /// nothing for SEND_LIMIT ms, for which it blocks at most without progress.
    virtual int write_ch(char byte);
    virtual int write_str(char *bytes, unsigned int length);

    /// Reads one byte: 1, also when the peer has closed, with nothing stored then; 0 on failure and
    /// without a socket. Blocks until there is one: ask isDataPending first.
    virtual int read_ch(char *byte);

    /// The same, with the number of bytes, 1 or 0, at `count`. `bytes` needs room for one.
    virtual int read_str(char *bytes, unsigned int *count);

    /// 5000 milliseconds.
    virtual unsigned long timeoutPeriod();

    /// Opens a socket by the system's numbers: AF_INET, SOCK_STREAM, IPPROTO_TCP are 2, 1, 6. False
    /// on failure.
    bool create(int domain, int type, int protocol);

    /// Connects to a dotted decimal address; no name is looked up. False on failure, without a
    /// socket, and when nobody answers within timeoutPeriod, for which it may block.
    bool connect(char const *address, unsigned short port);

    /// Binds to an own address, all of them for a null pointer; the address is kept. A port that a
    /// server has just left can be taken again. False on failure.
    bool bind(char const *address, unsigned short port);

    /// False on failure.
    bool listen(int backlog);

    /// Takes a connection that waits, and blocks for one. The peer's address goes to `address`, 16
    /// bytes, unless that is null. False on failure.
    bool accept(unsigned int &socket, sockaddr *address);

    /// False when the system can't; the socket is kept then. True when there was none.
    bool close();

    /// Closes what is open, and takes another handle.
    void attach(unsigned int socket);

    bool isSocketValid(); ///< there is a socket
    bool isDataPending(); ///< bytes wait to be read

    /// Nothing is there to be read: no byte, no end, no connection. False without a socket.
    bool isSocketBlocked();

    /// A byte could be sent at once.
    bool isDataWritable();

    /// The peer's address, or the own one after bind, in network order; and as text, which is the
    /// calling thread's own and stands until its next call.
    unsigned long ipAddress_dig();
    char *ipAddress_str();

    /// Starts the watch anew, because the peer has been heard.
    void reset_timer();

    /// False at the third ALIVE_PERIOD that has passed since reset_timer, each seen by a call.
    bool isSocketAlive();

  protected:
    static constexpr unsigned long SEND_LIMIT = 500; ///< ms without progress
    static constexpr int PEER_GONE = -2;

    /// Reads what is there, at most `size` bytes, without waiting: their number; 0 for nothing, at
    /// the end of the stream, and without a socket; -1 on failure.
    int receive(char *bytes, std::size_t size);

    /// Sends what the system takes without waiting: the number of bytes, 0 for none; PEER_GONE when
    /// the peer has closed or can't be reached any more; -1 on any other failure, and without a
    /// socket.
    int send(const char *bytes, std::size_t size);

    unsigned int handle();

  private:
    TkMutex m_Mutex; // guards the handle's changes and use, and the address; a leaf
    TkTimer m_AliveTimer;
    int m_nAliveRetries = 0;
    std::atomic<unsigned int> m_nSocket{INVALID}; // read without the lock
    unsigned int m_nAddress = 0;
};

#endif
