#include "platform/platform.h"
#include "platform/portnames.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <new>
#include <string>

// The kernel's own termios rather than the C library's: tcsetattr fails on a pseudo terminal
// for a parity that the kernel accepts and ignores there. <termios.h> can't be had beside it.
#include <asm/termbits.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace tkplatform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// A line on which nothing moves for so long has failed; a slow one gets the time of as many
/// characters as hardware may take from the queue at once.
constexpr milliseconds shortestStandstill(750);
constexpr int hardwareBuffer = 256;

/// The longest pause between two looks at a line that is sending.
constexpr milliseconds longestPause(50);

/// Repeats a system call for as long as signals interrupt it.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// --- Settings as the kernel wants them ----------------------------------------------------------

/// The kernel's code of a rate; 0, which would hang up the line, for one that isn't offered.
tcflag_t speedCode(int rate) {
    static constexpr struct {
        int rate;
        tcflag_t code;
    } speeds[] = {{110, B110},     {300, B300},     {600, B600},      {1200, B1200},
                  {2400, B2400},   {4800, B4800},   {9600, B9600},    {19200, B19200},
                  {38400, B38400}, {57600, B57600}, {115200, B115200}};
    for (const auto &speed : speeds) {
        if (speed.rate == rate) {
            return speed.code;
        }
    }
    return B0;
}

tcflag_t parityCode(SerialParity parity) {
    switch (parity) {
    case SerialParity::none:
        return 0;
    case SerialParity::even:
        return PARENB;
    case SerialParity::odd:
        return PARENB | PARODD;
    case SerialParity::mark:
        return PARENB | PARODD | CMSPAR;
    case SerialParity::space:
        return PARENB | CMSPAR;
    }
    return 0;
}

constexpr tcflag_t settingsMask =
    CBAUD | CBAUD << IBSHIFT | CSIZE | CSTOPB | PARENB | PARODD | CMSPAR | CRTSCTS;

/// A driver leaves out of the request what its hardware can't do, and reports success: leaving out
/// one of these is a refusal. A pseudo terminal has neither data bits nor a parity, and no harm
/// comes of it.
constexpr tcflag_t mustBeKeptByPseudo = CBAUD | CSTOPB | PARODD | CMSPAR | CRTSCTS;
constexpr tcflag_t mustBeKept = mustBeKeptByPseudo | CSIZE | PARENB;

/// Whether the open file is the near end of a pseudo terminal, by the kernel's device numbers.
bool isPseudoTerminal(int file) {
    struct stat status = {};
    return ::fstat(file, &status) == 0 && S_ISCHR(status.st_mode) && major(status.st_rdev) >= 136 &&
           major(status.st_rdev) <= 143;
}

/// Puts the settings into `flags`; false for a rate or a size that no line has.
bool putSettings(const SerialSettings &settings, tcflag_t &flags) {
    static constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    const tcflag_t speed = speedCode(settings.baudRate);
    if (speed == B0 || settings.dataBits < 5 || settings.dataBits > 8) {
        return false;
    }
    flags &= ~settingsMask;
    flags |= speed | sizes[settings.dataBits - 5] | parityCode(settings.parity);
    flags |= settings.stopBits == 2 ? CSTOPB : 0;
    // The kernel has no flow control of the output alone: hardware that can drives RTS as well.
    flags |= settings.ctsFlowControl ? CRTSCTS : 0;
    return true;
}

/// Raw: every value passes both ways, nothing is echoed, and no byte raises a signal or stops the
/// output. A break is ignored, parity errors pass unseen. DTR falls when the port is closed.
void makeRaw(termios &line) {
    line.c_iflag = IGNBRK;
    line.c_oflag = 0;
    line.c_lflag = 0;
    line.c_cflag |= CLOCAL | CREAD | HUPCL;
    line.c_cc[VMIN] = 1; // an empty read is told from a hung-up line: EAGAIN and 0
    line.c_cc[VTIME] = 0;
}

// --- Progress of what is sent -------------------------------------------------------------------

/// Watches the count of bytes that have not gone out yet: it has to fall.
class Progress {
  public:
    explicit Progress(nanoseconds standstill) : m_Standstill(standstill) {}

    bool stalled(std::size_t outstanding) {
        if (outstanding < m_nLeast) {
            m_nLeast = outstanding;
            m_Moved = Clock::now();
        }
        return idle() >= m_Standstill;
    }

    nanoseconds idle() const { return Clock::now() - m_Moved; }

  private:
    const nanoseconds m_Standstill;
    std::size_t m_nLeast = SIZE_MAX;
    Clock::time_point m_Moved = Clock::now();
};

// --- The device ---------------------------------------------------------------------------------

/// The line is opened so that it never becomes the controlling terminal: a hang-up and writing from
/// the background can't raise SIGHUP or SIGTTOU, and a terminal raises no SIGPIPE.
class PosixSerial final : public SerialDevice {
  public:
    PosixSerial() = default;
    ~PosixSerial() override;
    PosixSerial(const PosixSerial &) = delete;
    PosixSerial &operator=(const PosixSerial &) = delete;

    /// Once, and successfully, before anything else.
    bool open(const char *path, SerialAccess access);

    bool initialize(const SerialSettings &settings) override;
    bool apply(const SerialSettings &settings) override;
    int read(char *bytes, std::size_t size) override;
    int write(const char *bytes, std::size_t size) override;
    bool drain() override;
    int receiveQueue() override;
    int transmitQueue() override;
    bool setLine(ModemLine line, bool on) override;
    int readLine(ModemLine line) override;

  private:
    template <class Argument>
    bool control(unsigned long request, Argument argument) const {
        return uninterrupted([&] { return ::ioctl(m_nFile, request, argument); }) != -1;
    }
    bool claim();
    bool isMarked() const;
    void release();
    int queue(unsigned long request) const;
    bool waitForRoom(Progress &progress, std::size_t unsent);
    bool waitUntilSent(Progress &progress);
    bool pause(short events, nanoseconds time) const;
    nanoseconds lineTime(int bytes) const;
    nanoseconds standstill() const;

    int m_nFile = -1;
    pid_t m_nOwner = 0; // the process that has claimed the line
    bool m_bPseudo = false;
    SerialSettings m_Settings; // what the line runs at, once it has taken any
};

int openFlags(SerialAccess access) {
    const int mode = access == SerialAccess::read    ? O_RDONLY
                     : access == SerialAccess::write ? O_WRONLY
                                                     : O_RDWR;
    return mode | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
}

bool PosixSerial::open(const char *path, SerialAccess access) {
    m_nFile = uninterrupted([&] { return ::open(path, openFlags(access)); });
    m_bPseudo = isPseudoTerminal(m_nFile);
    return m_nFile >= 0 && claim();
}

/// Takes the open file for this user alone; false when it is no serial device, or taken. The lock
/// holds between users of this library, privileged ones and those in this process too. The
/// terminal's exclusive mark keeps out other programs, unless they are privileged.
bool PosixSerial::claim() {
    termios line;
    if (!control(TCGETS, &line) || ::flock(m_nFile, LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    if (isMarked() || !control(TIOCEXCL, 0)) {
        ::flock(m_nFile, LOCK_UN);
        return false;
    }
    m_nOwner = ::getpid();
    return true;
}

/// Whether another program has the line, which a privileged user's open doesn't show. A port loses
/// the mark when its last user closes it, but a pseudo terminal keeps it for as long as its far end
/// lives: there it may be left from an owner that was killed.
bool PosixSerial::isMarked() const {
    int marked = 0;
    return !m_bPseudo && control(TIOCGEXCL, &marked) && marked != 0;
}

PosixSerial::~PosixSerial() {
    // A forked process has a copy of the object and shares the open file: the line isn't its own.
    if (m_nOwner == ::getpid()) {
        release();
    }
    if (m_nFile >= 0) {
        ::close(m_nFile);
    }
}

void PosixSerial::release() {
    // Nothing to drop is the rule. A pseudo terminal, which queues nothing, would take the request
    // as one to drop what its far end hasn't read yet.
    if (transmitQueue() > 0) {
        control(TCFLSH, TCOFLUSH);
    }
    // Released by hand: a process forked meanwhile may hold the file open for longer.
    control(TIOCNXCL, 0);
    ::flock(m_nFile, LOCK_UN);
}

bool PosixSerial::initialize(const SerialSettings &settings) {
    int outputs = TIOCM_DTR | TIOCM_RTS;
    return apply(settings) && (control(TIOCMBIC, &outputs) || errno == ENOTTY || errno == EINVAL);
}

bool PosixSerial::apply(const SerialSettings &settings) {
    termios before;
    if (!control(TCGETS, &before)) {
        return false;
    }
    termios wanted = before;
    makeRaw(wanted); // each time: the line may have refused the settings that it was to start with
    if (!putSettings(settings, wanted.c_cflag)) {
        return false;
    }
    termios got;
    if (!control(TCSETS, &wanted) || !control(TCGETS, &got)) {
        return false;
    }
    if (((got.c_cflag ^ wanted.c_cflag) & (m_bPseudo ? mustBeKeptByPseudo : mustBeKept)) != 0) {
        control(TCSETS, &before);
        return false;
    }
    m_Settings = settings;
    return true;
}

// --- Traffic ------------------------------------------------------------------------------------

int PosixSerial::read(char *bytes, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const ssize_t count = uninterrupted([&] { return ::read(m_nFile, bytes, size); });
    if (count > 0) {
        return static_cast<int>(count);
    }
    return count < 0 && errno == EAGAIN ? 0 : -1;
}

int PosixSerial::write(const char *bytes, std::size_t size) {
    Progress progress(standstill());
    std::size_t taken = 0;
    while (taken < size) {
        const ssize_t count =
            uninterrupted([&] { return ::write(m_nFile, bytes + taken, size - taken); });
        if (count > 0) {
            taken += static_cast<std::size_t>(count);
            continue;
        }
        if ((count < 0 && errno != EAGAIN) || !waitForRoom(progress, size - taken)) {
            break;
        }
    }
    if (taken == size && waitUntilSent(progress)) {
        return static_cast<int>(size);
    }
    control(TCFLSH, TCOFLUSH);
    return -1;
}

bool PosixSerial::drain() {
    Progress progress(standstill());
    return waitUntilSent(progress);
}

bool PosixSerial::waitForRoom(Progress &progress, std::size_t unsent) {
    const int queued = transmitQueue();
    if (queued < 0 || progress.stalled(unsent + static_cast<std::size_t>(queued))) {
        return false;
    }
    return pause(POLLOUT, longestPause);
}

/// tcdrain would do, but a line that CTS holds back blocks it without a limit.
bool PosixSerial::waitUntilSent(Progress &progress) {
    for (;;) {
        const int queued = transmitQueue();
        if (queued <= 0) {
            return queued == 0;
        }
        if (progress.stalled(static_cast<std::size_t>(queued))) {
            return false;
        }
        // As long as the rest takes on the line; ever longer when the line stands still.
        const nanoseconds time = std::max(lineTime(queued), progress.idle() / 4);
        if (!pause(0, std::min<nanoseconds>(time, longestPause))) {
            return false;
        }
    }
}

/// Waits for the events, or the time. False when the line hung up.
bool PosixSerial::pause(short events, nanoseconds time) const {
    struct pollfd line = {m_nFile, events, 0};
    const struct timespec limit = {0, static_cast<long>(time.count())};
    const int ready = ::ppoll(&line, 1, &limit, nullptr);
    return ready <= 0 || (line.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

nanoseconds PosixSerial::lineTime(int bytes) const {
    const int parity = m_Settings.parity == SerialParity::none ? 0 : 1;
    const int bits = 1 + m_Settings.dataBits + parity + m_Settings.stopBits;
    return nanoseconds(std::chrono::seconds(1)) * bits / m_Settings.baudRate * bytes;
}

nanoseconds PosixSerial::standstill() const {
    return std::max<nanoseconds>(shortestStandstill, lineTime(hardwareBuffer));
}

int PosixSerial::queue(unsigned long request) const {
    int count = 0;
    return control(request, &count) ? count : -1;
}

int PosixSerial::receiveQueue() {
    return queue(FIONREAD);
}

int PosixSerial::transmitQueue() {
    return queue(TIOCOUTQ);
}

// --- Modem lines --------------------------------------------------------------------------------

bool PosixSerial::setLine(ModemLine line, bool on) {
    int bit = line == ModemLine::dtr ? TIOCM_DTR : line == ModemLine::rts ? TIOCM_RTS : 0;
    return bit != 0 && control(on ? TIOCMBIS : TIOCMBIC, &bit);
}

int PosixSerial::readLine(ModemLine line) {
    const int bit = line == ModemLine::cts    ? TIOCM_CTS
                    : line == ModemLine::ring ? TIOCM_RNG
                    : line == ModemLine::dsr  ? TIOCM_DSR
                                              : 0;
    int lines = 0;
    if (bit == 0 || !control(TIOCMGET, &lines)) {
        return -1;
    }
    return (lines & bit) != 0 ? 1 : 0;
}

} // namespace

std::string defaultSerialPath(std::size_t index) {
    return "/dev/ttyS" + std::to_string(index);
}

std::unique_ptr<SerialDevice> SerialDevice::open(const char *name, SerialAccess access) {
    try {
        auto line = std::make_unique<PosixSerial>();
        if (line->open(serialPath(name).c_str(), access)) {
            return line;
        }
    } catch (const std::bad_alloc &) {
        // As any other device that can't be had.
    }
    return nullptr;
}

} // namespace tkplatform
