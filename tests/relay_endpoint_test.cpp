#include "support/dispatcher.h"
#include "support/generator.h"
#include "tkbinary_receptors.h"
#include "tkclientimp.h"
#include "tkcontrolimp.h"
#include "tkrecordwalk.h"
#include "tkserverimp.h"

#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

std::string command(const std::string &text) {
    return "SYNC\xFF\x0A\x7D\x04" + text + '\x03';
}

template <class Kind>
struct Open : Kind {
    ~Open() override { this->endSession(); }
    bool isOpen() override { return this->isSocketValid(); }
};

std::string received(TkComms &link) {
    char byte = 0;
    return link.read_ch(&byte) == 1 ? byte + received(link) : "";
}

/// Stories of both kinds, control or not, with a server that says what it is told to.
class Endpoint : public testing::TestWithParam<bool> {
  protected:
    Endpoint() {
        GetParam() ? endpoint.reset(new Open<TkControlImp>) : endpoint.reset(new Open<TkClientImp>);
        const timeval limit{10, 0}; // its connections have it too
        ::setsockopt(listening, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        ::listen(listening, 5); // where the system likes
    }
    ~Endpoint() override {
        ::close(peer);
        ::close(listening);
    }
    bool comes() { return endpoint->logon("127.0.0.1", tkplatform::ownPort(unsigned(listening))); }
    bool isWelcome() {
        ::close(peer);
        peer = ::accept(listening, nullptr, nullptr);
        const std::string asked = command(GetParam() ? "ZOR_CONTROL" : "ZOR_CLIENT");
        return hear(asked.size()) == asked && ::send(peer, command("ZOR_SERVER").data(), 19, 0) &&
               eventually([&] { return endpoint->isLogon(); });
    }
    /// The next bytes; fewer at the end of the stream.
    std::string hear(std::size_t size) const {
        std::string heard(size, '\0');
        const ssize_t count = ::recv(peer, heard.data(), size, MSG_WAITALL);
        return heard.substr(0, std::size_t(std::max<ssize_t>(count, 0)));
    }
    /// Waits for an event after saying something.
    bool tells(const std::string &said, const std::string &event) {
        ::send(peer, said.data(), said.size(), MSG_NOSIGNAL);
        return eventually([&] {
            const auto told = dispatcher.events();
            const std::string last = told.empty() ? "" : told.back().substr(GetParam() ? 14 : 13);
            return last.substr(0, last.find('=')) == event;
        });
    }
    bool exchange(const std::string &heard, const std::string &said, const std::string &event) {
        return (heard.empty() || hear(heard.size() + 9) == command(heard)) &&
               tells(command(said), event);
    }

    SettableClock clock;
    const int listening = ::socket(AF_INET, SOCK_STREAM, 0);
    int peer = -1;
    std::function<void(const std::string &)> hook; // set before events come
    RelayRecorder dispatcher{[this](const std::string &event) { hook ? hook(event) : void(); }};
    Registered registered{dispatcher};
    std::unique_ptr<TkRelayEndpoint> endpoint;
};
INSTANTIATE_TEST_SUITE_P(Relay, Endpoint, testing::Bool());

TEST_P(Endpoint, LooksRoundMeetsAPartnerAndLeaves) {
    auto *const control = dynamic_cast<TkControlImp *>(endpoint.get());
    SITEINFO site{};
    char text[5] = "?";
    EXPECT_TRUE(comes() && isWelcome() && tells("", "Logon") && comes());
    EXPECT_FALSE(endpoint->message("too early"));
    EXPECT_TRUE(endpoint->sendDescription("X") && !endpoint->transmitCmd("an\x03within"));
    EXPECT_TRUE(exchange("DESCRIPTION->X", "SITEDOWN:1", "Site_Down") && endpoint->browse());
    EXPECT_TRUE(
        exchange(control ? "ENUMERATE_CLIENT" : "ENUMERATE_CONTROL", "1.2:A:B", "Addr_Ready"));
    endpoint->getSiteAddress(&site);
    EXPECT_EQ(site.address + std::string("+") + site.description, "1.2+A:B");
    EXPECT_TRUE(!control || (control->connect("10.7") && control->isConnecting()));
    EXPECT_TRUE(control ? exchange("CONNECT->10.7", "ESTABLISHED", "Connected")
                        : exchange("", "CONNECT<-10.7", "Connect"));
    endpoint->getPartnerAddress(text, sizeof text);
    EXPECT_STREQ(text, "10.7");
    for (const char *message : {"1234", "12345"}) {
        EXPECT_TRUE(endpoint->message("X"));
        EXPECT_TRUE(exchange("MESSAGE:X", std::string("MESSAGE:") + message, "Message"));
        endpoint->getReceivedMessage(text, sizeof text);
        EXPECT_STREQ(text, message[4] == '\0' ? message : "") << "where there is room";
    }
    clock.advance(2000);
    EXPECT_TRUE(control ? exchange("HELLO", "SITEDOWN:", "Site_Down")
                        : exchange("HELLO", "DISC", "Disconnect"));
    EXPECT_TRUE(!control || control->connect("10.8")); // which ends the pair at the server
    EXPECT_TRUE(!control ||
                (exchange("CONNECT->10.8", "REJECTED", "Rejected") && !control->isConnecting()));
    EXPECT_FALSE(endpoint->isConnected());
    endpoint->getPartnerAddress(text, sizeof text);
    EXPECT_STREQ(text, "");
    endpoint->logoff();
    EXPECT_EQ(hear(99), command("LOGOFF")) << "and the end";
    endpoint->setStatus(control ? 32 : 16, 0); // all the same nothing is left
    EXPECT_TRUE(!endpoint->browse() && !endpoint->isEnumerating() && !endpoint->message("X"));
    EXPECT_TRUE(!control || (!control->connect("10.9") && !control->isConnecting()));
    endpoint->getPartnerAddress(text, sizeof text);
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(tells("", "Failed") && comes() && !endpoint->isConnected());
}

TEST_P(Endpoint, NothingGoesBeforeTheLogon) {
    std::atomic<bool> through{false};
    std::thread writer([&] {
        while (!through) {
            endpoint->write_ch('S'); // as a marker begins
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(comes() && isWelcome());
        endpoint->logoff();
    }
    through = true;
    writer.join();
}

TEST_P(Endpoint, HandsOnWholeMessages) {
    const std::string record("\x01\x06\x00\x02\x03\x04\x05", 7);
    std::string burst;
    while (burst.size() < 1020) {
        burst += frame("KV070");
    }
    const std::pair<std::string, std::string> rows[] = {
        {frame("KV070").substr(0, 6), ""},
        {frame("KV070").substr(6) + record.substr(0, 6), frame("KV070")},
        {record.substr(6) + command("MESSAGE:") + frame("MA1"), record + frame("MA1")},
        {burst, burst},
        {"\x06", "\x06"}, // a record's whole answer
        {frame("KV070") + "\x15", frame("KV070") + "\x15"},
        {"SYNC\xFF" + frame("X1"), "SYNC\xFF" + frame("X1")},
    };
    std::atomic<int> failures{0};
    hook = [&](const std::string &event) { failures += event.find("Failed") < 20 ? 1 : 0; };
    EXPECT_TRUE(comes() && isWelcome());
    for (const auto &[sent, read] : rows) {
        // Two commands are two rounds of the thread: behind the first it looks at the data.
        EXPECT_TRUE(tells(sent + command("MESSAGE:") + command("SITEDOWN:"), "Site_Down"));
        EXPECT_EQ(received(*endpoint), read);
    }
    EXPECT_TRUE(tells(burst, "Data_Ready"));
    ::send(peer, burst.data(), burst.size(), MSG_NOSIGNAL); // nobody has read the last one
    EXPECT_TRUE(eventually([&] { return comes() && endpoint->isLogging(); }));
    EXPECT_EQ(failures, GetParam() ? 1 : 0);
    EXPECT_EQ(received(*endpoint), "") << "of the last connection";
}

TEST_P(Endpoint, NeitherPartnerNorConnectionHearsOfTheLast) {
    auto *const control = dynamic_cast<TkControlImp *>(endpoint.get());
    const auto meets = [&](const char *address) {
        return control ? control->connect(address) && exchange(std::string("CONNECT->") + address,
                                                               "ESTABLISHED", "Connected")
                       : exchange("", std::string("CONNECT<-") + address, "Connect");
    };
    EXPECT_TRUE(comes() && isWelcome() && meets("1.1.1.1"));
    EXPECT_TRUE(tells(frame("MA1"), "Data_Ready")); // unread
    EXPECT_TRUE(tells("\x01\x06\xFF\xFF" + command("DISCONNECT"), "Disconnect"));
    EXPECT_TRUE(meets("2.2.2.2"));
    EXPECT_TRUE(tells(frame("KV070") + command("MESSAGE:") + command("SITEDOWN:"), "Site_Down"));
    EXPECT_EQ(received(*endpoint), frame("KV070"));

    std::string much(20000000, 'c');
    std::thread sender([&] { EXPECT_EQ(endpoint->write_str(much.data(), 20000000), -1); });
    EXPECT_EQ(hear(1), "c"); // it is at it, and the relay takes no more
    EXPECT_TRUE(exchange("", "LOGOFF", "Server_Down") && !endpoint->isConnected());
    char text[9] = "?";
    endpoint->getPartnerAddress(text, sizeof text);
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(comes() && isWelcome());
    sender.join();
}

TEST(ClientSocket, HoldsBackUntilNothingHasFollowed) {
    SettableClock clock;
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    TkClientSocket socket{unsigned(ends[0])};
    const std::string whole = command("HELLO");
    for (const bool follows : {true, false}) {
        EXPECT_EQ(::send(ends[1], whole.data(), 4, 0), 4);
        EXPECT_TRUE(socket.polling());
        clock.advance(600); // the thread was held up
        if (follows) {
            EXPECT_EQ(::send(ends[1], whole.data() + 4, 10, 0), 10);
        }
        EXPECT_TRUE(socket.polling());
        char text[9] = {};
        int length = sizeof text;
        EXPECT_EQ(socket.isCmdReady(), follows);
        socket.getReceivedCmd(text, &length);
        EXPECT_STREQ(text, follows ? "HELLO" : "");
    }
    ::close(ends[1]);
}

TEST_P(Endpoint, ComesAgainAfterEveryEndFromItsOwnCallback) {
    std::atomic<bool> gone{false};
    hook = [&](const std::string &event) {
        const auto is = [&](const char *name) { return event.find(name) != std::string::npos; };
        if (is("Message")) {
            endpoint->logoff();
        }
        if (is("Message") || is("Server_Down") || is("Failed")) {
            EXPECT_TRUE(comes());
        }
        if (is("Site_Down")) {
            endpoint.reset();
            gone = true;
        }
    };
    EXPECT_TRUE(comes() && isWelcome() && tells(command("LOGOFF"), "Logging") && isWelcome());
    EXPECT_TRUE(tells(command("MESSAGE:"), "Logging") && hear(15) == command("LOGOFF") &&
                isWelcome());
    ::close(std::exchange(peer, -1));
    EXPECT_TRUE(eventually([&] { return clock.advance(2000), endpoint->isLogging(); }));
    EXPECT_TRUE(isWelcome());
    ::send(peer, command("SITEDOWN:").data(), 18, 0);
    EXPECT_EQ(hear(99).find("LOGOFF"), std::string::npos) << "up to the end";
    EXPECT_TRUE(eventually([&] { return gone.load(); }));
}

TEST_P(Endpoint, NothingGetsIntoABlockNorWaitsForAStalledOne) {
    EXPECT_TRUE(comes() && isWelcome());
    std::string block(3000, 'b');
    std::string much(64 << 20, 'c'); // more than there is room for when nobody reads
    std::thread sending([&] {
        for (int i = 0; i < 300; ++i) {
            clock.advance(i % 2 * 500);
            EXPECT_EQ(endpoint->write_str(block.data(), 3000), 1);
        }
        EXPECT_EQ(endpoint->write_str(much.data(), 64 << 20), -1);
    });
    for (int blocks = 0; blocks < 300;) {
        const std::string start = hear(14);
        const bool sign = start == command("HELLO");
        EXPECT_TRUE(sign || start + hear(2986) == block);
        blocks += sign ? 0 : 1;
    }
    EXPECT_TRUE(tells(frame("KV070"), "Data_Ready"));
    endpoint->logoff();
    sending.join();
}

/// An engine that could have a serial port, over a real server, to a generator behind a client.
TEST(Relay, CarriesAnEngine) {
    ScriptedGenerator generator;
    TkServerImp server;
    Open<TkClientImp> site;
    Open<TkControlImp> control;
    RelayRecorder dispatcher([&](const std::string &event) {
        if (event == "tcpip_Client_Data_Ready") {
            std::string answer = generator.answer(received(site));
            EXPECT_EQ(site.write_str(answer.data(), static_cast<unsigned>(answer.size())), 1);
        }
    });
    const Registered registered(dispatcher);
    ASSERT_TRUE(server.run("127.0.0.1", 0) && site.logon("127.0.0.1", server.port()));
    ASSERT_TRUE(eventually([&] { return site.isLogon(); }));
    ASSERT_TRUE(control.logon("127.0.0.1", server.port()) && control.connect("127.0.0.1"));
    ASSERT_TRUE(eventually([&] { return control.isConnected() && site.isConnected(); }));
    TkGeneratorControl engine(&control);
    TkBinary_Receptors record;
    engine.startControl();
    EXPECT_TRUE(engine.transmitMsg(Tk::KV, 75, true));
    EXPECT_TRUE(engine.transmitBinaryMsg(&record, tkrecord::READ, true) && record.isValid());
    engine.stopControl();
    server.shutdown();
    EXPECT_TRUE(eventually([&] { return !site.isOpen() && !control.isOpen(); }));
}

} // namespace
