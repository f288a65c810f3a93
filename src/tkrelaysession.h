#ifndef TKRELAYSESSION_H
#define TKRELAYSESSION_H

#include "tkrelayendpoint.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace tkplatform {
class SocketPoller;
}

/// What makes an endpoint a client or a control: its words, its status bits and its events.
struct TkRelayRole {
    /// Status bits that both have.
    struct Status {
        enum : int { LOGGING = 1, LOGON = 2, ENUMERATING = 4, ADDR_READY = 8 };
    };

    /// Events that both have, counted from the first.
    struct Event {
        enum : int {
            FAILED,
            CREATE,
            LOGGING,
            LOGON,
            DESCRIPTION,
            ENUMERATING,
            ADDR_READY,
            DATA_READY
        };
    };

    enum Text : std::size_t { PARTNER, MESSAGE, SITE, TEXTS, NO_TEXT = TEXTS };

    /// A command that the server may send, and what it does. The rows are tried in order.
    struct Row {
        std::string_view command;
        bool prefix; ///< something follows the command, which is kept as text and told
        int needs;   ///< status bits without which the row doesn't fit
        Text text;
        int set;
        int clear;
        int event;
        bool ends; ///< the server leaves
    };

    std::string_view logon;
    std::string_view browse;
    bool listsControls;
    bool traces;        ///< how long an answer took goes to the debug output
    bool tellsOverflow; ///< received data that don't fit are an event
    int connecting;     ///< status bits of one only; 0 where there is none
    int connected;
    int msgReady;
    int firstEvent;
    int shutdownEvent;
    const Row *rows;
    std::size_t rowCount;

    /// Status bits that go with the connection to the server.
    int online() const {
        return Status::LOGGING | Status::LOGON | Status::ENUMERATING | connecting | connected;
    }
};

/// The conversation of an endpoint with the server, and its thread. An endpoint that is destroyed
/// by its own thread leaves it behind until that has ended.
class TkRelaySession final : public TkThread {
  public:
    explicit TkRelaySession(const TkRelayRole &role);
    ~TkRelaySession() override;

    /// Ends the thread and closes the connection.
    void end();

    /// Destroys a session that has been ended, when its thread is through.
    static void dispose(std::unique_ptr<TkRelaySession> session);

    const TkRelayRole &role() const { return m_Role; }
    bool logon(const char *address, unsigned short port);
    void logoff();

    /// Sends a command that sets bits of the status, cleared again when that fails.
    bool request(std::string_view command, int bits);
    bool connect(const char *address, int event);
    bool transmitData(const char *bytes, std::size_t length);

    bool is(int bits) const { return (m_nStatus & bits) != 0; }
    void setStatus(int set, int clear);
    bool isSocketValid() { return m_Socket.isSocketValid(); }

    /// A text, and, of one with a status bit, only while that is set: then it is taken.
    std::string text(TkRelayRole::Text which);
    std::string takeText(TkRelayRole::Text which, int bit);

    std::size_t takeReceived(char *bytes, std::size_t size);

    static void fire(int event, void *data = nullptr);

  protected:
    void threadCycle() override;

  private:
    void askToEnd();
    bool mayStart(bool onOwnThread);
    void startAnew();
    bool openSocket(const char *address, unsigned short port);
    void closeSocket();
    void awaitSocket();
    void analyzePackages();
    void act(const TkRelayRole::Row &row, std::string_view command);
    void setText(TkRelayRole::Text which, std::string_view text, int set, int clear);
    void processData();
    void dropReceived();
    bool appendReceived(const unsigned char *bytes, std::size_t size);
    bool fits(const TkRelayRole::Row &row, std::string_view command) const;

    const TkRelayRole &m_Role;
    const std::unique_ptr<tkplatform::SocketPoller> m_pPoller; // null when the system has none
    TkClientSocket m_Socket;
    std::atomic<int> m_nStatus{0};
    std::atomic<bool> m_bStop{false}; // the thread is to end behind its cycle

    // The thread's, or a logon's while there is no thread.
    TkTimer m_KeepAliveTimer;
    bool m_bWatched = false;           // the poller knows the socket
    std::array<std::string, 8> m_Told; // row by row: the text of its last event

    // Of the last event; the caller's.
    std::array<std::string, 2> m_LogonAddress; // the second by the thread itself
    std::array<std::string, 2> m_ConnectAddress;

    std::mutex m_TextMutex; // guards the texts, in step with their status bits; a leaf
    std::array<std::string, TkRelayRole::TEXTS> m_Texts;

    std::mutex m_ReceivedMutex; // guards the ring and its start, and writing the count; a leaf
    std::array<char, TkRelayEndpoint::RECEIVED_LIMIT> m_Received;
    std::size_t m_nReceivedStart = 0;
    std::atomic<std::size_t> m_nReceived{0}; // read without the lock: mostly there is nothing
};

#endif
