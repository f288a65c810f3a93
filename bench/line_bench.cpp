// A file over a serial line of 9600, 57600 and 115200 baud, sent and received by this library and
// by `sz -o` and `rz` in turn. The line is the one of paced_line.h; each program on it is a process
// of its own. For each rate the four pairs run one after another:
//
//   sz      rz        the reference
//   tkgen   rz        TkZModem_Send
//   sz      tkgen     TkZModem_Receive
//   tkgen   tkgen     both
//
// A run lasts from the start of the sender, with the receiver ready, until both have ended. `line`
// is the file's bytes against the most that the rate can carry, `busy` the part of the time in
// which bytes of the sender were on the line; what is missing there, the sender was late with. The
// columns `cpu` are processor time, in percent of the time that a program ran. `queue` is the most
// that waited at the sender's side: sz writes its blocks faster than it can be held. A ratio is
// bytes a second against those of the reference.
//
// Look at: the ratios, at least 1; cpu of tkgen, below 10; lost, always 0.
//
// line_bench [scale] runs for 12 s each, times the scale. It ends with 1 at once when a file didn't
// arrive as it was sent, a program failed, or an end lost bytes.

#include "paced_line.h"
#include "tk.h"
#include "tkdispatchers.h"
#include "tkzmodem_receive.h"
#include "tkzmodem_send.h"

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;
using Seconds = std::chrono::duration<double>;

// --- Processes on the line -----------------------------------------------------------------------

/// A process that runs `body` and ends with its result. The destructor kills one that still runs.
class Child {
  public:
    template <class Body>
    explicit Child(Body body) : m_Start(Clock::now()), m_Pid(::fork()) {
        if (m_Pid < 0) {
            throw std::system_error(errno, std::generic_category(), "no process");
        }
        if (m_Pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::_exit(body());
        }
    }
    ~Child() {
        if (!m_bEnded) {
            ::kill(m_Pid, SIGKILL);
            ::waitpid(m_Pid, nullptr, 0);
        }
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    bool ended() {
        rusage usage{};
        if (!m_bEnded && ::wait4(m_Pid, &m_nStatus, WNOHANG, &usage) == m_Pid) {
            const auto seconds = [](const timeval &time) {
                return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
            };
            const double used = seconds(usage.ru_utime) + seconds(usage.ru_stime);
            m_dPercent = 100 * used / Seconds(Clock::now() - m_Start).count();
            m_bEnded = true;
        }
        return m_bEnded;
    }

    bool succeeded() const {
        return m_bEnded && WIFEXITED(m_nStatus) && WEXITSTATUS(m_nStatus) == 0;
    }
    double processorPercent() const { return m_dPercent; }

  private:
    const Clock::time_point m_Start;
    const pid_t m_Pid;
    int m_nStatus = 0;
    double m_dPercent = 0;
    bool m_bEnded = false;
};

/// Makes tcflush of both directions do nothing. Before sz and rz end they wait until their last
/// bytes have gone, which a pseudo terminal doesn't do, and flush then: on a port that drops
/// nothing, here it would at times drop the good-bye, for which the other end waits up to 30 s.
bool keepWhatIsSent() {
    constexpr unsigned int number = offsetof(seccomp_data, nr);
    constexpr unsigned int request = offsetof(seccomp_data, args[1]); // low half, little endian
    constexpr unsigned int argument = offsetof(seccomp_data, args[2]);
    sock_filter code[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 5),
                          BPF_STMT(BPF_LD | BPF_W | BPF_ABS, request),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCFLSH, 0, 3),
                          BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TCIOFLUSH, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | 0),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter{static_cast<unsigned short>(std::size(code)), code};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// Becomes a program with the end of the line as its standard input and output.
int become(const PacedEnd &end, const fs::path &directory, const char *program,
           const char *argument, const char *file) {
    const int line = ::open(end.path().c_str(), O_RDWR | O_NOCTTY);
    if (line < 0 || ::dup2(line, STDIN_FILENO) < 0 || ::dup2(line, STDOUT_FILENO) < 0 ||
        ::chdir(directory.c_str()) != 0 || !keepWhatIsSent()) {
        return 126;
    }
    ::execlp(program, program, "-b", "-q", argument, file, nullptr);
    return 127;
}

class CompletionCount : public TkZModemDispatcher {
  public:
    CompletionCount() { Tk::addDispatcher(this); }
    ~CompletionCount() override { Tk::removeDispatcher(this); }
    CompletionCount(const CompletionCount &) = delete;
    CompletionCount &operator=(const CompletionCount &) = delete;

    int count() const { return m_nCount; }

  private:
    void transfer_complete() override { ++m_nCount; }

    std::atomic<int> m_nCount{0};
};

/// Waits as an application does, and gives the exit code.
int runTransfer(TkZModem &transfer) {
    const CompletionCount completions;
    transfer.start();
    while (transfer.isTransferComplete()) {
        TkThread::tksleep(1);
    }
    return completions.count() == 1 ? 0 : 1;
}

// --- One run -------------------------------------------------------------------------------------

enum class Program { reference, tkgen };

struct Rate {
    int baud;
    speed_t code;
};

struct Pair {
    const char *sender;
    const char *receiver;
    Program sends;
    Program receives;
};

constexpr Pair pairs[] = {
    {"sz", "rz", Program::reference, Program::reference},
    {"tkgen", "rz", Program::tkgen, Program::reference},
    {"sz", "tkgen", Program::reference, Program::tkgen},
    {"tkgen", "tkgen", Program::tkgen, Program::tkgen},
};

/// The two directories of a run, the file in the first, and what it holds; removed at the end.
class Files {
  public:
    Files() {
        std::string root = (fs::temp_directory_path() / "line_bench.XXXXXX").string();
        if (::mkdtemp(root.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), root);
        }
        m_Root = root;
    }
    ~Files() {
        std::error_code ignored;
        fs::remove_all(m_Root, ignored);
    }
    Files(const Files &) = delete;
    Files &operator=(const Files &) = delete;

    fs::path from() const { return m_Root / "from"; }
    fs::path to() const { return m_Root / "to"; }
    fs::path sent() const { return from() / name; }
    std::size_t size() const { return m_Content.size(); }

    /// A new file of random bytes, and nothing in the other directory.
    void make(std::size_t size) {
        fs::remove_all(from());
        fs::remove_all(to());
        fs::create_directory(from());
        fs::create_directory(to());
        std::minstd_rand random(static_cast<unsigned int>(size));
        m_Content.resize(size);
        for (char &byte : m_Content) {
            byte = static_cast<char>(random() >> 8U);
        }
        std::ofstream(sent(), std::ios::binary) << m_Content;
    }

    bool arrived() const {
        std::ifstream file(to() / name, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        return content == m_Content;
    }

    static constexpr const char *name = "file.bin";

  private:
    fs::path m_Root;
    std::string m_Content;
};

int sendFile(const PacedLine &line, Program program, const Files &files) {
    if (program == Program::reference) {
        return become(line.left(), files.from(), "sz", "-o", Files::name);
    }
    PacedSerial link(line.left(), line.rightward(), line.byteTime());
    TkZModem_Send transfer(files.sent().c_str(), &link);
    return runTransfer(transfer);
}

int receiveFile(const PacedLine &line, Program program, const Files &files) {
    if (program == Program::reference) {
        return become(line.right(), files.to(), "rz", "-y", nullptr);
    }
    PacedSerial link(line.right(), line.leftward(), line.byteTime());
    TkZModem_Receive transfer((files.to().string() + "/").c_str(), &link);
    return runTransfer(transfer);
}

/// Prints a run's figures and returns bytes a second; throws when it failed, and its figures mean
/// nothing.
double report(const Rate &rate, const Pair &pair, const Files &files, const PacedLine &line,
              const Child &sender, const Child &receiver, Seconds taken) {
    const double speed = static_cast<double>(files.size()) / taken.count();
    const bool good = sender.succeeded() && receiver.succeeded() && files.arrived() &&
                      line.rightward().lost() == 0 && line.leftward().lost() == 0;
    const std::size_t lost = line.rightward().lost() + line.leftward().lost();
    if (!good) {
        throw std::runtime_error(
            std::string(pair.sender) + " to " + pair.receiver + " at " + std::to_string(rate.baud) +
            " baud: " + (files.arrived() ? "the file is equal" : "the file is not equal") + ", " +
            std::to_string(lost) + " bytes lost, sender " +
            (sender.succeeded() ? "done" : "failed") + ", receiver " +
            (receiver.succeeded() ? "done" : "failed"));
    }
    std::printf("%6d  %-6s  %-6s %8.2f %9.0f %6.1f %6.1f %8.1f %8.1f %6zu %5zu  equal\n", rate.baud,
                pair.sender, pair.receiver, taken.count(), speed, 1000 * speed / rate.baud,
                100 * line.rightward().busy() / taken, sender.processorPercent(),
                receiver.processorPercent(), line.rightward().longestQueue(), lost);
    std::fflush(stdout);
    return speed;
}

double run(const Rate &rate, const Pair &pair, const Files &files, Seconds usual) {
    PacedLine line(rate.baud, rate.code);
    Child receiver([&] { return receiveFile(line, pair.receives, files); });
    const Clock::time_point begin = Clock::now();
    while (!line.leftward().used()) { // its first words: it is ready
        if (receiver.ended() || Clock::now() - begin > std::chrono::seconds(10)) {
            throw std::runtime_error(std::string(pair.receiver) + " doesn't receive");
        }
        line.step();
    }
    const Clock::time_point start = Clock::now();
    const Clock::time_point limit =
        start + std::chrono::duration_cast<Clock::duration>(3 * usual + std::chrono::seconds(30));
    Child sender([&] { return sendFile(line, pair.sends, files); });
    for (bool both = false; !both && Clock::now() < limit;) {
        line.step();
        const bool one = sender.ended();
        both = receiver.ended() && one;
        if ((one && !sender.succeeded()) || (receiver.ended() && !receiver.succeeded())) {
            break;
        }
    }
    return report(rate, pair, files, line, sender, receiver, Clock::now() - start);
}

void runAll(const Rate &rate, Seconds usual, Files &files) {
    const std::size_t size = static_cast<std::size_t>(rate.baud / 10.0 * usual.count()) | 1U;
    double reference = 0;
    std::string ratios;
    for (const Pair &pair : pairs) {
        files.make(size);
        const double speed = run(rate, pair, files, usual);
        if (reference == 0) {
            reference = speed;
            continue;
        }
        char text[64];
        std::snprintf(text, sizeof text, "  %s-%s %.3f", pair.sender, pair.receiver,
                      speed / reference);
        ratios += text;
    }
    std::printf("%6d  ratio to sz-rz:%s\n\n", rate.baud, ratios.c_str());
}

void measure(double scale) {
    constexpr Rate rates[] = {{9600, B9600}, {57600, B57600}, {115200, B115200}};
    Files files;
    std::printf("  baud  sends   receives seconds   bytes/s  line%%  busy%%  cpu%%send cpu%%recv"
                "  queue  lost  file\n");
    for (const Rate &rate : rates) {
        runAll(rate, Seconds(12 * scale), files);
    }
}

} // namespace

int main(int count, char **arguments) {
    const double scale = count > 1 ? std::atof(arguments[1]) : 1;
    if (count > 2 || scale <= 0) {
        std::fprintf(stderr, "usage: line_bench [scale]\n");
        return 2;
    }
    try {
        measure(scale);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "line_bench: %s\n", error.what());
        return 1;
    }
}
