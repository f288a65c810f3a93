#include "../platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <new>
#include <string>

// The kernel's own termios rather than the C library's: tcsetattr fails on a pseudo terminal
// for a parity that the kernel accepts and ignores there. <termios.h> can't be had beside it.
#include <asm/termbits.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tkplatform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// A line on which nothing moves for so long has failed.
constexpr milliseconds standstill(750);

/// The longest pause between two looks at a line that is sending.
constexpr milliseconds longestPause(50);

/// Repeats a system call for as long as signals interrupt it.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

// --- Port names ---------------------------------------------------------------------------------

struct PortMap {
    std::mutex lock; ///< guards `devices`; a leaf, nothing is called while it is held
    std::array<std::string, 10> devices;
};

PortMap &portMap() {
    static PortMap map;
    return map;
}

/// 0 to 9 for "COM1" to "COM10", -1 for any other name.
int comIndex(const char *name) {
    for (int i = 0; i < 10; ++i) {
        if (name == "COM" + std::to_string(i + 1))
            return i;
    }
    return -1;
}

std::string devicePath(const char *name) {
    const int index = comIndex(name);
    if (index < 0)
        return name;
    PortMap &map = portMap();
    const std::lock_guard<std::mutex> guard(map.lock);
    const std::string &mapped = map.devices[static_cast<std::size_t>(index)];
    return mapped.empty() ? "/dev/ttyS" + std::to_string(index) : mapped;
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
        if (speed.rate == rate)
            return speed.code;
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

/// A driver leaves out of the request what its hardware can't do, and reports success. Leaving out
/// one of these is a refusal; data bits and a parity at all can't be told from a pseudo terminal,
/// which has neither and does no harm.
constexpr tcflag_t mustBeKept = CBAUD | CSTOPB | PARODD | CMSPAR | CRTSCTS;

/// Puts the settings into `flags`; false for a rate or a size that no line has.
bool putSettings(const SerialSettings &settings, tcflag_t &flags) {
    static constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    const tcflag_t speed = speedCode(settings.baudRate);
    if (speed == B0 || settings.dataBits < 5 || settings.dataBits > 8)
        return false;
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
    bool stalled(std::size_t outstanding) {
        if (outstanding < m_least) {
            m_least = outstanding;
            m_moved = Clock::now();
        }
        return idle() >= standstill;
    }

    nanoseconds idle() const { return Clock::now() - m_moved; }

  private:
    std::size_t m_least = SIZE_MAX;
    Clock::time_point m_moved = Clock::now();
};

// --- The device ---------------------------------------------------------------------------------

/// The line is opened so that it never becomes the controlling terminal: a hang-up and writing from
/// the background can't raise SIGHUP or SIGTTOU, and a terminal raises no SIGPIPE.
class PosixSerial final : public SerialDevice {
  public:
    explicit PosixSerial(int fd) : m_fd(fd) {}
    ~PosixSerial() override;
    PosixSerial(const PosixSerial &) = delete;
    PosixSerial &operator=(const PosixSerial &) = delete;

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
        return uninterrupted([&] { return ::ioctl(m_fd, request, argument); }) != -1;
    }
    int queue(unsigned long request) const;
    bool configure(const SerialSettings &settings, bool raw);
    bool waitForRoom(Progress &progress, std::size_t unsent);
    bool waitUntilSent(Progress &progress);
    bool pause(short events, nanoseconds time) const;
    nanoseconds lineTime(int bytes) const;

    const int m_fd;
    SerialSettings m_settings;
};

PosixSerial::~PosixSerial() {
    // Nothing to drop is the rule. A pseudo terminal, which queues nothing, would take the request
    // as one to drop what its far end hasn't read yet.
    if (transmitQueue() > 0)
        control(TCFLSH, TCOFLUSH);
    // Released by hand: a process forked meanwhile may hold the file open for longer.
    control(TIOCNXCL, 0);
    ::flock(m_fd, LOCK_UN);
    ::close(m_fd);
}

bool PosixSerial::initialize(const SerialSettings &settings) {
    int outputs = TIOCM_DTR | TIOCM_RTS;
    return configure(settings, true) &&
           (control(TIOCMBIC, &outputs) || errno == ENOTTY || errno == EINVAL);
}

bool PosixSerial::apply(const SerialSettings &settings) {
    return configure(settings, false);
}

bool PosixSerial::configure(const SerialSettings &settings, bool raw) {
    termios before;
    if (!control(TCGETS, &before))
        return false;
    termios wanted = before;
    if (raw)
        makeRaw(wanted);
    if (!putSettings(settings, wanted.c_cflag))
        return false;
    termios got;
    if (!control(TCSETS, &wanted) || !control(TCGETS, &got))
        return false;
    if (((got.c_cflag ^ wanted.c_cflag) & mustBeKept) != 0) {
        control(TCSETS, &before);
        return false;
    }
    m_settings = settings;
    return true;
}

// --- Traffic ------------------------------------------------------------------------------------

int PosixSerial::read(char *bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const ssize_t count = uninterrupted([&] { return ::read(m_fd, bytes, size); });
    if (count > 0)
        return static_cast<int>(count);
    return count < 0 && errno == EAGAIN ? 0 : -1;
}

int PosixSerial::write(const char *bytes, std::size_t size) {
    Progress progress;
    std::size_t taken = 0;
    while (taken < size) {
        const ssize_t count =
            uninterrupted([&] { return ::write(m_fd, bytes + taken, size - taken); });
        if (count > 0) {
            taken += static_cast<std::size_t>(count);
            continue;
        }
        if ((count < 0 && errno != EAGAIN) || !waitForRoom(progress, size - taken))
            break;
    }
    if (taken == size && waitUntilSent(progress))
        return static_cast<int>(size);
    control(TCFLSH, TCOFLUSH);
    return -1;
}

bool PosixSerial::drain() {
    Progress progress;
    return waitUntilSent(progress);
}

bool PosixSerial::waitForRoom(Progress &progress, std::size_t unsent) {
    const int queued = transmitQueue();
    if (queued < 0 || progress.stalled(unsent + static_cast<std::size_t>(queued)))
        return false;
    return pause(POLLOUT, longestPause);
}

/// tcdrain would do, but a line that CTS holds back blocks it without a limit.
bool PosixSerial::waitUntilSent(Progress &progress) {
    for (;;) {
        const int queued = transmitQueue();
        if (queued <= 0)
            return queued == 0;
        if (progress.stalled(static_cast<std::size_t>(queued)))
            return false;
        // As long as the rest takes on the line; ever longer when the line stands still.
        const nanoseconds time = std::max(lineTime(queued), progress.idle() / 4);
        if (!pause(0, std::min<nanoseconds>(time, longestPause)))
            return false;
    }
}

/// Waits for the events, or the time. False when the line hung up.
bool PosixSerial::pause(short events, nanoseconds time) const {
    struct pollfd line = {m_fd, events, 0};
    const struct timespec limit = {0, static_cast<long>(time.count())};
    const int ready = ::ppoll(&line, 1, &limit, nullptr);
    return ready <= 0 || (line.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

nanoseconds PosixSerial::lineTime(int bytes) const {
    const int parity = m_settings.parity == SerialParity::none ? 0 : 1;
    const int bits = 1 + m_settings.dataBits + parity + m_settings.stopBits;
    return nanoseconds(std::chrono::seconds(1)) * bits / m_settings.baudRate * bytes;
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
    if (bit == 0 || !control(TIOCMGET, &lines))
        return -1;
    return (lines & bit) != 0 ? 1 : 0;
}

int openFlags(SerialAccess access) {
    const int mode = access == SerialAccess::read    ? O_RDONLY
                     : access == SerialAccess::write ? O_WRONLY
                                                     : O_RDWR;
    return mode | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
}

/// Takes the open file for this user alone; false when it is no serial device, or taken. The lock
/// holds between users of this library, privileged ones and those in this process too. The
/// terminal's exclusive mode keeps out other programs, unless they are privileged.
bool claim(int fd) {
    termios line;
    return ::ioctl(fd, TCGETS, &line) == 0 && ::flock(fd, LOCK_EX | LOCK_NB) == 0 &&
           ::ioctl(fd, TIOCEXCL) == 0;
}

} // namespace

std::unique_ptr<SerialDevice> SerialDevice::open(const char *name, SerialAccess access) {
    const std::string path = devicePath(name);
    const int fd = uninterrupted([&] { return ::open(path.c_str(), openFlags(access)); });
    if (fd < 0)
        return nullptr;
    if (!claim(fd)) {
        ::close(fd);
        return nullptr;
    }
    return std::make_unique<PosixSerial>(fd);
}

} // namespace tkplatform

bool tkMapSerialPort(const char *name, const char *device) {
    const int index = name ? tkplatform::comIndex(name) : -1;
    if (index < 0)
        return false;
    try {
        std::string mapped = device ? device : "";
        tkplatform::PortMap &map = tkplatform::portMap();
        const std::lock_guard<std::mutex> guard(map.lock);
        map.devices[static_cast<std::size_t>(index)].swap(mapped);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}
