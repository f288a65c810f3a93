#include "support/clock.h"
#include "support/dispatcher.h"
#include "support/engine.h"
#include "support/rawpeer.h"
#include "tkserverimp.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <thread>

using namespace std::string_literals;

namespace {

class RelayServer : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(server->run("127.0.0.1", 0)); }

    RawPeer peer(int number, const std::string &kind) {
        RawPeer made(server->port(), number);
        EXPECT_EQ(made.asks(kind), "ZOR_SERVER");
        return made;
    }

    /// A client and a control that are connected.
    std::pair<RawPeer, RawPeer> pair(int client, int control) {
        std::pair<RawPeer, RawPeer> made(peer(client, "ZOR_CLIENT"), peer(control, "ZOR_CONTROL"));
        EXPECT_EQ(made.second.asks("CONNECT->127.0.0." + std::to_string(client)), "ESTABLISHED");
        EXPECT_EQ(made.first.hears(), "CONNECT<-127.0.0." + std::to_string(control));
        return made;
    }

    std::unique_ptr<TkServerImp> server = std::make_unique<TkServerImp>();
};

/// Closes the partner's socket under the server, and notes who left.
class Saboteur : public TkTCPIPDispatcher {
  public:
    SITEINFO left{};

  protected:
    void tcpip_Server_Connect(void *socket) override {
        static_cast<TkServerSocket *>(socket)->getTalkingSocket()->close();
    }
    void tcpip_Server_Logoff(void *site) override { left = *static_cast<SITEINFO *>(site); }
};

} // namespace

TEST_F(RelayServer, SitesMeetAndPart) {
    RelayRecorder events;
    const Registered registered(events);
    std::map<int, RawPeer> peers;
    const struct {
        int who; // its address is 127.0.0.who
        std::string says, heard;
        // clang-format off
    } steps[] = {
        {2, "", "2 ZOR_SERVER"}, // nothing said is what a client says
        {4, "ZOR_CLIENT", "4 ZOR_SERVER"}, {3, "ZOR_CON", "3 ZOR_SERVER"},
        {2, "DESCRIPTION->room 1", ""}, {2, "DESCRIPTION->" + std::string(256, 'x'), ""},
        {2, "ENUMERATE_CO", "2 127.0.0.3:"}, {2, "ENUMERATE_CO", "2 0.0.0.0:"},
        {3, "ENUMERATE_CLIENT", "3 127.0.0.4:"}, {3, "ENUMERATE_CLIENT", "3 127.0.0.2:room 1"},
        {3, "ENUMERATE_CLIENT", "3 0.0.0.0:"}, {3, "ENUMERATE_CLIENT", "3 127.0.0.4:"},
        {4, "LOGOFF", "3 SITEDOWN:127.0.0.4|2 SITEDOWN:127.0.0.4|4 (end)"},
        {3, "ENUMERATE_CLIENT", "3 127.0.0.2:room 1"}, // the listing stood at 4
        {3, "CONNECT->127.0.0.4", "3 REJECTED"}, {3, "CONNECT->", "3 REJECTED"},
        {2, "CONNECT->127.0.0.2", "2 REJECTED"}, {3, "MESSAGE:to nobody", ""}, {3, "NONSENSE", ""},
        {3, "CONNECT->127.0.0.2", "2 CONNECT<-127.0.0.3|3 ESTABLISHED"},
        {5, "ZOR_CONTROL", "5 ZOR_SERVER"}, {5, "CONNECT->127.0.0.2", "5 REJECTED"},
        {3, "MESSAGE:hello", "2 MESSAGE:hello"}, {2, "MESSAGE:", "3 MESSAGE:"},
        {3, "CONNECT->127.0.0.2", "2 DISCONNECT|2 CONNECT<-127.0.0.3|3 ESTABLISHED"},
        {2, "DISCONNECT", "3 DISCONNECT"}, {2, "DISCONNECT", ""}, {2, "ENUMERATE_CONTROL", "2 127.0.0.5:"},
        {5, "CONNECT->127.0.0.2", "2 CONNECT<-127.0.0.5|5 ESTABLISHED"},
        {5, "LOGOFF", "2 DISCONNECT|2 SITEDOWN:127.0.0.5|3 SITEDOWN:127.0.0.5|5 (end)"},
        // clang-format on
    };
    for (const auto &step : steps) {
        RawPeer &peer = peers.try_emplace(step.who, server->port(), step.who).first->second;
        peer.say(step.says);
        std::istringstream all(step.heard);
        for (std::string heard; std::getline(all, heard, '|');) {
            EXPECT_EQ(peers.at(heard[0] - '0').hears(), heard.substr(2)) << step.says;
        }
    }
    server->shutdown();
    EXPECT_EQ(peers.at(2).hears(), "LOGOFF");
    EXPECT_EQ(peers.at(3).hears(), "LOGOFF");
    std::string all; // but for the listener's
    for (const std::string &event : events.events()) {
        const std::string name = event.substr(13, event.find('=') - 13);
        all += name == "Accept" || name == "Wait_For_Connection" ? "" : name + ' ';
    }
    EXPECT_EQ(all, "Client Client Control Description Enumerate Enumerate Enumerate Enumerate "
                   "Enumerate Enumerate Logoff Enumerate Connect Control Disconnect Connect "
                   "Disconnect Enumerate Connect Disconnect Logoff Shutdown ");
}

TEST_F(RelayServer, DataPassUnchanged) {
    auto [client, control] = pair(2, 3);
    client.say("DISCONNECT");
    EXPECT_EQ(control.hears(), "DISCONNECT");
    client.send("lost" + RawPeer::framed("ENUMERATE_CONTROL") + "SY"); // nobody hears these
    EXPECT_EQ(client.hears(), "127.0.0.3:");
    EXPECT_EQ(control.asks("CONNECT->127.0.0.2"), "ESTABLISHED");
    EXPECT_EQ(client.hears(), "CONNECT<-127.0.0.3");
    client.send("SYNC\0SS"s + RawPeer::framed("HELLO") + "a" + RawPeer::framed("MESSAGE:m") +
                RawPeer::framed(std::string(5000, 'x')) + "\x03SY");
    EXPECT_EQ(control.bytes(8), "SYNC\0SSa"s);
    EXPECT_EQ(control.hears(), "MESSAGE:m");
    EXPECT_EQ(control.bytes(3), "\x03SY"); // after half a second
    auto [deaf, eager] = pair(4, 5);
    eager.flood(); // this pair stalls, the other goes on
    std::string block(65000, 0);
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<char>(i * i >> 3);
    }
    for (int i = 0; i < 16; ++i) {
        control.send(block);
        client.send(block);
        EXPECT_TRUE(client.bytes(block.size()) == block && control.bytes(block.size()) == block);
    }
    EXPECT_EQ(deaf.bytes(eager.flooded()).size(), eager.flooded()); // it has only waited
    client.send("and the endS");
    client.finish();
    EXPECT_EQ(control.bytes(12), "and the endS");
}

TEST_F(RelayServer, NobodyHearsWhatWasMeantForAnother) {
    auto [site, first] = pair(2, 3);
    RawPeer second = peer(4, "ZOR_CONTROL");
    site.flood(); // the first one doesn't read
    first.say("DISCONNECT");
    EXPECT_TRUE(eventually([&] { return second.asks("CONNECT->127.0.0.2") == "ESTABLISHED"; }));
    EXPECT_EQ(site.hears(), "DISCONNECT");
    EXPECT_EQ(site.hears(), "CONNECT<-127.0.0.4");
    site.say("MESSAGE:for you");
    const std::string heard = second.hears(); // and before it what was still on its way
    EXPECT_NE(heard.find("MESSAGE:for you"), std::string::npos);
    EXPECT_LT(heard.size(), 65536U);
}

/// A peer in front of a slow line takes little at a time, and is no dead one.
TEST_F(RelayServer, WhoReadsSlowlyStays) {
    SettableClock clock;
    RawPeer slow(server->port(), 2, 32768);
    RawPeer eager = peer(3, "ZOR_CONTROL");
    EXPECT_EQ(slow.asks("ZOR_CLIENT"), "ZOR_SERVER");
    EXPECT_EQ(eager.asks("CONNECT->127.0.0.2"), "ESTABLISHED");
    EXPECT_EQ(slow.hears(), "CONNECT<-127.0.0.3");
    RawPeer third = peer(4, "ZOR_CONTROL");
    eager.flood();
    for (int seconds = 0; seconds < 250; ++seconds) {
        slow.say("HELLO");
        third.say("HELLO");
        EXPECT_EQ(slow.bytes(4096), std::string(4096, 'x'));
        clock.advance(1000);
        ASSERT_EQ(third.asks("CONNECT->127.0.0.9"), "REJECTED") << "not told before " << seconds;
    }
}

TEST_F(RelayServer, ManyWhoLeaveAtOnceHoldUpNobody) {
    auto [client, control] = pair(2, 3);
    std::vector<RawPeer> crowd;
    for (int i = 0; i < 300; ++i) {
        crowd.emplace_back(server->port(), 4);
    }
    for (RawPeer &one : crowd) {
        one.say("LOGOFF");
    }
    control.send("quick");
    std::size_t told = 0;
    std::string heard = client.bytes(1);
    for (; !heard.empty() && heard != "q"; heard = client.bytes(1)) {
        heard += client.hears();
        told += 1;
    }
    EXPECT_LT(told, 100u);
}

TEST_F(RelayServer, WhoFallsSilentIsDropped) {
    SettableClock clock;
    auto [silent, control] = pair(4, 3);
    peer(5, "ZOR_CLIENT").reset();
    peer(6, "ZOR_CLIENT"); // closes at once
    std::multiset<std::string> heard;
    unsigned long passed = 0;
    for (; passed < 60000 && heard.size() < 4; passed += 250) {
        clock.advance(250);
        silent.say("DESCRIPTION->I only talk");
        control.say("HELLO");
        std::string answer = control.asks("ENUMERATE_CONTROL");
        for (; answer != "0.0.0.0:" && answer != "127.0.0.3:"; answer = control.hears()) {
            heard.insert(answer);
        }
    }
    EXPECT_EQ(heard, (std::multiset<std::string>{"DISCONNECT", "SITEDOWN:127.0.0.4",
                                                 "SITEDOWN:127.0.0.5", "SITEDOWN:127.0.0.6"}));
    EXPECT_TRUE(passed >= 15000 - 250 && passed < 25000 && !server->hasFailed()) << passed;
}

TEST_F(RelayServer, EndsWhateverItsPeersDoAndComesBack) {
    const unsigned short port = server->port();
    auto [deaf, eager] = pair(4, 5);
    eager.flood();
    EXPECT_FALSE(TkServerImp().run("127.0.0.1", port));
    const auto start = std::chrono::steady_clock::now();
    server->shutdown();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(eager.hears(), "LOGOFF");
    EXPECT_FALSE(server->run("127.0.0.256", 0) || server->isServerRunning());
    server->setAdmission([](const char *address) { return address != "127.0.0.9"s; });
    ASSERT_TRUE(server->run("127.0.0.1", port) && server->run(1)); // it runs already
    EXPECT_EQ(RawPeer(port, 9).hears(), "(end)");

    Saboteur saboteur;
    const Registered registered(saboteur);
    auto [client, control] = pair(2, 3);
    control.say("MESSAGE:which can't be sent");
    EXPECT_TRUE(eventually([&] { return server->hasFailed(); }) && server->isServerRunning());
    server->shutdown();
    ASSERT_TRUE(server->run("127.0.0.1", port) && !server->hasFailed());
    RawPeer again = peer(2, "ZOR_CLIENT");
    again.say("DESCRIPTION->here");
    EXPECT_EQ(again.asks("LOGOFF"), "(end)");
    server->shutdown();
    EXPECT_TRUE(!saboteur.left.control && saboteur.left.address == "127.0.0.2"s &&
                saboteur.left.description == "here"s);
}

TEST_F(RelayServer, CallbacksMayStopOrDestroyIt) {
    for (const std::string at : {"Accept", "Wait", "Description", "Logoff", "Shutdown"}) {
        for (const bool destroy : {false, true}) {
            RawPeer control = peer(3, "ZOR_CONTROL");
            RawPeer client = peer(2, "ZOR_CLIENT");
            const unsigned short port = server->port();
            std::atomic<bool> begun{false};
            std::atomic<bool> done{false};
            RelayRecorder events([&](const std::string &event) {
                if (event.substr(13, at.size()) == at && !begun.exchange(true)) {
                    destroy ? server.reset() : server->shutdown();
                    done = true;
                }
            });
            const Registered registered(events);
            client.say(at == "Logoff" ? "LOGOFF" : "DESCRIPTION->x");
            if (at == "Shutdown") {
                server->shutdown();
            } else if (at == "Accept" || at == "Wait") {
                const RawPeer third(port, 4);
            }
            EXPECT_NE(control.bytes(4096).find(RawPeer::framed("LOGOFF")), std::string::npos) << at;
            EXPECT_TRUE(
                eventually([&] { return done && (destroy || !server->isServerRunning()); }));
            server = destroy ? std::make_unique<TkServerImp>() : std::move(server);
            ASSERT_TRUE(server->run("127.0.0.1", 0));
        }
    }
}

TEST_F(RelayServer, ServesEverybodyByTurnsAndNobodyForEver) {
    RawPeer control = peer(3, "ZOR_CONTROL");
    std::string questions;
    for (int i = 0; i < 40; ++i) {
        questions += RawPeer::framed("ENUMERATE_CLIENT");
    }
    control.send(questions);
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(control.hears(), "0.0.0.0:") << i;
    }
    peer(2, "ZOR_CLIENT").reset();
    EXPECT_TRUE(eventually([&] { return control.asks("CONNECT->127.0.0.2") == "REJECTED"; }));
    RawPeer site = peer(5, "ZOR_CLIENT");
    site.say("DESCRIPTION->" + std::string(255, 'd'));
    RawPeer deaf = peer(4, "ZOR_CONTROL"); // asks for ever, and hears no answer
    std::thread asker([&] {
        for (int i = 0; i < 3000; ++i) {
            deaf.send(questions);
        }
    });
    EXPECT_EQ(control.hears(), "SITEDOWN:127.0.0.4");
    asker.join();
    EXPECT_FALSE(server->hasFailed());
}

TEST_F(RelayServer, AStartMayBeGivenUp) {
    for (const std::string at : {"Create", "Ready"}) {
        for (const bool destroy : {false, true}) {
            auto other = std::make_unique<TkServerImp>();
            TkServerImp *const started = other.get();
            RelayRecorder events([&](const std::string &event) {
                if (event.substr(13, at.size()) == at) {
                    destroy ? other.reset() : other->shutdown();
                }
            });
            const Registered registered(events);
            EXPECT_FALSE(started->run("127.0.0.1", 0));
            EXPECT_TRUE(destroy || !started->isServerRunning());
        }
    }
}
