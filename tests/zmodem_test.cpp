#include "support/transfer.h"
#include "tkcrc.h"

#include <utime.h>

TEST_F(Transfers, WireForms) {
    EXPECT_EQ(TkCRC16().crc16("123456789", 0, 9, 0), 0x31C3);
    EXPECT_EQ(TkCRC32().crc32("xabc", 1, 3, 0), 0xCA6598D0);
    connect({}, {});
    std::vector<int> results;
    Sender sender("x", link.get(), [&](Sender &self) {
        results = {self.sendHexPacket(T::ZRINIT, FLAGS), self.sendHexPacket(T::ZACK, 1),
                   self.sendHexPacket(T::ZCAN, 0), self.sendByte(0x93, true),
                   self.sendByte(0x7F, true)};
        const std::string crc32 = "*\x18"
                                  "C\x0Dxyz1\xB9\x5B\xFE\x4B"s;
        for (const std::string &in :
             {"no*Aise*Bee"s + "**\x18\x18\x18\x18xB" + hex(T::ZRPOS, 0x12345678),
              CANS.substr(1) + "x" + binary(T::ZEOF, 0x18000000), hex(T::ZABORT, 3),
              damaged(hex(T::ZFIN)),
              "**\x18"
              "B01A0"s,
              "*" + CANS, "**"s, hex(T::ZSKIP, 1).substr(2), "x"s}) {
            link->arrive(in);
            results.push_back(self.receiveHexHeader(10000));
            results.push_back(self.m_nHeaderType);
            results.push_back(static_cast<int>(self.m_nHeaderValue));
        }
        link->arrive("y");
        unsigned char byte = 'z';
        results.insert(results.end(), {self.getByte(0, &byte), byte, self.getByte(5, &byte), byte});
    });
    sender.run();
    EXPECT_EQ(results, (std::vector<int>{0, 0,  9,          0, 0,             // sent
                                         0, 9,  0x12345678,                   // hexadecimal
                                         0, 11, 0x18000000,                   // binary, and escaped
                                         2, 7,  3,                            // stored all the same
                                         3, 7,  3,          3, 7, 3, 9, 7, 3, // nothing stored
                                         6, 7,  3,          0, 5, 1, 6, 5, 1, 6, 'z', 0, 'y'}));
    EXPECT_EQ(written(), "**\x18"
                         "B0100000023be50\r\n\x11" +
                             hex(T::ZACK, 1) + CANS + CANS + "\x18\xD3\x7F");
    Sender unconnected("x", nullptr);
    EXPECT_EQ(unconnected.sendByte('x', false), 8);
    EXPECT_EQ(unconnected.run(), 8);
}

TEST_F(Transfers, AFileGoesOutAsOneStream) {
    const std::string path = file(2048);
    const utimbuf modified = {1000000, 1000000};
    ASSERT_EQ(::utime(path.c_str(), &modified), 0);
    connect({}, RECEIVER);
    Sender sender(path, link.get());
    EXPECT_EQ(sender.run(), 4);
    const std::string content = contentOf(path);
    EXPECT_EQ(written(), "rz\r" + hex(T::ZRQINIT, FLAGS) + binary(T::ZFILE, 1) +
                             subpacket("data.bin\0002048 3641100 0 0 1 2048\0"s, 'k') +
                             binary(T::ZDATA) + subpacket(content.substr(0, 1024), 'i') +
                             subpacket(content.substr(1024), 'i') + subpacket("", 'h') +
                             binary(T::ZEOF, 2048) + hex(T::ZFIN) + "OO");
    EXPECT_EQ(events(), "espppc");
    EXPECT_EQ(sender.getTotalBytesTransfered(), 2048U);
    EXPECT_EQ(sender.getTotalBlocksTransfered(), 2U);
    EXPECT_EQ(sender.getTotalTransferSize(), 2048U);
    EXPECT_STREQ(sender.getCurrentFileName(), "data.bin");
}

TEST_F(Transfers, ASenderEndsWhateverTheReceiverDoes) {
    const std::string start = hex(T::ZRPOS);
    const struct {
        const char *peer;
        Peer::Answers changes;
        int result;
        const char *events;
        // clang-format off
    } rows[] = {
        {"is in order", {}, 4, "espppppc"},
        {"says ZRINIT thrice", {{T::ZRQINIT, {hex(T::ZRINIT) + hex(T::ZRINIT) + hex(T::ZRINIT)}}}, 4, "espppppc"},
        {"was cancelled before", {{T::ZRQINIT, {CANS + CANS, hex(T::ZRINIT)}}}, 4, "espppppc"},
        {"isn't there", {{T::ZRQINIT, {}}}, 1, "ex"},
        {"aborts the opening", {{T::ZRQINIT, {hex(T::ZABORT)}}}, 1, "ex"},
        {"talks noise in the opening", {{T::ZRQINIT, {std::string(50000, 'x')}}}, 1, "ex"},
        {"wants no file", {{T::ZFILE, {hex(T::ZSKIP)}}}, 4, "ex"},
        {"never says where", {{T::ZFILE, {}}}, 1, "e"},
        {"says ZNAK for ever", {{T::ZFILE, {hex(T::ZNAK) + hex(T::ZNAK)}}, {T::ZFIN, {}}}, 1, "e"},
        {"damages all", {{T::ZFILE, {damaged(start)}}}, 1, "e"},
        {"talks noise", {{T::ZFILE, {std::string(50000, '*')}}}, 1, "e"},
        {"cancels", {{T::ZFILE, {CANS}}}, 9, "ex"},
        {"cancels the stream", {{T::ZDATA, {CANS}}}, 9, "esx"},
        {"aborts the stream", {{T::ZDATA, {hex(T::ZABORT)}}}, 1, "esx"},
        {"has enough", {{T::ZDATA, {hex(T::ZACK) + hex(T::ZRINIT)}}}, 4, "esc"},
        {"has the file", {{T::ZFILE, {hex(T::ZRPOS, 5000)}}}, 9, "esxx"},
        {"starts beyond the end", {{T::ZFILE, {hex(T::ZRPOS, 0xFFFFFFFF)}}}, 4, "espc"},
        {"goes back for ever", {{T::ZDATA, {start}}, {T::ZEOF, {start}}}, 1, nullptr},
        {"repeats ZRPOS", {{T::ZFILE, {start + start + start}}}, 4, "essspppppc"},
        {"streams noise", {{T::ZDATA, {std::string(50000, 'x')}}}, 4, "espppppc"},
        {"asks behind the end", {{T::ZEOF, {hex(T::ZRPOS, 4096), hex(T::ZRINIT)}}}, 4, "esppppppc"},
        {"is silent at the end", {{T::ZEOF, {}}}, 6, "esppppp"},
        {"damages the end", {{T::ZEOF, {damaged(hex(T::ZRINIT))}}}, 3, "esppppp"},
        {"goes without a word", {{T::ZFIN, {}}}, 6, "espppppc"},
        {"aborts the good-bye", {{T::ZFIN, {hex(T::ZABORT)}}}, 6, "espppppc"},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(row.peer);
        connect(row.changes, RECEIVER);
        Sender sender(file(5000), link.get());
        EXPECT_EQ(sender.run(), row.result);
        const std::string told = events();
        EXPECT_TRUE(!row.events || told == row.events) << told;
    }
    using Counts = std::vector<std::pair<int, int>>; // of what is repeated
    for (const auto &[type, count] : Counts{{T::ZRQINIT, 10}, {T::ZFILE, 11}, {T::ZFIN, 11}}) {
        int seen = 0;
        connect({{type, {}}}, RECEIVER,
                [&, at = type](int header) { seen += header == at ? 1 : 0; });
        Sender(file(5000), link.get()).run();
        EXPECT_EQ(seen, count) << type;
        events();
    }
    for (const std::string &path : {directory + "missing", directory + "in", "/dev/zero"s,
                                    directory + std::string(1100, 'n')}) {
        connect({}, RECEIVER);
        EXPECT_EQ(Sender(path, link.get()).run(), 1) << path;
        EXPECT_EQ(events(), "e");
    }
}

TEST_F(Transfers, ASenderGoesBackAndHeedsNoAcknowledgement) {
    const std::string path = file(160000);
    const std::string content = contentOf(path);
    Peer receiver(RECEIVER);
    std::size_t position = 1;
    int blocks = 0;
    link = std::make_unique<HastyLink>(clock, [&](const std::string &written) {
        if (written.rfind(binary(T::ZDATA, 0).substr(0, 4), 0) == 0) {
            position = blocks == 0 ? 0 : 2048;
            EXPECT_EQ(written, binary(T::ZDATA, position));
        } else if (written[0] != '*' && position != 1) {
            const std::string data = content.substr(position, 1024);
            const bool isLast = data.size() < 1024;
            EXPECT_EQ(written, subpacket(data, isLast ? 'h' : 'i') +
                                   (isLast ? binary(T::ZEOF, 160000) : ""));
            position += 1024;
            return ++blocks == 5 ? hex(T::ZRPOS, 2048)
                   : isLast      ? receiver(binary(T::ZEOF))
                                 : hex(T::ZACK, position);
        }
        return receiver(written);
    });
    Sender sender(path, link.get());
    EXPECT_EQ(sender.run(), 4);
    EXPECT_EQ(blocks, 5 + 155);
    EXPECT_EQ(sender.getTotalBlocksTransfered(), 159U);
    const std::string told = events();
    EXPECT_EQ(told, "es" + std::string(160, 'p') + "c");
}

TEST_F(Transfers, ACancelOrADestructionEndsEveryStep) {
    const struct {
        bool sends;
        int at; // the header behind which it comes
        const char *events;
        bool tellsPeer;
    } rows[] = {{true, T::ZRQINIT, "ex", false},     {true, T::ZFILE, "ex", false},
                {true, T::ZDATA, "esx", false},      {true, T::ZEOF, "espppppx", false},
                {true, T::ZFIN, "espppppcx", false}, {false, T::ZRINIT, "x", true},
                {false, T::ZRPOS, "psxx", true},     {false, T::ZFIN, "psp", false}};
    for (const auto &row : rows) {
        for (const bool destroys : {false, true}) {
            SCOPED_TRACE(std::to_string(row.at) + (destroys ? " destroyed" : ""));
            std::filesystem::remove(directory + "in/a.bin");
            std::unique_ptr<TkZModem> transfer;
            std::atomic<bool> seen{false};
            connect({{row.at, {""}}}, row.sends ? RECEIVER : SENDER, [&](int type) {
                if (type == row.at && !destroys) {
                    transfer->cancelTransfer(true);
                }
                seen = seen || type == row.at;
            });
            if (row.sends) {
                transfer = std::make_unique<Sender>(file(5000), link.get());
            } else {
                transfer = std::make_unique<Receiver>(directory + "in/", link.get());
            }
            transfer->start();
            while (destroys ? !seen : transfer->isTransferComplete()) {
                std::this_thread::yield();
            }
            transfer.reset();
            const std::string told = events();
            if (!destroys) {
                EXPECT_EQ(told, row.events);
                EXPECT_EQ(written().find(CANS + CANS) != std::string::npos, row.tellsPeer);
            }
        }
    }
    connect({}, {});
    Sender sender(file(10), link.get(), [&](Sender &self) {
        self.cancelTransfer(true);
        EXPECT_EQ(self.sendBinaryPacket(T::ZDATA, 0), 9);
        EXPECT_EQ(self.transmitFileData(0), 9);
    });
    sender.run();
    EXPECT_EQ(written(), CANS + CANS + CANS + CANS);
}

TEST_F(Transfers, RateAndTimeLeft) {
    connect({}, {});
    Sender sender("x", link.get(), [&](Sender &self) {
        const auto after = [&](unsigned long milliseconds, unsigned int bytes) {
            clock.advance(milliseconds);
            self.m_nBytesTransferred = bytes;
            const unsigned long rate = self.updateCPS();
            const std::pair<unsigned long, unsigned long> both = {rate,
                                                                  self.updateSecondsRemaining()};
            EXPECT_EQ(both, std::make_pair(self.getCPS(), self.getSecondsRemaining()));
            return both;
        };
        self.m_nTotalSize = 10000;
        self.m_nMeasureStart = 1000;
        EXPECT_EQ(after(2000, 3000), std::make_pair(1000UL, 7UL));
        self.m_nBlocksTransferred = 1;
        EXPECT_EQ(after(1000, 6000), std::make_pair(1666UL, 3UL));  // by the mean of both
        EXPECT_EQ(after(1000, 11000), std::make_pair(2500UL, 0UL)); // more than there should be
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(after(1000, 1000), std::make_pair(0UL, 0UL));
        }
        EXPECT_EQ(after(1000, 1015), std::make_pair(1UL, 0UL)); // by a mean of 0
    });
    sender.run();
}
