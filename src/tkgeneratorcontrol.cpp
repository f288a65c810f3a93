#include "tkgeneratorcontrol.h"

#include "tkdispatchers.h"
#include "tkdispatchmanager.h"
#include "tkerrorqueue.h"
#include "tkparametertable.h"
#include "tkrecordtraffic.h"
#include "tktextcodec.h"
#include "tkvocabulary.h"

#include <new>

namespace {

/// Between two ticks of polling while connected, in ms. A serial port is polled as fast as the
/// generator answers; a link of the application's may be shared, and is spared.
constexpr long BORROWED_LINK_PERIOD = 250;
constexpr long OWN_PORT_PERIOD = 0;

/// A program changes much in the generator, which takes its time.
constexpr unsigned long PROGRAM_TIME = 15000;

/// The generator decides how many preps and errors it sends: with so many frames queued, the engine
/// adds no response of its own.
constexpr std::size_t MOST_QUEUED_RESPONSES = 1000;

/// The wire's name for film screen 0, 1 and 2, by position.
constexpr int WIRE_FILM_SCREENS[] = {1, 10, 100};

int filmScreenFromWire(int value) {
    for (int i = 0; i < 3; ++i) {
        if (WIRE_FILM_SCREENS[i] == value) {
            return i;
        }
    }
    return value;
}

/// Every command in the order of the vocabulary, and behind the meter's status whether one was
/// found.
std::vector<int> declareParameters() {
    std::vector<int> keys;
    keys.reserve(TkCommandTable::SIZE + 1);
    for (const TkCommand &row : TkCommandTable::rows) {
        keys.push_back(row.number);
        if (row.number == Tk::DS) {
            keys.push_back(TK_METER_FOUND);
        }
    }
    return keys;
}

std::shared_ptr<TkComms> serialPort(TkSerial::COM_PORTS port) {
    return std::make_shared<TkSerial>(TkSerial::getCommName(port), TkSerial::MODE_READ_WRITE);
}

} // namespace

TkGeneratorControl::TkGeneratorControl(std::shared_ptr<TkComms> comms, long pollingPeriod)
    : TkConversation({TkGenDispatcher::CLASS, "generator", "Unknown", true, FarEnd::Ack::answer,
                      pollingPeriod, true},
                     std::move(comms), declareParameters()),
      m_pCodec(new TkTextCodec), m_pLatchedErrors(new TkErrorQueue), m_pErrors(new TkErrorQueue),
      m_pRecords(new TkRecordTraffic) {}

TkGeneratorControl::TkGeneratorControl(TkComms *comms)
    : TkGeneratorControl(borrowed(comms), BORROWED_LINK_PERIOD) {}

TkGeneratorControl::TkGeneratorControl(TkSerial::COM_PORTS port)
    : TkGeneratorControl(serialPort(port), OWN_PORT_PERIOD) {}

TkGeneratorControl::~TkGeneratorControl() {
    endThread();
}

int TkGeneratorControl::getGenParam(Tk::TextCommands command) const {
    return m_pParameters->value(command);
}

bool TkGeneratorControl::setGenParam(Tk::TextCommands command, int value) {
    return m_pParameters->assign(command, value);
}

// --- Sending ------------------------------------------------------------------------------------

bool TkGeneratorControl::transmitMsg(Tk::TextCommands command, int value, bool wait) {
    const unsigned long limit = wait ? waitLimit() : 0;
    Answer answer;
    const TkCommand *const row = TkCommandTable::find(command);
    if (row == nullptr || !queueCommand(command, value, row->awaited, wait, answer)) {
        return false;
    }
    if (command == Tk::DT) {
        m_bDapPresent = false; // the application searches for the meter anew
        m_nDapRestart = 1;
    }
    return waitForAnswer(answer, limit);
}

std::vector<unsigned char> TkGeneratorControl::encodeFrame(int command, int value) {
    if (command == Tk::FS) {
        if (value < 0 || value > 2) {
            return {};
        }
        value = WIRE_FILM_SCREENS[value];
    }
    m_pCodec->encode(command, value);
    std::vector<unsigned char> frame = m_pCodec->encodedMsg();
    if (command == Tk::XR && value == 0) {
        m_bRadExposure = false; // the console ends the exposure: nobody has to confirm it
    }
    return frame;
}

bool TkGeneratorControl::transmitAPR(int ws, int fo, int et, int fi, int fs, int fn, int kv, int ma,
                                     int ms, bool wait) {
    const unsigned long limit = wait ? waitLimit(PROGRAM_TIME) : 0;
    Answer answer;
    try {
        const TkLock lock(m_QueueMutex);
        m_pCodec->encodeAprMsg(ws, fo, et, fi, fs, fn, kv, ma, ms);
        answer = queueFrame(m_pCodec->encodedMsg(), Tk::WS, wait);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return waitForAnswer(answer, limit);
}

/// A question of the engine's own: it restarts nothing.
bool TkGeneratorControl::query(int command) {
    return transmit(command, Tk::REQUEST_QUERY, TkCommandTable::find(command)->awaited, false);
}

bool TkGeneratorControl::isAnswered(int awaited) const {
    const TkCommand *const row = TkCommandTable::find(awaited);
    return row == nullptr || row->answered;
}

void TkGeneratorControl::sendProbe() {
    query(Tk::ST);
}

// --- Receiving ----------------------------------------------------------------------------------

/// Text ends one byte, the sum, behind the first ETX. The sum can have any value, that of an ETX
/// too. A binary frame isn't text, whatever its bytes are.
bool TkGeneratorControl::frameComplete(const std::vector<unsigned char> &received) const {
    if (isRecord(received)) {
        return isWholeRecord(received);
    }
    return received.size() > 2 && received[received.size() - 2] == TK_ETX;
}

bool TkGeneratorControl::decodeFrame(std::vector<unsigned char> &frame, std::vector<Item> &items) {
    const bool good = m_pCodec->decode(&frame);
    if (good) {
        takeItems(*m_pCodec, items);
    }
    return good;
}

/// An error is the generator's answer to whatever it was asked.
bool TkGeneratorControl::answers(int command, int awaited) const {
    return command == awaited || command == Tk::EL || command == Tk::ER;
}

/// Errors wait in their queues before any value of the frame is told: who waits for that value, and
/// then looks for errors, mustn't miss one.
void TkGeneratorControl::received(const std::vector<Item> &items) {
    for (const Item &item : items) {
        if (item.command == Tk::EL) {
            m_pLatchedErrors->add(static_cast<unsigned char>(item.value));
        } else if (item.command == Tk::ER) {
            m_pErrors->add(static_cast<unsigned char>(item.value));
        }
    }
}

void TkGeneratorControl::handleReceivedMsg(int command, int value) {
    if (command == Tk::FS) {
        value = filmScreenFromWire(value);
    }
    const bool takesPart = m_bExposuresEnabled;
    {
        const Turn turn(*this);
        if (!turn) {
            return;
        }
        takeOver(command, value);
        storeAndTell(command, value, takesPart);
    }
    // A prep that wasn't told is refused, even if the switch has been turned on meanwhile; and so
    // is one whose callback turned it off.
    respond(command, value, takesPart && m_bExposuresEnabled);
}

/// What an item means to the engine itself.
void TkGeneratorControl::takeOver(int command, int value) {
    switch (command) {
    case Tk::GR:
        m_nGeneratorRevision = value;
        break;
    case Tk::DT:
        m_nDapTries += value == 0 ? 1 : 0;
        break;
    case Tk::XR:
        m_bRadExposure = value == 1;
        break;
    case Tk::FLX:
        m_bFluoroExposure = value == 1;
        break;
    default:
        break;
    }
}

void TkGeneratorControl::storeAndTell(int command, int value, bool takesPart) {
    const TkParameterTable::Telling telling(*m_pParameters, command);
    int before = 0;
    if (!m_pParameters->exchange(command, value, before)) {
        return;
    }
    const bool changed = value != before;
    if (!isDispatcherEnabled() || !isTold(command, changed, takesPart)) {
        return;
    }
    tell(command, &value);
    if (changed && (command == Tk::ER || command == Tk::EL)) {
        setGenParam(static_cast<Tk::TextCommands>(command),
                    Tk::VALUE_UNKNOWN); // the next counts too
    }
}

/// Values are told when they change. Of the exposure handshake every item is, but only to an
/// application that takes part; a preparation is never told to others.
bool TkGeneratorControl::isTold(int command, bool changed, bool takesPart) {
    const bool prep = command == Tk::PR || command == Tk::FLP;
    const bool exposure = command == Tk::XR || command == Tk::FLX;
    if (changed && !prep) {
        return true;
    }
    return (prep || exposure) && takesPart;
}

/// What the engine answers by itself: a prep that nobody takes part in is refused, and a latched
/// error is echoed.
void TkGeneratorControl::respond(int command, int value, bool takesPart) {
    const bool prep = command == Tk::PR || command == Tk::FLP;
    const bool refused = prep && !takesPart;
    if ((refused || command == Tk::EL) && queuedFrames() < MOST_QUEUED_RESPONSES) {
        transmitMsg(static_cast<Tk::TextCommands>(command), refused ? 0 : value, false);
    }
}

void TkGeneratorControl::forget() {
    m_bRadExposure = false;
    m_bFluoroExposure = false;
    m_pRecords->forget();
    m_pParameters->forget();
    m_nDapRestart = 1;
    m_bDapPresent = false;
}

// --- Errors -------------------------------------------------------------------------------------

int TkGeneratorControl::takeError(TkErrorQueue &errors, Tk::TextCommands parameter, bool remove) {
    if (!remove) {
        return errors.front();
    }
    const int number = errors.take();
    setGenParam(parameter, 0);
    return number;
}

int TkGeneratorControl::getError(bool remove) {
    return takeError(*m_pErrors, Tk::ER, remove);
}

int TkGeneratorControl::getLatchedError(bool remove) {
    return takeError(*m_pLatchedErrors, Tk::EL, remove);
}

void TkGeneratorControl::flushErrors() {
    m_pErrors->clear();
    setGenParam(Tk::ER, Tk::VALUE_UNKNOWN);
}

void TkGeneratorControl::flushLatchedErrors() {
    m_pLatchedErrors->clear();
    setGenParam(Tk::EL, Tk::VALUE_UNKNOWN);
}
