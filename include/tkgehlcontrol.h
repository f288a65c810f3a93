#ifndef TKGEHLCONTROL_H
#define TKGEHLCONTROL_H

#include "tkconversation.h"

class TkGEHLTextCodec;

/// Holds a conversation with a GEHL console over a byte link. Its worker thread sends what is
/// queued, one frame at a time, stores what the console tells in the parameter table, and calls the
/// registered TkGEHLDispatcher objects on every change; see TkConversation for what it shares with
/// the other engines, threads among it.
///
/// The usual order is: create it, register dispatchers, startControl, enableRefresh(true, false).
/// Polling asks for one of STATE, FRAME_RATE, FLUORO_ACQUIRE, VERT_REVERSE and HORIZ_REVERSE after
/// the other: as fast as the console answers until it is connected, then every 250 ms. The other
/// values have no query; the console tells them by itself. It is connected while its state is
/// known; when the link is lost all values become unknown.
class TKGEN_EXPORT TkGEHLControl : public TkConversation {
  public:
    /// Commands, by the code of their letter, and the keys of their values.
    enum Commands : int {
        STATE = 'S',
        FRAME_RATE = 'F',
        FLUORO_ACQUIRE = 'B',
        STORE_LOOP = 'L', ///< nothing answers it
        HORIZ_REVERSE = 'H',
        VERT_REVERSE = 'V',
        RECEPTOR = 'R',
        NUMBER = 'N' ///< the console's own; no event tells of it
    };

    /// Talks to the console at the end of the application's link, or of none if it is null.
    explicit TkGEHLControl(TkComms *comms);

    /// Stops the thread and releases what the object owns.
    ~TkGEHLControl() override;

    /// The last known value, Tk::VALUE_UNKNOWN when it isn't known, or there is no such key.
    int getGEHLParam(int key) const;

    /// Stores a value. Nothing is sent and no event fires. Returns 1, or 0 when there is no such
    /// key. A known STATE counts as the console's: it connects.
    int setGEHLParam(int key, int value);

    /// Queues a command with a value of one digit, NUMBER of four, or with one of the request
    /// values of Tk::SpecialValues; STORE_LOOP, RECEPTOR and NUMBER go out as their bare letter
    /// with those. A wider value is sent in full, up to nine characters. False, and nothing queued,
    /// for an unknown command, a value that doesn't fit, and without memory.
    ///
    /// With `wait` the value becomes unknown, and the call blocks until the console has told it,
    /// once the command has gone out, or setGEHLParam has: true; or until four times the link's
    /// response time have passed, 2 s without a link: false, and the frame may still be queued. In
    /// a callback of this engine no answer can come: there it returns false at once, with the frame
    /// queued.
    bool transmitMsg(int command, int value, bool wait);

  private:
    std::vector<unsigned char> encodeFrame(int command, int value) override;
    bool frameComplete(const std::vector<unsigned char> &received) const override;
    bool decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) override;
    bool isAnswered(int awaited) const override;
    bool answers(int command, int awaited) const override;
    void handleReceivedMsg(int command, int value) override;
    void sendProbe() override;
    void poll(int &step) override;
    bool allKnown() const override;
    void forget() override;

    const std::unique_ptr<TkGEHLTextCodec> m_pCodec; // encodes under m_QueueMutex
};

#endif
