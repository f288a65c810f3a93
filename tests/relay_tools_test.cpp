#include "support/process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Arguments = std::vector<std::string>;

/// How the programs are started, and what they tell of where they are.
struct RelayPrograms : testing::Test {
    static Process start(const char *program, Arguments arguments) {
        arguments.insert(arguments.begin(), program);
        return Process(arguments);
    }
    static Process relayAt(const std::string &port, Arguments arguments = {}) {
        arguments.insert(arguments.end(), {"--port", port});
        return start(TKGEN_RELAY_PATH, arguments);
    }
    static Process site(const std::string &device, const std::string &port) {
        return start(TKGEN_SITE_PATH, {device, "localhost:" + port, "-d", "Room\033 1"});
    }
    static Process console(const std::string &port, Arguments arguments = {}) {
        arguments.insert(arguments.end(), {"--relay", "localhost:" + port});
        return start(TKGEN_CONSOLE_PATH, arguments);
    }
    static std::string lastWord(Process &program, const std::string &line) {
        const std::string found = program.readUntil(line).value_or(" none");
        return found.substr(found.rfind(' ') + 1);
    }
    static std::string portOf(Process &relay) { return lastWord(relay, "listening at port "); }
};

/// Shuts the listening socket of another process. False when the system doesn't let us.
bool breakListener(const std::string &pid) {
    bool broken = false;
    const auto process = static_cast<int>(::syscall(SYS_pidfd_open, std::stoi(pid), 0));
    for (int number = 0; number < 32; ++number) {
        const auto copy = static_cast<int>(::syscall(SYS_pidfd_getfd, process, number, 0));
        int listens = 0;
        socklen_t size = sizeof listens;
        ::getsockopt(copy, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size);
        broken = broken || (listens != 0 && ::shutdown(copy, SHUT_RDWR) == 0);
        ::close(copy);
    }
    ::close(process);
    return broken;
}

TEST_F(RelayPrograms, CarryAConversationUntilTheSiteLeavesAndTheRelayEnds) {
    Process generator({TKGEN_SIM_PATH}), relay = relayAt("0", {"--allow", "127.0.0.1"});
    const std::string device = lastWord(generator, "device "), port = portOf(relay);
    Process first = site(device, port);
    EXPECT_TRUE(relay.readUntil("127.0.0.1 is 'Room. 1'"));
    Process caller = console(port, {"--refresh", "--keep-going"});
    EXPECT_EQ(caller.readLine(), "note    site 127.0.0.1  Room. 1");
    caller.writeLine("wait back 20\nset KV 200\nrecord calibration 1");
    EXPECT_TRUE(caller.readUntil("value   multiSpot_Comp", Process::Limit(20000)));
    EXPECT_EQ(console(port).wait(), 3) << "the site is taken";
    EXPECT_EQ(console(port, {"--site", "127.0.0.9"}).wait(), 3);

    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_TRUE(caller.readUntil("lost    the site has left"));
    Process second = site(device, port);
    EXPECT_TRUE(relay.readUntil("127.0.0.1 is 'Room. 1'"));
    relay.signal(SIGTERM);
    EXPECT_EQ(relay.wait(), 0);
    EXPECT_EQ(caller.wait(), 3);

    Process later = relayAt(port);
    EXPECT_TRUE(later.readUntil("127.0.0.1 is 'Room. 1'", Process::Limit(20000)));
    Process again = console(port);
    again.writeLine("query KV");
    EXPECT_TRUE(again.readUntil("answer  KV     150 kV"));
    generator.writeLine("unplug");
    EXPECT_EQ(second.wait(), 3);
}

TEST_F(RelayPrograms, StartTheServerAnewWhenItHasFailed) {
    Process shell({"/bin/sh", "-c", "echo $$; exec " TKGEN_RELAY_PATH " --port 0"});
    const std::string pid = shell.readLine().value(), port = portOf(shell);
    for (const char *pause : {"in 100 ms", "in 200 ms"}) {
        bool failed = false; // a listener that has yet to begin to wait mends what was broken
        for (int i = 0; i < 20 && !failed; ++i) {
            if (!breakListener(pid) && i == 0) {
                GTEST_SKIP() << "this system lets nobody break another program's socket";
            }
            failed = shell.readUntil(pause, Process::Limit(250)).has_value();
        }
        EXPECT_TRUE(failed && portOf(shell) == port) << pause;
    }
    Process generator({TKGEN_SIM_PATH}), served = site(lastWord(generator, "device "), port);
    EXPECT_TRUE(shell.readUntil("client 127.0.0.1 has logged on"));
}

TEST_F(RelayPrograms, TurnStrangersAwayAndSayByTheExitCodeHowTheyEnded) {
    Process relay = relayAt("0", {"--bind", "localhost", "--allow", "127.0.0.2"});
    const std::string port = portOf(relay);
    EXPECT_EQ(console(port).wait(), 3);
    EXPECT_TRUE(relay.readUntil("127.0.0.1 is turned away"));
    EXPECT_EQ(relayAt(port, {"--bind", "127.0.0.1"}).wait(), 3) << "the port is taken";
    EXPECT_EQ(relayAt("0", {"--bind", "no host"}).wait(), 2);
    EXPECT_EQ(site("/dev/null", "1").wait(), 3);
    EXPECT_EQ(console("none").wait(), 2);
}

} // namespace
