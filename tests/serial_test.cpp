#include "support/pty.h"
#include "tkplatform.h"
#include "tkserial.h"

#include <csignal>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Runs `body` in a process that leads a session without a terminal, where a line that is opened
/// carelessly becomes the controlling one. Gives its result; -1 when a signal or the time ended it.
template <class Body>
int inNewSession(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        ::alarm(10);
        ::_exit(body());
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Whether other programs find the device taken; a privileged one would have to ask.
bool isTaken(const std::string &path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        return errno == EBUSY;
    }
    int exclusive = 0;
    EXPECT_EQ(::ioctl(fd, TIOCGEXCL, &exclusive), 0);
    ::close(fd);
    return exclusive != 0;
}

struct Line {
    PtyPair far;
    TkSerial port{far.slavePath().c_str(), TkSerial::MODE_READ_WRITE};

    int send(std::string bytes) {
        return port.write_str(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    std::string receive(std::size_t size) {
        std::string bytes;
        char byte = 0;
        const auto deadline = Clock::now() + PtyPair::patience;
        while (bytes.size() < size && Clock::now() < deadline) {
            if (port.read_ch(&byte) == 1) {
                bytes += byte;
            }
        }
        return bytes;
    }
    termios state() {
        termios line = {};
        EXPECT_EQ(::tcgetattr(far.masterFd(), &line), 0);
        return line;
    }
};

struct Serial : testing::Test, Line {};

TEST(SerialOpen, TakesAPortForOneUser) {
    PtyPair far;
    const char *path = far.slavePath().c_str();
    const auto open = [=] { return std::make_unique<TkSerial>(path, TkSerial::MODE_READ_WRITE); };
    const auto opens = [=] { return open()->isOpen(); };
    auto first = open();
    EXPECT_FALSE(opens());
    EXPECT_EQ(inNewSession(opens), 0);
    EXPECT_EQ(inNewSession([&] { return first.reset(), 0; }), 0);
    EXPECT_TRUE(isTaken(path)) << "still, after the refused ones and the end of a forked copy";
    EXPECT_FALSE(opens());
    std::string sent(6000, 'x'); // more than the far end's own buffer: the rest waits in the kernel
    EXPECT_EQ(first->write_str(sent.data(), 6000), 6000);
    first.reset();
    EXPECT_FALSE(isTaken(path));
    EXPECT_TRUE(opens());
    EXPECT_EQ(far.read(6000), sent) << "the end of the port took back what had been sent";

    // The mark of an owner that was killed stays here, and stops only those whom it always stops.
    EXPECT_EQ(inNewSession([&] { return (first = open())->isOpen(); }), 1);
    const int other = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    EXPECT_EQ(opens(), other >= 0);
    ::close(other);
}

TEST(SerialOpen, PortThatIsNoneFailsEverywhere) {
    char byte = '?';
    for (const char *name : {"/dev/null", "/nowhere", static_cast<const char *>(nullptr)}) {
        TkSerial port(name, TkSerial::MODE_READ_WRITE);
        EXPECT_STREQ(port.getDevice(), name ? name : "");
        EXPECT_FALSE(port.isOpen());
        EXPECT_EQ(port.read_ch(&byte) + port.write_ch('x') + port.write_str(&byte, 1), -3);
        EXPECT_FALSE(port.setBaudRate(9600) || port.setCharSize(7) || port.setFlowControl(true));
        EXPECT_EQ(port.getBaudRate(), 19200);
        EXPECT_FALSE(port.isTransmitBufferEmpty() || port.isReceiveBufferEmpty());
    }
}

TEST(SerialOpen, ModeLimitsTheDirections) {
    PtyPair far;
    char byte = '?';
    for (int mode : {0, 1, 2, 77}) {
        TkSerial port(far.slavePath().c_str(), static_cast<TkSerial::MODE_FLAGS>(mode));
        EXPECT_EQ(port.read_ch(&byte), mode == TkSerial::MODE_WRITE ? -1 : 0);
        EXPECT_EQ(port.write_ch('x'), mode == TkSerial::MODE_READ ? -1 : 1);
    }
}

TEST(SerialOpen, NamesStandForDevices) {
    EXPECT_STREQ(TkSerial::getCommName(TkSerial::COM10), "COM10");
    EXPECT_EQ(TkSerial::getCommName(static_cast<TkSerial::COM_PORTS>(10)), nullptr);
    EXPECT_TRUE(!TkSerial::getCommName(0) && !TkSerial::getCommName(11));
    for (const char *name : {"COM0", "COM11", "COM01", "com1", ""}) {
        EXPECT_FALSE(tkMapSerialPort(name, "/dev/null") || tkMapSerialPort(nullptr, name));
    }
    PtyPair far;
    EXPECT_TRUE(tkMapSerialPort("COM10", far.slavePath().c_str()));
    TkSerial port(TkSerial::getCommName(10), TkSerial::MODE_READ_WRITE);
    EXPECT_STREQ(port.getDevice(), "COM10");
    EXPECT_TRUE(port.write_ch('x') == 1 && far.read(1) == "x");
    EXPECT_TRUE(tkMapSerialPort("COM10", nullptr));
}

TEST_F(Serial, CarriesEveryValueBothWays) {
    std::string values;
    for (int i = 0; i < 5000; ++i) { // more than one fetch
        values += static_cast<char>(i);
    }
    EXPECT_EQ(send(values), 5000);
    EXPECT_EQ(far.read(5000), values);
    EXPECT_TRUE(far.write(values));
    EXPECT_EQ(receive(5000), values);
    EXPECT_EQ(far.read(1, 0ms), "") << "an echo";

    const std::string block(300000, 'x'); // more than the line holds
    std::string got;
    std::thread reader([&] { got = far.read(block.size()); });
    EXPECT_EQ(send(block), 300000);
    reader.join();
    EXPECT_EQ(got, block);
}

TEST_F(Serial, EmptyQueuesAndNothingToDo) {
    char byte = '?';
    for (bool blocking : {false, true}) {
        EXPECT_TRUE(port.enableBlocking(blocking));
        EXPECT_EQ(port.read_ch(&byte), 0);
        EXPECT_EQ(byte, '?');
    }
    EXPECT_TRUE(port.write_str(nullptr, 5) == 0 && port.write_str(&byte, 0) == 0);
    EXPECT_TRUE(port.isTransmitBufferEmpty() && port.isReceiveBufferEmpty());

    far.write("AB");
    EXPECT_EQ(receive(1), "A");
    EXPECT_FALSE(port.isReceiveBufferEmpty()) << "B has been fetched, but not read";
    EXPECT_EQ(receive(1), "B");
    EXPECT_TRUE(port.isReceiveBufferEmpty());
}

/// Builds its blocks from bytes.
struct BytewiseSerial : TkSerial {
    using TkSerial::TkSerial;
    int write_str(char *bytes, unsigned int length) override {
        return length == 0 ? 0 : write_ch(*bytes) + write_str(bytes + 1, length - 1);
    }
};

TEST(SerialDerived, MayBuildOneWriteOnTheOther) {
    PtyPair far;
    BytewiseSerial port(far.slavePath().c_str(), TkSerial::MODE_READ_WRITE);
    char bytes[] = "ABC";
    EXPECT_EQ(port.write_str(bytes, 3), 3);
    EXPECT_EQ(far.read(3), "ABC");
}

/// How many operations go on as if nothing had happened once the far end is gone.
int survivorsOfVanishedLine() {
    Line line;
    TkSerial &port = line.port;
    char byte = '?';
    line.far.write("AB");
    int survivors = line.receive(1) != "A";
    line.far.close();
    survivors += port.read_ch(&byte) != 1 || byte != 'B'; // it had been fetched before
    survivors += port.read_ch(&byte) != -1;
    survivors += port.write_ch('x') != -1 || line.send("frame") != -1;
    survivors += port.setBaudRate(9600) || port.getBaudRate() != 19200;
    survivors += port.setFlag(TkSerial::FLAG_DTR) || port.getFlag(TkSerial::FLAG_CTS) != -1;
    survivors += port.isTransmitBufferEmpty() || port.isReceiveBufferEmpty();
    port.finishTransmitting();
    return survivors;
}

TEST(SerialFailure, VanishedLineFailsWithoutSignalOrHang) {
    EXPECT_EQ(inNewSession(survivorsOfVanishedLine), 0);
}

TEST_F(Serial, StuckLineEndsTheWrite) {
    // Signals that interrupt the wait neither end it early nor stretch it.
    const auto before = std::signal(SIGALRM, [](int) {});
    ::ualarm(10000, 10000);
    const std::clock_t busy = std::clock();
    for (const auto &[rate, limit] : {std::pair(19200, 750ms), std::pair(2400, 1066ms)}) {
        EXPECT_TRUE(port.setBaudRate(rate));
        const auto started = Clock::now();
        EXPECT_EQ(send(std::string(300000, 'o')), -1);
        EXPECT_GE(Clock::now() - started, limit);
        EXPECT_LT(Clock::now() - started, limit + 4s);
    }
    EXPECT_LT(std::clock() - busy, CLOCKS_PER_SEC / 2) << "it waits, but doesn't spin";
    ::ualarm(0, 0);
    std::signal(SIGALRM, before);

    // The far end wakes up: the rest of the old block doesn't come before the next frame.
    EXPECT_EQ(send("NEW"), 3);
    std::string got, byte;
    while (got.find("NEW") == std::string::npos && !(byte = far.read(1)).empty()) {
        got += byte;
    }
    EXPECT_TRUE(!byte.empty() && got.size() < 100000) << got.size();
}

TEST_F(Serial, SettingsReachTheLine) {
    EXPECT_TRUE(port.setXONXOFF(true));
    const termios start = state();
    EXPECT_EQ(::cfgetospeed(&start), static_cast<speed_t>(B19200));
    EXPECT_EQ(start.c_iflag, static_cast<tcflag_t>(IGNBRK)) << "no XON/XOFF, no translation";
    EXPECT_EQ(start.c_oflag | start.c_lflag, 0u);
    EXPECT_EQ(start.c_cflag & (CSTOPB | PARODD | CMSPAR | CRTSCTS), 0u);

    const std::pair<int, speed_t> rates[] = {{110, B110},     {300, B300},      {600, B600},
                                             {1200, B1200},   {2400, B2400},    {4800, B4800},
                                             {9600, B9600},   {19200, B19200},  {38400, B38400},
                                             {57600, B57600}, {115200, B115200}};
    for (const auto &[rate, code] : rates) {
        EXPECT_TRUE(port.setBaudRate(rate) && port.getBaudRate() == rate);
        const termios line = state();
        EXPECT_TRUE(::cfgetospeed(&line) == code && ::cfgetispeed(&line) == code) << rate;
    }
    // A pseudo terminal has no parity bit to switch on, but shows which one was asked for.
    const tcflag_t parities[] = {0, 0, PARODD, PARODD | CMSPAR, CMSPAR};
    for (int parity : {1, 2, 3, 4}) {
        EXPECT_TRUE(port.setParity(static_cast<TkSerial::PARITY_FLAGS>(parity)));
        EXPECT_EQ(port.getParity(), parity);
        EXPECT_EQ(state().c_cflag & (PARODD | CMSPAR), parities[parity]);
    }
    EXPECT_TRUE(port.setStopBits(2) && port.setFlowControl(true) && port.setCharSize(7));
    EXPECT_TRUE(port.getStopBits() == 2 && port.getFlowControl() && port.getCharSize() == 7);
    EXPECT_EQ(state().c_cflag & (CSTOPB | CRTSCTS), static_cast<tcflag_t>(CSTOPB | CRTSCTS));
}

TEST_F(Serial, RefusedSettingsChangeNothing) {
    const termios before = state();
    for (int value : {-1, 5, 50, 14400, 230400}) {
        EXPECT_FALSE(port.setBaudRate(value));
        EXPECT_FALSE(port.setParity(static_cast<TkSerial::PARITY_FLAGS>(value)));
    }
    EXPECT_FALSE(port.setBaudRate(0) || port.setStopBits(0) || port.setStopBits(3));
    EXPECT_FALSE(port.setCharSize(4) || port.setCharSize(9));
    EXPECT_TRUE(port.getBaudRate() == 19200 && port.getParity() == TkSerial::NO_PARITY);
    EXPECT_TRUE(port.getStopBits() == 1 && port.getCharSize() == 8);
    EXPECT_EQ(state().c_cflag, before.c_cflag);
    for (int line = 0; line <= 5; ++line) { // a pseudo terminal has no modem lines
        EXPECT_FALSE(port.setFlag(static_cast<TkSerial::SERIAL_FLAGS>(line)));
        EXPECT_EQ(port.getFlag(static_cast<TkSerial::SERIAL_FLAGS>(line)), -1);
    }
}

} // namespace
