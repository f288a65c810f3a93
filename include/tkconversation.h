#ifndef TKCONVERSATION_H
#define TKCONVERSATION_H

#include "tk.h"
#include "tkcomms.h"
#include "tkthread.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

class TkCommsLog;
class TkItemCodec;
class TkParameterTable;
struct TkExpectation;
namespace tkwaits {
class Turn;
}

/// What the control engines share: one conversation with a far end over a byte link. It queues
/// frames and sends them one at a time, waits for each response and repeats a frame twice before
/// the link counts as lost, cuts frames out of what arrives, keeps the parameter table and the
/// logs. An engine adds how it frames, what answers what, and what an item means to it.
///
/// The work is done by the worker thread of TkThread; the operations here may be called from any
/// thread, dispatchers' callbacks included, and don't block unless they say so. Creation starts
/// no thread. Nobody may be inside an operation when the object is destroyed, and it mustn't be
/// destroyed from one of its own callbacks.
class TKGEN_EXPORT TkConversation : public TkThread, public Tk {
  public:
    ~TkConversation() override;

    /// Whether events go to the dispatchers; true at the start. Values are stored either way.
    void enableDispatcher(bool enable) { m_bDispatcherEnabled = enable; }
    bool isDispatcherEnabled() const { return m_bDispatcherEnabled; }

    /// Turns polling on or off; off at the start. While it is on the engine asks again and again
    /// for what it is to know, connects by that, and probes a lost link until the far end answers.
    /// Turned off, the values and the connection stay as they are; with `dropConnection` the engine
    /// forgets what it forgets with a lost link, and fires lostComms before the call returns, which
    /// blocks while another thread's dispatcher runs; what is queued still goes out, and the rest
    /// of an answer that is being told is still stored. From a callback it never blocks: when
    /// another thread is in a callback of this engine, that thread carries it out as soon as its
    /// callback has returned.
    void enableRefresh(bool enable, bool dropConnection);
    bool refreshEnabled() const { return m_bRefreshEnabled; }

    /// Whether enough is known about the far end to work with it. CommsReEstablished is fired when
    /// it becomes true, the first time too, and lostComms whenever a far end didn't answer three
    /// sendings of one frame, or the connection is dropped. What is enough is the engine's to say,
    /// and polling asks for it. When another thread drops the connection just then, dispatchers may
    /// hear of the two in the other order: this tells what holds.
    bool connected() const { return m_bConnected; }

    /// The link, or null. One that the engine made itself lives until changeCommDevice.
    TkComms *getCommDevice();

    /// Puts another link, or null, in the place of the present one, which is destroyed if the
    /// engine made it itself, by the worker if that is busy with it. A link of the application must
    /// outlive the worker's current cycle and the waiting calls under way; the new one stays the
    /// application's. The conversation goes on where it is: a frame that awaits its response goes
    /// out again on the new link once its response time has run out. With a null link what is
    /// queued is dropped.
    void changeCommDevice(TkComms *comms);

    /// Switches the raw log on or off: every byte in each direction. Switching off drops what it
    /// holds. A log grows until it is read.
    void bufferRawComms(bool enable);
    bool isRawCommsBuffered() const;

    /// Moves up to `size` bytes out of the raw log into `buffer`, which has room for one more, and
    /// ends them with a zero byte. `direction` 0 reads what was received, any other value what was
    /// sent. Returns the number of bytes, or -1 when the log is off or `buffer` is null.
    int readRawComms(char *buffer, unsigned int size, int direction);

    /// The parsed log: a line of text for each frame and each control byte. As the raw log.
    void bufferParsedComms(bool enable);
    bool isParsedCommsBuffered() const;
    int readParsedComms(char *buffer, unsigned int size);

  protected:
    /// A decoded item: a command or parameter, and its value.
    struct Item {
        int command;
        int value;
    };

    /// What is fixed about an engine and its far end.
    struct FarEnd {
        /// What a lone ACK is: a byte like others; the answer to what is pending; or that, and the
        /// last byte that a cycle looks at, so that what follows may answer the next frame.
        enum class Ack { byte, answer, lastAnswer };

        int eventClass;      ///< of the engine's dispatchers
        const char *name;    ///< in the parsed log
        const char *unknown; ///< what the parsed log calls a frame that nothing is known of
        bool logsTicks;      ///< a line of the parsed log begins with the time
        Ack ack;
        long pollingPeriod;  ///< ms between two ticks of polling
        bool hurriesAtFirst; ///< until connected, a tick follows the answers to the last one
    };

    /// What a caller of transmitMsg waits for; null when he doesn't.
    using Answer = std::shared_ptr<TkExpectation>;

    /// Holds the engine's turn, m_pTxMutex, for a block; see there. False when it couldn't be had:
    /// the worker is being stopped, or whoever has it waits for this thread.
    class Turn {
      public:
        explicit Turn(TkConversation &engine) : m_Engine(engine), m_bHeld(engine.beginTurn()) {}
        ~Turn() { m_Engine.endTurn(m_bHeld); }
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;
        explicit operator bool() const { return m_bHeld; }

      private:
        TkConversation &m_Engine;
        bool m_bHeld;
    };

    /// `keys` are the parameters. The engine calls endThread in its own destructor.
    TkConversation(const FarEnd &farEnd, std::shared_ptr<TkComms> comms,
                   const std::vector<int> &keys);

    /// A link as the engine holds it when it is the application's: it is never destroyed here.
    static std::shared_ptr<TkComms> borrowed(TkComms *comms);

    void threadCycle() override;

    // --- What an engine adds; all on the worker thread, but for encodeFrame and forget ---

    /// Makes the frame of a command, which is queued next; empty when there is none. With the
    /// queue's lock held, on any thread.
    virtual std::vector<unsigned char> encodeFrame(int command, int value) = 0;
    /// Whether the bytes received so far are a whole frame.
    virtual bool frameComplete(const std::vector<unsigned char> &received) const = 0;
    /// Takes a frame apart. False when it is no valid frame.
    virtual bool decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) = 0;
    /// Whether the far end responds to a frame that awaits this item.
    virtual bool isAnswered(int awaited) const = 0;
    /// Whether a frame whose first item is `command` responds to one that awaits `awaited`.
    virtual bool answers(int command, int awaited) const = 0;
    /// A good frame has come, known or not.
    virtual void accepted() {}
    /// A frame has come whose items are taken over next, one by one.
    virtual void received(const std::vector<Item> & /*items*/) {}
    /// Takes one item over.
    virtual void handleReceivedMsg(int command, int value) = 0;
    /// Queues the request that tells whether a lost far end is back.
    virtual void sendProbe() = 0;
    /// Queues what one tick of polling asks for, and moves on in the sequence, which begins at 0.
    virtual void poll(int &step) = 0;
    /// Whether enough is known to be connected.
    virtual bool allKnown() const = 0;
    /// Forgets what is known, as the link is lost. With the turn held, on any thread.
    virtual void forget() = 0;

    // What an engine with binary records adds

    /// Whether a whole frame is a record, whose second byte is the command that it answers.
    virtual bool isRecord(const std::vector<unsigned char> & /*frame*/) const { return false; }
    /// Hands a record to whoever awaits it. False when nobody does.
    virtual bool receiveRecord(std::vector<unsigned char> & /*frame*/) { return false; }
    /// A text frame answered the frame that awaits `awaited`. With the queue's lock held.
    virtual void answeredByText(int /*awaited*/) {}
    /// A lone ACK came, and answered the frame under way or not. With the queue's lock held.
    virtual void acknowledged(bool /*answeredFrame*/) {}
    /// The queue has been emptied. With its lock held.
    virtual void flushed() {}
    /// Looks, in every cycle, after what else is to be asked; `step` is that of polling.
    virtual void supervise(int /*step*/) {}

    // --- What an engine uses ---

    /// The link's response time in ms, or 500 with none.
    unsigned long responseLimit();
    /// The limit of a waiting call in ms: four times the response time, and `more` on a link.
    unsigned long waitLimit(unsigned long more = 0);
    /// Queues the frame of a command, and with `wait` waits as waitForAnswer does for the value of
    /// `awaits`. False, and nothing queued, when there is no such frame, and without memory.
    bool transmit(int command, int value, int awaits, bool wait);
    /// The first half of that, up to the wait.
    bool queueCommand(int command, int value, int awaits, bool wait, Answer &answer);
    /// Appends a frame, and with `wait` makes the value of `awaits` unknown, as it becomes once
    /// more when the frame goes out: what answers older frames isn't taken for its answer. The
    /// caller holds the queue's lock, from the encoding on.
    Answer queueFrame(std::vector<unsigned char> frame, int awaits, bool wait)
        TKGEN_REQUIRES(m_QueueMutex);
    /// Whether an answer can come while the caller waits: not in a callback of this engine, which
    /// keeps the worker from bringing it.
    bool canWait();
    /// Waits for an answer up to `limit` ms. At once false when it can't come.
    bool waitForAnswer(const Answer &answer, unsigned long limit);
    bool isKnown(int key) const;
    /// The items that a codec has found.
    static void takeItems(TkItemCodec &codec, std::vector<Item> &items);
    /// Stores an item's value, and tells the dispatchers, without data, when it differs from the
    /// last one. With the turn held.
    void storeChange(int command, int value);
    /// Tells the dispatchers of an item, unless they are to hear nothing.
    void tell(int command, void *data = nullptr);
    /// Answers with one byte, beside the queue, on the link from which the last frame came. Nothing
    /// answers it, and the logs don't hold it. The worker's.
    void sendControlByte(char byte);
    /// How many frames are queued.
    std::size_t queuedFrames();
    /// Whether a frame that awaits `awaited` is queued or under way.
    bool isQueued(int awaited) TKGEN_REQUIRES(m_QueueMutex);

    /// The parameter table. It has a lock of its own; reading takes none.
    const std::unique_ptr<TkParameterTable> m_pParameters;

    /// Guards the transmit queue, and keeps an encoding and its queueing together. The codec's lock
    /// and the table's may be taken while it is held. Never held while a dispatcher or the link
    /// runs.
    TkMutex m_QueueMutex;

  private:
    struct Outgoing {
        std::vector<unsigned char> frame;
        int awaits; // the item, or record, that answers it
        Answer answer;
        bool sent;
    };

    void processTransmitedMsgs();
    void processReceivedMsgs();
    void checkResponseTimer();
    void checkRefreshTimer();
    void checkComms();
    Outgoing *frameToSend();
    void writeFrame(TkComms &comms, std::vector<unsigned char> &frame);
    void startResponseTimer(TkComms &comms);
    void flushTxBuffer();
    bool polledFramesGone();
    void restartPolling();
    void lostComms();

    bool receiveByte(unsigned char byte);
    bool receiveAck();
    bool handleFrame(bool overlong);
    bool handleRecord();
    bool isRepeatedReply();
    void handleText(bool overlong);
    void handleItems();
    const Outgoing *frameAwaitingResponse();
    void frontAnswered();
    void dropFrontFrame();
    void clearReceived();

    bool beginTurn();
    void endTurn(bool held);
    void serveRequestedLoss();
    void forgetAndTell();

    std::shared_ptr<TkComms> link();
    void addParsedComms(const char *prefix, const unsigned char *frame, std::size_t length);
    void logRefused(const char *why);

    const FarEnd m_FarEnd;

    bool m_bTellingLoss = false;          // guarded by the turn
    std::atomic<int> m_nLossRequested{0}; // whoever ends a turn carries it out

    TkMutex m_LinkMutex; // guards the pointer; a leaf
    std::shared_ptr<TkComms> m_pComms TKGEN_GUARDED_BY(m_LinkMutex);

    std::deque<Outgoing> m_TxQueue TKGEN_GUARDED_BY(m_QueueMutex);
    unsigned long m_nQueued TKGEN_GUARDED_BY(m_QueueMutex) = 0; // frames so far, all counted
    unsigned long m_nPolled = 0; // the worker's own: that count after the last tick of polling

    const std::unique_ptr<TkCommsLog> m_pRawRx;
    const std::unique_ptr<TkCommsLog> m_pRawTx;
    const std::unique_ptr<TkCommsLog> m_pParsed;

    /// The engine's turn: held while a received item or a loss is taken over and its dispatchers
    /// run, so that they see one state and one event at a time. A callback on the same thread may
    /// take it again. All other locks may be taken while it is held; it isn't taken while another
    /// one is, and nothing but taking over and losing waits for it.
    const std::unique_ptr<tkwaits::Turn> m_pTxMutex;

    std::atomic<bool> m_bDispatcherEnabled{true};
    std::atomic<bool> m_bRefreshEnabled{false};
    std::atomic<bool> m_bConnected{false};
    std::atomic<bool> m_bReceivedLost{false}; // the worker is to empty m_RxBuffer

    // The worker's own
    std::shared_ptr<TkComms> m_pReading; // while it reads; a callback may change the link
    std::vector<unsigned char> m_RxBuffer;
    std::vector<unsigned char> m_Frame; // the last whole one
    std::vector<Item> m_Items;
    bool m_bOverlong = false; // m_RxBuffer is what is left of more than any frame holds
    TkTimer m_ResponseTimer{0};
    bool m_bAwaitingResponse = false;
    bool m_bFlushOnReply = false; // the next frame ends the search for a lost far end
    int m_nRetries = 0;
    int m_nRepeatedReplies = 0; // that may still come to the last record request, and what it was
    std::vector<unsigned char> m_RepeatedRequest;
    std::vector<unsigned char> m_RepeatedReply;
    TkTimer m_RefreshTimer;
    int m_nRefreshStep = 0;
};

#endif
