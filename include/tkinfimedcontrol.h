#ifndef TKINFIMEDCONTROL_H
#define TKINFIMEDCONTROL_H

#include "tkconversation.h"

#include <string>

class TkInfimedCodec;
struct TkTextQueue;

/// Holds a conversation with an Infimed console over a byte link. Its worker thread sends what is
/// queued, one frame at a time, answers every good frame of the console with an ACK, stores what it
/// tells in the parameter table, and calls the registered TkInfimedDispatcher objects on every
/// change; see TkConversation for what it shares with the other engines, threads among it.
///
/// The usual order is: create it, register dispatchers, startControl, enableRefresh(true, false).
/// Polling sends a sign of life and, 500 ms later, asks for the acquire state, and so on; the other
/// values are read when the application asks for them. The console is connected while its acquire
/// state is known. When the link is lost that state becomes unknown; the other values stay.
///
/// A good frame answers whatever is pending, and so does an ACK of the console: of two that come
/// for one command, the second answers the next. The raw log doesn't hold the engine's own ACKs.
class TKGEN_EXPORT TkInfimedControl : public TkConversation {
  public:
    /// Commands, and the keys of their values.
    enum Commands : int {
        ALIVE = 1000, ///< a sign of life; no value
        ACQUIRE,
        EDGE,
        WINDOW, ///< takes steps only; its value comes from the console
        LEVEL,  ///< likewise
        MASK,
        COMMAND_1006, ///< the console's own; no value, here and below
        COMMAND_1007,
        HORIZ_REVERSE,
        VERT_REVERSE,
        COMMAND_1010,
        COMMAND_1011,
        INVERT,
        VERSION,    ///< the value is the code of a character
        TEXT = 2000 ///< no command: 1 once a text has come, 0 before and while another is told
    };

    /// What transmitMsg takes for WINDOW and LEVEL; every other value asks for no change.
    enum Steps : int {
        STEP_DOWN_3 = 65527,
        STEP_UP_3,
        STEP_DOWN_2,
        STEP_UP_2,
        STEP_DOWN_1,
        STEP_UP_1
    };

    /// Talks to the console at the end of the application's link, or of none if it is null.
    explicit TkInfimedControl(TkComms *comms);

    /// Stops the thread and releases what the object owns.
    ~TkInfimedControl() override;

    /// The last known value, Tk::VALUE_UNKNOWN when it isn't known, or there is no such key.
    int getInfimedParam(int key) const;

    /// Stores a value. Nothing is sent and no event fires. Returns 1, or 0 when there is no such
    /// key. A known ACQUIRE counts as the console's: it connects.
    int setInfimedParam(int key, int value);

    /// Queues a command. ACQUIRE, MASK, HORIZ_REVERSE, VERT_REVERSE and INVERT take a digit, or
    /// Tk::REQUEST_QUERY, WINDOW and LEVEL one of the steps; others take no notice of the value. A
    /// value beyond 0 to 9 goes out as whatever byte its low byte and "0" add up to. False, and
    /// nothing queued, for a number that is no command, and without memory.
    ///
    /// With `wait` the value of a command that has one becomes unknown, and the call blocks until
    /// the console has told it, once the command has gone out, or setInfimedParam has: true; or
    /// until four times the link's response time have passed, 2 s without a link: false, and the
    /// frame may still be queued. A command without a value returns at once. In a callback of this
    /// engine no answer can come: there it returns false at once, with the frame queued.
    bool transmitMsg(int command, int value, bool wait);

    /// Takes the oldest text of the console off its queue; empty when none waits. A text is there
    /// before the value that came with it is told. infimed_error_message tells of it; for an error
    /// that isn't the first one it is called twice.
    std::string errorMsg();

    /// How many texts weren't kept, because those that wait have taken up 1 MiB.
    unsigned long lostErrorMsgs() const;

  private:
    std::vector<unsigned char> encodeFrame(int command, int value) override;
    bool frameComplete(const std::vector<unsigned char> &received) const override;
    bool decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) override;
    bool isAnswered(int awaited) const override;
    bool answers(int command, int awaited) const override;
    void accepted() override;
    void received(const std::vector<Item> &items) override;
    void handleReceivedMsg(int command, int value) override;
    void sendProbe() override;
    void poll(int &step) override;
    bool allKnown() const override;
    void forget() override;

    const std::unique_ptr<TkInfimedCodec> m_pCodec; // encodes under m_QueueMutex
    const std::unique_ptr<TkTextQueue> m_pTexts;    // has a lock of its own, a leaf
};

#endif
