#include "support/clock.h"
#include "tkrelaystream.h"

#include <gtest/gtest.h>

#include <vector>

using namespace std::string_literals;

namespace {

const std::string MARKER = "SYNC\xFF\n}\x04";

std::string command(const std::string &text) {
    return MARKER + text + "\x03";
}

/// What comes out of a stream: the data, and the commands in brackets.
struct Heard final : TkRelayStream::Sink {
    void data(const char *bytes, std::size_t size) override { all.append(bytes, size); }

    /// Hands bytes in, in pieces of `size`.
    void take(const std::string &bytes, std::size_t size) {
        for (std::size_t at = 0; at < bytes.size(); at += size) {
            const std::string piece = bytes.substr(at, size);
            std::size_t taken = 0;
            while (taken < piece.size()) {
                taken += stream.take(piece.data() + taken, piece.size() - taken, *this);
                char text[2000];
                int length = sizeof text;
                if (stream.isCmdReady()) {
                    EXPECT_EQ(stream.take("x", 1, *this), 0U);
                    stream.takeCommand(text, &length);
                    all += "[" + std::string(text, static_cast<std::size_t>(length)) + "]";
                }
            }
        }
    }

    TkRelayStream stream;
    std::string all;
};

} // namespace

TEST(RelayStream, SplitsAtEveryByte) {
    const struct {
        std::string bytes;
        std::string heard;
    } rows[] = {
        {command("HELLO"), "[HELLO]"},
        {command("") + command("A") + "data" + command("B") + "\0more\x03"s,
         "[][A]data[B]\0more\x03"s},
        {"SYNX" + command("A"), "SYNX[A]"},
        {"SSYNC" + MARKER.substr(4) + "HELLO\x03",
         "SSYNC" + MARKER.substr(4) + "HELLO\x03"}, // not seen anew
        {MARKER.substr(0, 7) + command("A"), MARKER.substr(0, 7) + command("A")},
        {MARKER.substr(0, 7) + "x" + command("A"), MARKER.substr(0, 7) + "x[A]"},
        {command(std::string(1015, 'c')) + "data", "[" + std::string(1015, 'c') + "]data"},
        {command(std::string(1016, 'c')) + "data", "data"},
        {command(std::string(5000, 'c')) + command("A") + "data", "[A]data"},
        {command(MARKER + "A"), "[" + MARKER + "A]"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(TkRelayStream::frameOf("HELLO"), command("HELLO"));
        for (std::size_t size = 1; size <= std::min<std::size_t>(row.bytes.size(), 40); ++size) {
            Heard heard;
            heard.take(row.bytes, size);
            EXPECT_EQ(heard.all, row.heard) << "in pieces of " << size;
        }
    }
}

TEST(RelayStream, HoldsAPossibleMarkerBackForHalfASecond) {
    SettableClock clock;
    Heard heard;
    heard.take("KV070\x03SYN", 20);
    EXPECT_EQ(heard.all, "KV070\x03");
    clock.advance(499);
    heard.stream.releaseHeld(heard);
    EXPECT_TRUE(heard.stream.isHolding());
    clock.advance(1);
    heard.stream.releaseHeld(heard);
    EXPECT_EQ(heard.all, "KV070\x03SYN");
    heard.take(MARKER + "never ends", 20);
    clock.advance(1000);
    heard.stream.releaseHeld(heard); // a command isn't data
    heard.stream.clear();
    heard.take("C" + command("A"), 20);
    EXPECT_EQ(heard.all, "KV070\x03SYNC[A]");
    char text[3] = {};
    int length = 2;
    const std::string longer = command("ABCDE");
    EXPECT_EQ(heard.stream.take(longer.data(), longer.size(), heard), longer.size());
    heard.stream.takeCommand(text, &length);
    EXPECT_EQ(text, "AB"s);
}
