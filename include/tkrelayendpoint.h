#ifndef TKRELAYENDPOINT_H
#define TKRELAYENDPOINT_H

#include "tkcomms.h"
#include "tkminisocket.h"
#include "tksiteinfo.h"

#include <atomic>
#include <cstddef>
#include <memory>

class TkRelaySession;
struct TkRelayRole;

/// An endpoint's connection to the relay server. It splits what comes into commands and data, and
/// keeps whole what goes. The operations may be called from any thread. It serves for one
/// connection: what is left of it isn't forgotten when the socket is opened again.
class TKGEN_EXPORT TkClientSocket : public TkMiniSocket {
  public:
    /// Bytes of data that are held; what comes while as many can't be handed on is dropped.
    static constexpr std::size_t DATA_LIMIT = 1024;

    TkClientSocket();
    explicit TkClientSocket(unsigned int socket);
    ~TkClientSocket() override;

    /// Takes what has arrived, up to the end of a command: the next one isn't looked for until that
    /// has been taken. False only if a read failed. Doesn't wait.
    bool polling();

    /// A command has come whole.
    bool isCmdReady();

    /// Takes the command, at most `*length` bytes of it, which becomes their number. Does nothing
    /// when there is none.
    void getReceivedCmd(char *buffer, int *length);

    /// The data begin with a complete message: a text frame up to its checksum, a binary frame, or
    /// a lone ACK or NAK.
    bool isDataReady();

    /// Takes up to `*length` bytes of data, complete or not; `*length` becomes their number.
    void getReceivedData(unsigned char *buffer, int *length);

    /// Sends a frame or a block of data; none from another thread gets in between. False when the
    /// connection is broken, and when the relay takes nothing for SEND_LIMIT ms, for which it may
    /// block without progress. What has gone by then isn't told.
    bool transmit(unsigned char const *bytes, int length);

  private:
    friend class TkRelaySession;
    struct Stream;

    bool transmit(const char *bytes, std::size_t length);
    bool transmitFirst(const char *bytes, std::size_t length);
    bool keepAlive();
    bool sendWhole(const char *bytes, std::size_t length);
    bool sendKeepAlive();
    std::size_t completeData();
    bool isLeftOver();
    bool isHolding();
    void startAnew();
    void dropData();
    void abandonSends();

    TkMutex m_StreamMutex; // guards what is behind m_pStream; TkMiniSocket's is taken under it
    const std::unique_ptr<Stream> m_pStream;
    TkMutex m_SendMutex; // keeps a frame or block in one piece; TkMiniSocket's is taken under it
    bool m_bOpening = false; // nothing goes before a connection's first block; guarded by it
    std::atomic<bool> m_bKeepAliveDue{false};
    std::atomic<bool> m_bAbandonsSends{false}; // what doesn't go at once doesn't go
    std::atomic<bool> m_bCutShort{false};      // a frame or block went out in part
};

/// One end of a pair that meets at the relay server: TkClientImp, a site that waits to be reached,
/// or TkControlImp, which looks through the sites and connects to one. It logs on, stays connected,
/// and is a TkComms, so that the data of the pair can be read and written as on any link. It is
/// abstract in isOpen; what isSocketValid says serves for it.
///
/// A thread of its own receives and sends a sign of life every 2 seconds. It fires the events of
/// what comes, the caller's thread those of what it does; no lock is held meanwhile. The thread
/// ends by logoff, by the server's leaving, by a failed read or sign of life, and when received
/// data don't fit. After the last three the status stays as it is; logon starts anew.
///
/// logon, connect and logoff are for one thread at a time, and for the endpoint's own callbacks;
/// all else for any thread. An endpoint may be destroyed in any state, also from a callback on its
/// own thread, but not from one within a call to it.
class TKGEN_EXPORT TkRelayEndpoint : public TkComms {
  public:
    /// Bytes of data that are kept for read_ch and getReceivedData.
    static constexpr std::size_t RECEIVED_LIMIT = 1024;

    /// Ends the thread and closes the connection without a word to the server: call logoff first.
    /// Blocks while a callback on the thread runs. A concrete class does it in its own destructor,
    /// by endSession.
    ~TkRelayEndpoint() override;
    TkRelayEndpoint(const TkRelayEndpoint &) = delete;
    TkRelayEndpoint &operator=(const TkRelayEndpoint &) = delete;

    /// Takes one byte of the received data: 1, or 0 at once when there is none.
    int read_ch(char *byte) override;

    /// Sends a byte or a block as transmitData does: 1, or -1 on failure.
    int write_ch(char byte) override;
    int write_str(char *bytes, unsigned int length) override;

    /// Does nothing. Returns true.
    bool enableBlocking(bool enable) override;

    /// 5000 milliseconds.
    unsigned long timeoutPeriod() override;

    /// Connects to the server at a dotted decimal address, says what this endpoint is, and starts
    /// the thread. Blocks for timeoutPeriod at most, beyond what callbacks on an earlier thread
    /// take; unread data and texts of an earlier connection are dropped. True also when it is
    /// connected already; false when nobody answers there, and when no thread can be started. It is
    /// logged on when the server has answered, for which no limit is set: see isLogon.
    bool logon(char const *address, unsigned short port);

    /// Ends the thread, tells the server, and closes the connection. Does nothing unless logged on.
    /// From a callback on the thread, that ends when the callback has returned.
    void logoff();

    /// Tells the server what this site is. False when the text wasn't sent.
    bool sendDescription(char const *text);

    /// Asks for the next of the sites of the other kind. False when the question wasn't sent.
    bool browse();

    /// Fills in the answer to browse, "0.0.0.0" when there is no site. Without a new answer both
    /// texts are empty.
    void getSiteAddress(SITEINFO *info);

    /// Sends a text to the partner. False when not connected to one, and when it wasn't sent.
    bool message(char const *text);

    /// Takes the partner's last text. It is dropped if the buffer has no room for it and its
    /// closing zero; the buffer gets an empty text then, and when there is none.
    void getReceivedMessage(char *buffer, int length);

    /// Takes up to `*length` bytes of the received data; `*length` becomes their number. What is
    /// left of one partner's data is dropped when another one connects.
    void getReceivedData(unsigned char *buffer, int *length);

    /// The address of the site that this one is connected or connecting to; empty without one, and
    /// when the buffer has no room.
    void getPartnerAddress(char *buffer, int length);

    /// Sends a command as a frame. False, after the event tcpip_..._Failed, when it can't be one,
    /// having more than 1015 bytes or a byte 0x03, and when sending failed; so do the operations
    /// above that send one. "DISCONNECT" ends the pair; nothing answers that, and the caller clears
    /// the bit of isConnected with setStatus.
    bool transmitCmd(char const *text);

    /// Sends data as they are. False, after the event tcpip_..._Failed, when that failed. May block
    /// as TkClientSocket::transmit does.
    bool transmitData(unsigned char const *bytes, int length);

    /// Sets bits of the status, then clears some.
    void setStatus(int set, int clear);

    bool isLogging();     ///< bit 1: the server hasn't answered to logon yet
    bool isLogon();       ///< bit 2
    bool isEnumerating(); ///< bit 4: the server hasn't answered to browse yet
    bool isAddrReady();   ///< bit 8: the answer waits for getSiteAddress
    bool isConnected();   ///< there is a partner; bit 16 of a client, 32 of a control
    bool isMsgReady(); ///< a text waits for getReceivedMessage; bit 32 of a client, 64 of a control

  protected:
    explicit TkRelayEndpoint(const TkRelayRole &role);

    /// For the destructor of a concrete class, which calls it first of all: ends the thread and
    /// closes the connection, while callbacks can still use the whole object.
    void endSession();

    /// There is a connection, or one is being made.
    bool isSocketValid();

    TkRelaySession &session() { return *m_pSession; }

  private:
    std::unique_ptr<TkRelaySession> m_pSession; // outlives this when its own thread destroys it
};

#endif
