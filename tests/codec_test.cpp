#include "support/wire.h"
#include "tk.h"
#include "tktextcodec.h"
#include "tkvocabulary.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace {

int packed(const std::string &mnemonic) {
    int number = 0;
    for (const char letter : mnemonic) {
        number = number * 256 + letter;
    }
    return number;
}

std::string encoded(TkTextCodec &codec, const std::string &mnemonic, int value) {
    return codec.encode(packed(mnemonic), value) ? text(codec.encodedMsg()) : "refused";
}

/// "KV=70 MA=100", or "refused".
std::string decoded(TkTextCodec &codec, const std::string &wire) {
    std::vector<unsigned char> received = bytes(wire);
    if (!codec.decode(&received)) {
        EXPECT_EQ(codec.getNumCmds(), 0);
        return "refused";
    }
    std::string items;
    for (int i = 0; i < codec.getNumCmds(); ++i) {
        const TkCommand *const row = TkCommandTable::find(codec.decodedCmd(i));
        items += (i > 0 ? " " : "") + std::string(row ? row->mnemonic : "?") + "=" +
                 std::to_string(codec.decodedValue(i));
    }
    EXPECT_EQ(codec.decodedCmd(codec.getNumCmds()), 0);
    EXPECT_EQ(codec.decodedValue(-1), 0);
    return items;
}

/// What the generator understands: mnemonic, digits sent ("-": not sent), request forms written
/// out (f) or bare (b), characters in a reply ("-": never replied).
const char *const vocabulary =
    "KV:3:f:3 MA:5:f:5 MS:5:f:5 MX:5:f:5 RR:0:b:- ET:1:f:1 PR:1:b:1 XR:1:b:1 FS:3:f:3 "
    "FI:3:f:3 FN:1:f:2 AP:0:f:5 AT:0:f:5 SA:-:-:0 AI:4:f:4 FLK:3:f:3 FLM:3:f:3 FLI:0:f:3 "
    "FLT:0:f:3 FLS:3:f:3 FLF:1:f:1 FLP:1:f:1 FLA:1:f:1 FLZ:1:f:1 FLD:1:f:1 FLX:1:f:1 "
    "FLR:1:b:1 RF:0:b:- FLC:1:f:1 FLO:1:f:1 ATA:2:f:2 ATC:2:f:2 DA:0:b:7 DR:0:b:7 DZ:0:b:0 "
    "DT:0:b:1 DS:0:b:1 DV:0:b:7 ST:0:b:3 WS:1:f:1 FO:1:f:1 RS:0:b:- KW:0:b:3 BU:1:f:1 "
    "TO:1:f:1 TU:-:-:1 TB:1:f:1 MC:0:f:5 FC:0:f:5 GR:0:b:4 ER:3:b:3 EL:3:b:3 GM:1:b:1 "
    "CA:1:f:1 TR:1:b:1 AL:1:f:1 CN:0:b:5 PS:1:b:1 CD:1:b:1 GC:0:b:3 CWS:-:-:1 CBU:-:-:1 "
    "CTO:-:-:1 CFL:-:-:1 CSR:-:-:1 CAE:-:-:1 CFI:-:-:3 CFS:-:-:3 WB:0:b:1 WI:0:b:3 "
    "WF:0:b:3 HE:0:f:3 HO:1:f:1 HH:0:f:3 ATP:3:f:3 COL:2:f:2 FIL:2:f:2 FP:1:f:1 BCP:2:f:2 "
    "BCI:2:f:2 BCF:3:f:3 RAP:2:f:2 RAA:2:f:2 RAF:3:f:3";

TEST(Codec, EveryCommandInBothDirections) {
    TkTextCodec codec;
    std::istringstream rows(vocabulary);
    int count = 0;
    for (std::string row; rows >> row; ++count) {
        SCOPED_TRACE(row);
        std::istringstream fields(row);
        std::string name, sent, forms, reply;
        std::getline(
            std::getline(std::getline(std::getline(fields, name, ':'), sent, ':'), forms, ':'),
            reply);
        const std::string plus = name == "FN" ? "+" : "";
        const std::string query = forms == "f" ? "?" : "";
        EXPECT_EQ(encoded(codec, name, 65535),
                  sent == "-" ? "refused" : frame(name + plus + query));
        EXPECT_EQ(encoded(codec, name, 65531),
                  sent == "-" ? "refused" : frame(name + plus + (query.empty() ? "" : "--")));
        const std::string digits =
            sent == "-" || sent == "0" ? "" : std::string(std::stoul(sent) - 1, '0') + "7";
        EXPECT_EQ(encoded(codec, name, 7), sent == "-" ? "refused" : frame(name + plus + digits));
        const std::size_t width = reply == "-" ? 3 : std::stoul(reply);
        const std::string value =
            std::string(width, '1').replace(0, width > 0, width > 0 ? "0" : "");
        const std::string expected =
            reply == "-"   ? "refused"
            : name == "SA" ? ""
                           : name + "=" + std::to_string(width > 1 ? std::stoi(value) : 0);
        EXPECT_EQ(decoded(codec, frame(name + value)), expected);
    }
    EXPECT_EQ(count, 84);
}

TEST(Codec, FramesByteForByte) {
    TkTextCodec codec;
    EXPECT_EQ(encoded(codec, "KV", 65535), "\x4B\x56\x3F\x03\xE3");
    EXPECT_EQ(encoded(codec, "KV", 70), "\x4B\x56\x30\x37\x30\x03\x3B");
    EXPECT_EQ(encoded(codec, "ST", 65535), "\x53\x54\x03\xAA");
    EXPECT_EQ(encoded(codec, "PR", 1), "\x50\x52\x31\x03\xD6");
    EXPECT_EQ(encoded(codec, "FN", 1), "\x46\x4E\x2B\x31\x03\xF3");
    EXPECT_EQ(encoded(codec, "FN", -1), "\x46\x4E\x2D\x31\x03\xF5");
}

TEST(Codec, SignsAndWidths) {
    TkTextCodec codec;
    EXPECT_EQ(encoded(codec, "FN", 0), frame("FN+0"));
    EXPECT_EQ(encoded(codec, "FN", 65535), frame("FN+?"));
    EXPECT_EQ(encoded(codec, "ATC", 5), frame("ATC05"));
    EXPECT_EQ(encoded(codec, "ATC", -5), frame("ATC-05"));
    EXPECT_EQ(encoded(codec, "ATC", 65534), frame("ATC+"));
    EXPECT_EQ(encoded(codec, "ET", 100), frame("ET100")) << "the width is a minimum";
    EXPECT_EQ(encoded(codec, "KV", -5), frame("KV-05")) << "a sign counts as a digit";
    EXPECT_EQ(encoded(codec, "MA", 999999999), frame("MA999999999"));
    EXPECT_EQ(encoded(codec, "MA", 1000000000), "refused") << "more than the value's text holds";
    EXPECT_TRUE(codec.encodedMsg().empty());
    EXPECT_FALSE(codec.encode(0, 1));
    EXPECT_FALSE(codec.encode(TK_METER_FOUND, 1));
}

TEST(Codec, ProgramLineShowsTheDensityInThreeWays) {
    TkTextCodec codec;
    const auto line = [&](int density) {
        EXPECT_TRUE(codec.encodeAprMsg(1, 0, 0, 10, 1, density, 100, 1000, 4000));
        return text(codec.encodedMsg());
    };
    EXPECT_EQ(line(0), frame("SA WS1 FO0 ET0 FI010 FS001 FN 0 KV100 MA01000 MS04000"));
    EXPECT_EQ(line(2), frame("SA WS1 FO0 ET0 FI010 FS001 FN+2 KV100 MA01000 MS04000"));
    EXPECT_EQ(line(-1), frame("SA WS1 FO0 ET0 FI010 FS001 FN-1 KV100 MA01000 MS04000"));
    const int wide = -2147483647 - 1;
    codec.encodeAprMsg(wide, wide, wide, wide, wide, wide, wide, wide, wide);
    EXPECT_EQ(codec.encodedMsg().size(), 99u + 2u) << "a line has 99 characters at the most";
}

TEST(Codec, Items) {
    TkTextCodec codec;
    EXPECT_EQ(decoded(codec, frame("KV070 MA00100 MS00100")), "KV=70 MA=100 MS=100");
    EXPECT_EQ(decoded(codec, frame("SA WS1 FO0")), "WS=1 FO=0") << "SA is no item";
    EXPECT_EQ(decoded(codec, frame("SA")), "");
    EXPECT_EQ(decoded(codec, frame("FN+1 FN-1 FN 0")), "FN=1 FN=-1 FN=0");
    EXPECT_EQ(decoded(codec, frame("ATC12 ATC-12 KV070")), "ATC=12 ATC=-12 KV=70");
    EXPECT_EQ(decoded(codec, frame("DZ KV070")), "DZ=0 KV=70");
    EXPECT_EQ(decoded(codec, frame("KV7 MA1")), "KV=7") << "a value has its width, blanks or not";
    EXPECT_EQ(decoded(codec, frame("KV0x0")), "KV=0") << "digits end at the first other character";
    EXPECT_EQ(decoded(codec, frame("KV07")), "KV=7") << "a value ends early at the ETX";
    EXPECT_EQ(decoded(codec, frame("KV070+MA00100")), "KV=70") << "only a blank leads on";
    EXPECT_EQ(decoded(codec, frame("ST012")), "ST=12");
    for (const char *unknown : {"RR", "KVX070", "kv070", "070", "", "KV070 ", "KV070  MA00100",
                                " KV070", "KV070 QQ1", "KVKVKV070"}) {
        EXPECT_EQ(decoded(codec, frame(unknown)), "refused") << unknown;
    }
}

TEST(Codec, SumsThatLookLikeAnEndOrABlank) {
    TkTextCodec codec;
    ASSERT_EQ(frame("DR0000899").back(), '\x03');
    EXPECT_EQ(decoded(codec, frame("DR0000899")), "DR=899");
    ASSERT_EQ(frame("DR1999999").back(), ' ');
    EXPECT_EQ(decoded(codec, frame("DR1999999")), "DR=1999999");
}

TEST(Codec, DamagedFramesAreRefused) {
    TkTextCodec codec;
    const std::string whole = frame("KV070 ATC-12 FN+1");
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string flipped = whole;
            flipped[i] = static_cast<char>(flipped[i] ^ (1 << bit));
            EXPECT_EQ(decoded(codec, flipped), "refused") << i << "/" << bit;
        }
    }
    EXPECT_EQ(decoded(codec, std::string(1, '\0')), "refused");
    EXPECT_EQ(decoded(codec, ""), "refused");
    EXPECT_FALSE(codec.decode(nullptr));
}

TEST(Codec, AnyTextWithAGoodSumIsReadWithinItsFrame) {
    TkTextCodec codec;
    std::mt19937 random(4711);
    const std::string alphabet = "KVMASATCFNDZ0123456789 +-?\x03";
    for (int i = 0; i < 20000; ++i) {
        std::string body(random() % 40, ' ');
        for (char &c : body) {
            c = random() % 8 == 0 ? static_cast<char>(random())
                                  : alphabet[random() % alphabet.size()];
        }
        decoded(codec, frame(body)); // the sanitizers watch
    }
    std::string thousands = "KV001";
    for (int i = 1; i < 5000; ++i) {
        thousands += " KV001";
    }
    decoded(codec, frame(thousands));
    EXPECT_EQ(codec.getNumCmds(), 5000);
}

} // namespace
