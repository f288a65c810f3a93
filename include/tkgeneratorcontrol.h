#ifndef TKGENERATORCONTROL_H
#define TKGENERATORCONTROL_H

#include "tkconversation.h"
#include "tkserial.h"

class TkAPR;
class TkBinaryInterface;
class TkErrorQueue;
class TkRecordTraffic;
class TkTextCodec;

/// Drives one X-ray generator over a byte link. Its worker thread sends what is queued, one frame
/// at a time, stores what the generator answers in the parameter table, and tells the registered
/// TkGenDispatcher objects of every change; see TkConversation for what it shares with the other
/// engines, threads among it.
///
/// The usual order is: create it, register dispatchers, startControl, enableRefresh(true, false).
/// It is connected when polling has read all that a console needs to know; nothing else connects.
/// Unless enableExposures says that the application takes part in exposures, the engine answers
/// every prep of the generator with a refusal. It echoes every latched error by itself.
class TKGEN_EXPORT TkGeneratorControl : public TkConversation {
  public:
    /// The first generator revision that can have a dose area product meter.
    static constexpr int DAP_VERSION = 260;

    /// Drives the generator at the end of the application's link, or of none if it is null. While
    /// connected it polls in steps 250 ms apart.
    explicit TkGeneratorControl(TkComms *comms);

    /// Opens a serial port of its own for reading and writing. A port that can't be opened shows
    /// by isOpen() of getCommDevice(). It polls as fast as the generator answers.
    explicit TkGeneratorControl(TkSerial::COM_PORTS port);

    /// Stops the thread and releases what the object owns.
    ~TkGeneratorControl() override;

    /// The last known value of a parameter: what the generator sent, but the film screen "FS" as 0,
    /// 1 or 2. Tk::VALUE_UNKNOWN when it isn't known, or no such parameter exists.
    int getGenParam(Tk::TextCommands command) const;

    /// Stores a value in the parameter table. Nothing is sent and no event fires. False when no
    /// such parameter exists.
    bool setGenParam(Tk::TextCommands command, int value);

    /// Queues a command: a value, or one of the request values of Tk::SpecialValues; it goes out
    /// when all that was queued before has been answered. A value with more digits than the command
    /// has is sent in full, up to nine characters. Film screen "FS" takes 0, 1 or 2 and no request.
    /// False, and nothing queued, for a command that isn't sent, for a value that it can't carry,
    /// and without memory.
    ///
    /// With `wait` the value of the parameter becomes unknown, and the call blocks until the
    /// generator has told it, once the command has gone out, or setGenParam has: true; or until
    /// four times the link's response time have passed, 2 s without a link: false, and the frame
    /// may still be queued. "RR", "RF", "RS" and "CD" wait for the first parameter of their answer.
    /// In a callback of this engine no answer can come: there it returns false at once, with the
    /// frame queued.
    bool transmitMsg(Tk::TextCommands command, int value, bool wait);

    /// Queues a frame that reads a record of the application's (mode 998) or writes it (999), as
    /// transmitMsg does. False, and nothing queued, while another record is awaited, the engine's
    /// own among them: it reads them until it is connected, and the table's position all the time,
    /// so try again. False also without a record or memory, and for what a record hasn't: the error
    /// log can't be written, the bypass not be read.
    ///
    /// The record mustn't be touched nor destroyed while it is awaited: until the reply, by which
    /// isValid() becomes true, an ACK, or the loss of the link. That another record is accepted,
    /// and enableRefresh(false, true), show that it is free; of the bypass, and of a record that
    /// the application describes, nothing else does, as isValid() is true before. With `wait` the
    /// call blocks for the answer: true when one came. False when none can come any more, or none
    /// has come within the time that transmitMsg waits; the frame may still be queued, but the
    /// record is left alone from then on. In a callback of this engine a waiting call returns false
    /// at once, with the frame queued.
    ///
    /// An ACK doesn't tell what it is for: that of a command queued earlier ends the wait too. A
    /// reply fills the record that is awaited, whatever instance it tells of. So after a read look
    /// at isValid(), and whether the index is the one that was asked for.
    bool transmitBinaryMsg(TkBinaryInterface *record, int mode, bool wait);

    /// Queues an anatomical program as one line: workstation, focus, technique, AEC fields, film
    /// screen as the wire has it (1, 10 or 100), density, kV, mA, ms. False, and nothing queued,
    /// without memory.
    ///
    /// With `wait` the value of "WS", with which the answer begins, becomes unknown, and the call
    /// blocks until it is told once the line has gone out; or until 15 s and four times the link's
    /// response time have passed, 2 s without a link: false, and the line may still be queued. The
    /// other values of the answer follow. True isn't consent: a refusal shows by getError and
    /// getLatchedError, and one that comes without "WS" costs the whole time. In a callback of this
    /// engine it returns false at once, with the line queued.
    bool transmitAPR(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma, int ms,
                     bool wait);

    /// Sends a whole program: the line, then one by one what it can't carry, in the family
    /// GENERATOR_ARKONA. That is fluoroscopy from revision 300 on where the workstation's receptor
    /// has it, and the room's values where their features are enabled; tomography if the first
    /// receptor has it too. A line that is refused is followed by its workstation and technique,
    /// and for AEC its fields and film screen. What the generator refuses is in the program's
    /// getErrorDetails; only a technique other than 0 to 2 isn't named there. True when nothing was
    /// refused. False also for a null program and without memory.
    ///
    /// A generator that doesn't answer refuses nothing. lostComms tells; and without polling "WS"
    /// is unknown afterwards. With polling it may be known again.
    ///
    /// The line takes the film screen as the wire has it, a piece as 0, 1 or 2, and other values
    /// are left out there: 1 is the first screen in the line, and the second one in a piece.
    ///
    /// Without `wait` everything is queued, and the generator has no time to refuse it. With `wait`
    /// the call blocks for each answer in turn, as transmitAPR above and transmitMsg do; a
    /// generator that doesn't answer costs the limit for each. An error counts that comes before
    /// the answer or with it. Errors that were waiting, or come for another reason meanwhile, count
    /// too; who takes errors meanwhile takes them from the program. "AI" becomes the program's code
    /// in any case. Not for a callback of this engine, where no answer can come.
    bool transmitAPR(TkAPR *program, bool wait);

    /// Whether the application takes part in exposures; false at the start. If not, preps are
    /// refused by the engine and aren't told to the dispatchers.
    void enableExposures(bool enable) { m_bExposuresEnabled = enable; }
    bool exposuresEnabled() const { return m_bExposuresEnabled; }

    /// What the room has; none of it at the start. isFeatureEnabled is true when any of the given
    /// bits is set.
    void enableFeatures(Tk::Features features) { m_nFeatures |= features; }
    void disableFeatures(Tk::Features features) { m_nFeatures &= ~features; }
    void clearFeatures() { m_nFeatures = 0; }
    bool isFeatureEnabled(Tk::Features features) const { return (m_nFeatures & features) != 0; }
    int getFeatureFlags() const { return m_nFeatures; }

    /// The generator family, GENERATOR_ARKONA at the start. A change takes effect at once.
    void setGeneratorType(Tk::GeneratorTypes type) { m_nGeneratorType = type; }
    Tk::GeneratorTypes getGeneratorType() const {
        return static_cast<Tk::GeneratorTypes>(m_nGeneratorType.load());
    }

    /// The number of the oldest error that waits, or of the oldest latched one; 0 when none does.
    /// With `remove` it is taken off its queue, and the parameter "ER" or "EL" becomes 0. A queue
    /// holds 1000 errors; what comes while it is full is told by its event alone.
    int getError(bool remove);
    int getLatchedError(bool remove);

    /// Empties a queue of errors and makes the parameter "ER" or "EL" unknown.
    void flushErrors();
    void flushLatchedErrors();

  private:
    friend class TkAPR;
    friend class TkGeneratorPolling;
    friend class TkGeneratorStatus;

    TkGeneratorControl(std::shared_ptr<TkComms> comms, long pollingPeriod);

    std::vector<unsigned char> encodeFrame(int command, int value) override;
    bool frameComplete(const std::vector<unsigned char> &received) const override;
    bool decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) override;
    bool isAnswered(int awaited) const override;
    bool answers(int command, int awaited) const override;
    void received(const std::vector<Item> &items) override;
    void handleReceivedMsg(int command, int value) override;
    void sendProbe() override;
    void poll(int &step) override;
    bool allKnown() const override;
    void forget() override;
    bool isRecord(const std::vector<unsigned char> &frame) const override;
    bool receiveRecord(std::vector<unsigned char> &frame) override;
    void answeredByText(int awaited) override;
    void acknowledged(bool answeredFrame) override;
    void flushed() override;
    void supervise(int step) override;

    static bool isWholeRecord(const std::vector<unsigned char> &received);
    bool query(int command);
    void checkForDap(int step);
    void takeOver(int command, int value);
    void storeAndTell(int command, int value, bool takesPart);
    static bool isTold(int command, bool changed, bool takesPart);
    void respond(int command, int value, bool takesPart);
    int takeError(TkErrorQueue &errors, Tk::TextCommands parameter, bool remove);

    const std::unique_ptr<TkTextCodec> m_pCodec; // encodes under m_QueueMutex
    const std::unique_ptr<TkErrorQueue> m_pLatchedErrors;
    const std::unique_ptr<TkErrorQueue> m_pErrors;
    const std::unique_ptr<TkRecordTraffic> m_pRecords; // has a lock of its own, a leaf

    std::atomic<int> m_nGeneratorType{GENERATOR_ARKONA};
    std::atomic<int> m_nFeatures{0};
    std::atomic<bool> m_bExposuresEnabled{false};
    std::atomic<bool> m_bRadExposure{false};
    std::atomic<bool> m_bFluoroExposure{false};

    // The search for a dose area product meter
    std::atomic<bool> m_bDapPresent{false};
    std::atomic<int> m_nDapRestart{1};
    int m_nDapTries = 0;      // the worker's own: replies "no meter" since the last restart
    int m_nLastDapStep = 255; // the worker's own: the step of polling that asked last
};

#endif
