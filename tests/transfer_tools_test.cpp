#include "support/process.h"
#include "support/pty.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <termios.h>

namespace {

namespace fs = std::filesystem;

const std::string sender = "exec " TKGEN_SEND_PATH " ";
const std::string receiver = "exec " TKGEN_RECEIVE_PATH " ";

/// A file, a directory to receive it in, and two pipes to join the programs by.
struct TransferPrograms : testing::Test {
    const fs::path root = testing::TempDir() + "transfer" + std::to_string(::getpid());
    const std::string name = "a\033[1m\n\302\233\303\261"; // the last two are one character
    const std::string file = "'" + (root / name).string() + "'", to = (root / "to").string();

    TransferPrograms() {
        fs::create_directories(to);
        run("", "mkfifo there back").wait();
    }
    ~TransferPrograms() override { fs::remove_all(root); }

    void write(std::size_t size) const { std::ofstream(root / name) << std::string(size, '\030'); }

    /// Starts a command between two ends; what is read of it are its errors.
    Process run(const std::string &ends, const std::string &command) const {
        return Process(
            {"/bin/sh", "-c", "cd " + root.string() + "; exec 2>&1 " + ends + "; " + command});
    }
    Process sending(const std::string &command) const { return run("<back >there", command); }
    Process receiving(const std::string &command) const { return run(">back <there", command); }
};

// clang-format off
TEST_F(TransferPrograms, TransferOrSayWhyNot) {
    write(50000);
    const std::string details = " a.[1m...\303\261, 50000 bytes, ";
    const std::string cancelled = "tkgen-send: the far end cancelled the transfer";
    const struct { std::string from, into, told, toldByReceiver; int code = 0; } cases[] = {
        {sender + file, receiver + to, "sent" + details, "received" + details},
        {sender + "-q " + file, "cd to; exec rz -qy", "-", ""},
        {"exec sz -qo " + file, receiver + "to/", "-", "received" + details},
        {sender + file, receiver + "/proc", cancelled, "tkgen-receive: can't write /proc/a.[", 1},
        {sender + file, "ulimit -f 20; " + receiver + to, cancelled, "tkgen-receive: can't wr", 1}};
    for (const auto &each : cases) {
        fs::remove(to + "/" + name);
        Process from = sending(each.from), into = receiving(each.into);
        EXPECT_EQ(from.wait(), each.code);
        EXPECT_EQ(into.wait(), each.code);
        EXPECT_EQ(from.readLine().value_or("-").rfind(each.told, 0), 0U) << each.into;
        EXPECT_EQ(into.readLine().value_or("-").rfind(each.toldByReceiver, 0), 0U) << each.into;
        EXPECT_EQ(run("", "cmp -s " + file + " to/*").wait() == 0, each.code == 0);
    }
}

TEST_F(TransferPrograms, EndAtASignalAndTellTheFarEnd) {
    write(20000000);
    const struct { int number; bool toSender; int from, into; const char *told; } cases[] = {
        {SIGINT, true, 1, 1, "tkgen-receive: the far end cancelled the transfer"},
        {SIGHUP, false, 1, 1, "tkgen-receive: cancelled"},
        {SIGKILL, true, 128 + SIGKILL, 3, "tkgen-receive: standard input has ended"}};
    for (const auto &each : cases) {
        fs::remove(to + "/" + name);
        Process from = sending(sender + file), into = receiving(receiver + to);
        for (int i = 0; fs::is_empty(to) && i < 1000; ++i) {
            into.wait(Process::Limit(5));
        }
        (each.toSender ? from : into).signal(each.number);
        EXPECT_EQ(from.wait(), each.from) << each.number;
        EXPECT_EQ(into.wait(), each.into) << each.number;
        EXPECT_EQ(into.readLine(), each.told);
    }
}

TEST_F(TransferPrograms, TellUsageAndDeviceByTheExitCodeAndLeaveATerminalAsItWas) {
    PtyPair line, terminal;
    Process served = run("</dev/null", receiver + "-d " + line.slavePath() + " to");
    EXPECT_EQ(line.read(8), "**\030B0100");
    line.close();
    EXPECT_EQ(served.wait(), 3);
    Process typed = run("<>" + terminal.slavePath() + " >&0", receiver + to);
    EXPECT_EQ(terminal.read(8), "**\030B0100");
    termios after{};
    typed.signal(SIGTERM);
    EXPECT_EQ(typed.wait(), 1);
    ::tcgetattr(terminal.masterFd(), &after);
    EXPECT_EQ(after.c_lflag & (ICANON | ECHO), static_cast<tcflag_t>(ICANON | ECHO));
    EXPECT_EQ(terminal.read(23).substr(13), std::string(10, '\030')); // no CR put in
    for (const auto &[command, code] :
         {std::pair{sender + "to", 2}, {sender + "none", 2}, {receiver + "none", 2},
          {receiver + "-b 9600 to", 2}, {receiver + "to", 3}, {receiver + "-d /dev/null to", 3}}) {
        EXPECT_EQ(run("</dev/null >&2", command).wait(), code) << command;
    }
}

} // namespace
