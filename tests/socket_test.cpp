#include "platform/platform.h"
#include "support/clock.h"
#include "tkminisocket.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <thread>

namespace {

struct Opened : TkMiniSocket {
    using TkMiniSocket::handle;
    using TkMiniSocket::receive;
    using TkMiniSocket::TkMiniSocket;
};

/// A listening socket on loopback, a socket that connected to it, and what it accepted.
struct Sockets : testing::Test {
    Sockets() {
        EXPECT_TRUE(listener.create(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        EXPECT_TRUE(listener.bind("127.0.0.1", 0));
        EXPECT_TRUE(listener.listen(5));
        EXPECT_TRUE(listener.isSocketBlocked());
        port = tkplatform::ownPort(listener.handle());
        EXPECT_TRUE(client.create(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        EXPECT_TRUE(client.connect("127.0.0.1", port));
        EXPECT_FALSE(listener.isSocketBlocked());
        unsigned int taken = 0;
        sockaddr_in address{};
        EXPECT_TRUE(listener.accept(taken, reinterpret_cast<sockaddr *>(&address)));
        EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
        accepted.attach(taken);
    }

    Opened listener, client, accepted;
    unsigned short port = 0;
};

} // namespace

TEST_F(Sockets, CarryBytes) {
    char hello[] = "hello";
    EXPECT_FALSE(accepted.isDataPending());
    EXPECT_TRUE(accepted.isSocketBlocked());
    EXPECT_EQ(client.write_str(hello, 5), 1);
    EXPECT_EQ(client.write_ch('!'), 1);
    unsigned int count = 7;
    char text[10] = {};
    EXPECT_EQ(accepted.read_ch(text), 1);
    EXPECT_EQ(accepted.read_str(text + 1, &count), 1);
    EXPECT_EQ(count, 1U);
    EXPECT_TRUE(accepted.isDataPending());
    std::size_t got = 2;
    while (got < 6 && tkplatform::isReadable(accepted.handle(), 5000)) {
        got += static_cast<std::size_t>(accepted.receive(text + got, 9 - got));
    }
    EXPECT_STREQ(text, "hello!");
    EXPECT_TRUE(client.isDataWritable());
    EXPECT_STREQ(client.ipAddress_str(), "127.0.0.1");
    EXPECT_EQ(Opened(accepted.handle()).ipAddress_dig(), htonl(INADDR_LOOPBACK)); // and closes it
    EXPECT_EQ(client.read_str(text, &count), 1); // at the end of the stream
    EXPECT_EQ(count, 0U);
    accepted.attach(TkMiniSocket::INVALID);
}

TEST_F(Sockets, NeverHang) {
    std::string much(1000000, 'x');
    int blocks = 0;
    while (blocks < 100 && client.write_str(much.data(), 1000000) == 1) {
        ++blocks; // until the peer, which reads nothing, has no more room
    }
    EXPECT_LT(blocks, 100);
    std::thread reader([this] {
        char byte = 0;
        EXPECT_EQ(client.read_ch(&byte), 0); // until another thread closes the socket
    });
    EXPECT_TRUE(client.close());
    reader.join();
    EXPECT_TRUE(client.close());
    EXPECT_FALSE(client.isSocketValid() || client.isDataPending() || client.isSocketBlocked() ||
                 client.isDataWritable() || client.listen(5) || client.bind(nullptr, 0) ||
                 client.connect("127.0.0.1", port));
    EXPECT_EQ(client.write_ch('x') + client.receive(much.data(), 5), 0);
    EXPECT_TRUE(client.create(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    EXPECT_FALSE(client.connect("localhost", port));
    EXPECT_FALSE(client.create(-1, SOCK_STREAM, IPPROTO_TCP));
}

TEST(MiniSocket, APeerIsDeadAtTheThirdSilentPeriod) {
    SettableClock clock;
    TkMiniSocket socket;
    for (int round = 0; round < 2; ++round) {
        for (int period = 0; period < 2; ++period) {
            clock.advance(4999);
            EXPECT_TRUE(socket.isSocketAlive());
            clock.advance(1);
            EXPECT_TRUE(socket.isSocketAlive());
        }
        if (round == 0) {
            socket.reset_timer();
        }
    }
    clock.advance(5000);
    EXPECT_FALSE(socket.isSocketAlive());
    EXPECT_EQ(socket.timeoutPeriod(), 5000U);
}
