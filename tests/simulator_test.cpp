#include "simulator/generator_panel.h"
#include "support/process.h"
#include "support/simulation.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <numeric>
#include <poll.h>
#include <sstream>
#include <unistd.h>

using namespace tksim;

namespace {

std::vector<Frame> cut(const Bytes &bytes) {
    FrameReader reader;
    std::vector<Frame> frames;
    for (const std::uint8_t byte : bytes) {
        if (auto frame = reader.push(byte, 0, 301)) {
            frames.push_back(std::move(*frame));
        }
    }
    return frames;
}

/// A simulated generator, asked in its own frames.
struct Scene : Simulation {
    explicit Scene(Family family = Family::arkona, int revision = 301)
        : Simulation(std::make_unique<GeneratorPanel>(
              GeneratorPanel::Options{family, revision, 1, 951782399})) {}

    Bytes frameOf(const std::string &text) const override { return encode(text); }
    std::vector<std::string> framesIn(const Bytes &bytes) const override {
        std::vector<std::string> frames;
        for (const Frame &frame : cut(bytes)) {
            frames.push_back(readable(frame.bytes));
        }
        return frames;
    }
    /// The answer to a record's frame, whatever its length field says.
    Bytes ask(std::uint8_t code, std::size_t length, const Bytes &body) {
        Bytes frame = encodeRecord(code, Bytes(length));
        frame.resize(4);
        frame.insert(frame.end(), body.begin(), body.end());
        frame.push_back(static_cast<std::uint8_t>(std::accumulate(frame.begin(), frame.end(), 0)));
        simulator.receive(frame.data(), frame.size(), now);
        return simulator.takeBytes(now);
    }
};

/// The console's end of the whole program's device.
struct Device {
    explicit Device(const std::string &path) : fd(open(path.c_str(), O_RDWR | O_NOCTTY)) {}
    ~Device() { close(fd); }

    void send(const std::string &text) {
        const Bytes sent = text[0] == '[' ? bytesIn(text) : encode(text);
        EXPECT_EQ(::write(fd, sent.data(), sent.size()), static_cast<ssize_t>(sent.size()));
    }

    std::string ask(const std::string &text) {
        send(text);
        return next();
    }
    /// The next frame; nothing when none comes in time.
    std::string next() {
        Bytes frame;
        std::uint8_t byte = 0;
        pollfd waiting{fd, POLLIN, 0};
        while (cut(frame).empty() && poll(&waiting, 1, 5000) == 1 && ::read(fd, &byte, 1) == 1) {
            frame.push_back(byte);
        }
        return cut(frame).empty() ? "" : readable(frame);
    }
    int fd;
};

} // namespace

TEST(SimulatorFrame, MatchesTheWireByteForByte) {
    const std::pair<const char *, Bytes> golden[] = {
        {"KV?", {0x4B, 0x56, 0x3F, 0x03, 0xE3}},    {"KV070", {'K', 'V', '0', '7', '0', 3, 0x3B}},
        {"PR1", {0x50, 0x52, 0x31, 0x03, 0xD6}},    {"FN+1", {0x46, 0x4E, 0x2B, 0x31, 0x03, 0xF3}},
        {"FN-1", {'F', 'N', '-', '1', 0x03, 0xF5}}, {"ST", {0x53, 0x54, 0x03, 0xAA}}};
    for (const auto &[text, bytes] : golden) {
        EXPECT_EQ(encode(text), bytes) << text;
        ASSERT_EQ(cut(bytes).size(), 1U) << text;
        EXPECT_EQ(cut(bytes)[0].text, text);
    }
}

TEST(SimulatorFrame, CutsRecordsDamageAndNoiseApart) {
    const auto frames = cut({0x06, 0x15, 1, 6, 0, 2, 0x03, 0x15, 0x21, 'K', 'V', '?', 3, 0xE4});
    ASSERT_EQ(frames.size(), 4U);
    EXPECT_EQ(frames[0].kind, FrameKind::acknowledge);
    EXPECT_EQ(frames[1].kind, FrameKind::negative);
    EXPECT_EQ(readable(frames[2].bytes), "[01 06 00 02 03 15 21]");
    EXPECT_EQ(frames[3].kind, FrameKind::damaged);
    EXPECT_TRUE(cut(Bytes(100000, 'A')).empty());
    EXPECT_TRUE(cut({0x01, 0x06, 0xFF, 0xFF, 0x00}).empty());
    Scene scene;
    scene.simulator.receive(Bytes{'M', 'A', '0'}.data(), 3, 0);
    scene.now = FrameBuffer::quietLimit;
    scene.play("KV? => KV070");
}

TEST(SimulatorValues, AreClampedSteppedAndTiedTogether) {
    Scene{}.play("KV? => KV070, KV080 => KV080, KV200 => ER203 | KV150, KV-05 => ER203 | KV040, "
                 "KV+ => KV041, KV++ => KV051, KV- => KV050, KV-- => KV040, KV-- => KV040, "
                 "FN+? => FN 0, FN++ => FN+1, FN+- => FN 0, FN+++ => FN+2, FN-9 => ER212 | FN-4, "
                 "ATC-05 => ATC-05, ATC? => ATC-05, ATC12 => ATC12, FS005 => ER213 | FS001, "
                 "FS+ => FS010, FI111 => FI111, FI112 => ER213 | FI111, "
                 "MA00200 => MA00200 MX00020, MX00040 => MX00040 MS00200, ET1 => ET1, "
                 "MA00400 => MA00400 MS00100, MS00200 => MS00200 MA00200, "
                 "WS4 => WS4 BU0 TU2 TB2, !set KV 80 => KV080 | #set KV080, "
                 "!ack on => #ack on, KV090 => ACK, KV999 => ER203, KV? => KV150");
}

TEST(SimulatorValues, SetsBeginWithTheItemThatTheConsoleAwaits) {
    Scene{}.play(
        "RR => KV070 MA00100 MS00100 MX00010 ET0 FO0 FS001 FI010 FN 0 WS1, "
        "RF => FLK070 FLM020 FLF0 FLA0 FLS150 FLZ0 FLD0 FLI000 FLT000, "
        "RS => TU1 WS1 BU1 HE000 ST000, CD4 => CWS4 CBU0 CTO0 CFL1 CSR0 CAE3 CFI010 CFS010, "
        "GR => GR0301, ST => ST000, AP? => AP00000, DS => DS1, DT => DT1, DZ => DZ");
}

TEST(SimulatorValues, WhatCannotBeUnderstoodIsRefused) {
    Scene{}.play(
        "QQ1 => NAK, kv? => NAK, KV7x => NAK, RR1 => NAK, TU1 => NAK, SA => NAK, "
        "SA KV070 => NAK, SA WS1 KV07 => NAK, ER012 => -, !sing => #unknown command: sing, "
        "!set QQ 1 => #usage: set MNEMONIC VALUE, !drop 101 => #usage: drop PERCENT, "
        "!drop 5 6 => #usage: drop PERCENT, !set KV => #usage: set MNEMONIC VALUE");
    Scene{Family::brn450}.play("GR => NAK, FLK? => NAK, RF => NAK, ATP? => NAK, FP? => FP0, "
                               "KV150 => ER203 | KV125, WS4 => WS4 BU0");
}

TEST(SimulatorValues, AProgramIsTakenOverWhole) {
    Scene{}.play("SA WS1 FO0 ET0 FI010 FS001 FN 0 KV100 MA01000 MS04000 => "
                 "WS1 FO0 ET0 FI010 FS001 FN 0 KV100 MA01000 MS04000 MX04000, "
                 "SA WS5 FO1 ET2 FI101 FS007 FN-1 KV180 MA00200 MS00050 => ER213 | ER203 | "
                 "WS5 FO1 ET2 FI101 FS001 FN-1 KV150 MA00200 MS00050 MX00010 BU3 TU2 TB2, "
                 "WS6 => WS6 BU0");
}

TEST(SimulatorHandshake, EachStageNeedsTheConsole) {
    Scene{}.play("!expose => #not possible now: expose, !prep => PR1, PR0 => #prep refused, "
                 "!prep => PR1, +999 => -, +1 => #prep unanswered, "
                 "!prep => PR1, PR1 => #prep accepted, !expose => XR1, XR0 => #exposure refused, "
                 "!expose => XR1, XR1 => #exposure on, ST => ST003, KV090 => ER046 | KV070, "
                 "KV+ => ER046 | KV070, !set KV 80 => #not possible now: set KV 80, +99 => -, +1 "
                 "=> XR0 | AP00010 AT00100 | PR0 | #exposure off 70 kV 100 mA 100 ms | #prep off, "
                 "PR0 => -, XR0 => -, PR1 => -, ST => ST000, DA => DA0000049");
}

TEST(SimulatorHandshake, EitherSideCanEndEarly) {
    const std::string exposed = "!prep => PR1, PR1 => #prep accepted, !expose => XR1, "
                                "XR1 => #exposure on, +40 => -, ";
    const std::string ended = " => XR0 | AP00004 AT00040 | PR0 | "
                              "#exposure off 70 kV 100 mA 40 ms | #prep off, ";
    Scene{}.play(
        exposed + "XR0" + ended + exposed + "!release" + ended +
        "!fluoro on => FLP1, FLP1 => FLX1 | #fluoro prep accepted, FLX1 => #fluoro on, "
        "+3000 => -, XR0 => -, FLI? => FLI003, FLX? => FLX1, +3597000 => -, "
        "!fluoro off => FLX0 | FLP0 | #fluoro off | #fluoro prep off, WS4 => WS4 BU0 TU2 TB2, " +
        exposed + "XR0" + ended +
        // All this was counted: by tubes, hours of fluoroscopy, and in all.
        "[01 03 00 01 00 05] => [01 03 00 10 FF 00 00 02 FF 00 00 01 FF 00 00 01 FF 00 00 03 17], "
        "[01 03 00 01 01 06] => ACK, [01 03 00 01 03 08] => ACK, [01 03 00 01 04 09] => NAK, "
        "[01 03 00 01 00 05] => [01 03 00 10 FF 00 00 00 FF 00 00 01 FF 00 00 00 FF 00 00 03 14]");
}

TEST(SimulatorErrors, LatchedOnesRepeatUntilTheyAreEchoed) {
    Scene{}.play("!error 12 => ER012 | #error 12, !latched 7 => EL007 | #latched 7, "
                 "+1000 => EL007, EL008 => -, ST => ST008, EL007 => #latched 7 acknowledged, "
                 "+1000 => -, !latched 9 => EL009 | #latched 9, +1000 => EL009, +1000 => EL009, "
                 "+1000 => EL009, +1000 => EL009, +1000 => #latched 9 unanswered, ST => ST000");
}

TEST(SimulatorMisbehaviour, EachMishapDoesWhatItSays) {
    Scene{}.play("!drop 100 => #drop 100, KV? => -, !drop 0 => #drop 0, KV? => KV070, "
                 "!nak 100 => #nak 100, KV? => NAK, !nak 0 => #nak 0, "
                 "!duplicate 100 => #duplicate 100, KV? => KV070 | KV070, "
                 "!duplicate 0 => #duplicate 0, !silence 50 => #silence 50, KV? => -, +50 => -, "
                 "!storm 2 => NAK | NAK | #storm 2, !delay 30 => #delay 30, KV? => -, "
                 "!delay 0 => #delay 0, MA? => -, +29 => -, +1 => KV070 | MA00100, "
                 "!silence on => #silence on, KV? => -, !storm 2 => #storm 2");
    const Bytes whole = encode("KV070");
    Misbehaviour corrupting(1), cutting(1), noisy(1), losing(1);
    corrupting.setPercent(Mishap::corrupt, 100);
    losing.setPercent(Mishap::corrupt, 100);
    losing.setPercent(Mishap::drop, 30);
    cutting.setPercent(Mishap::cut, 100);
    noisy.setPercent(Mishap::garbage, 100);
    for (int i = 0; i < 100; ++i) {
        const Bytes corrupted = corrupting.apply(whole, 0).at(0).bytes;
        EXPECT_TRUE(corrupted.size() == whole.size() && corrupted != whole);
        const Transmission other = losing.apply(whole, 0).at(0);
        EXPECT_TRUE(other.lost || other.bytes == corrupted);
        EXPECT_LT(cutting.apply(whole, 0).at(0).bytes.size(), whole.size());
        EXPECT_EQ(noisy.apply(whole, 0).at(1).bytes, whole);
    }
}

TEST(SimulatorMisbehaviour, IsReproducibleFromItsSeed) {
    const auto traffic = [](std::uint32_t seed) {
        Misbehaviour misbehaviour(seed);
        for (std::size_t i = 0; i < mishaps; ++i) {
            misbehaviour.setPercent(static_cast<Mishap>(i), 30);
        }
        Bytes all;
        for (int i = 0; i < 300; ++i) {
            for (const Transmission &each : misbehaviour.apply(encode("MA00100"), 0)) {
                all.insert(all.end(), each.bytes.begin(), each.bytes.end());
            }
        }
        return all;
    };
    EXPECT_EQ(traffic(7), traffic(7));
    EXPECT_NE(traffic(7), traffic(8));
}

TEST(SimulatorRecords, AreReadAndWrittenInTheFormOfTheRevision) {
    const std::string head = "02 01 00 00 00 00 00 05 0A 00 00 00 01 00 14 0F 46 ";
    const std::string none = "00 00 00 00 00 00 00 00 00 00 ";
    Scene{Family::arkona, 299}.play(
        "[01 1A 00 02 01 02 20] => NAK, [01 06 00 02 01 06 10] => NAK, [01 77 00 01 01 7A] => NAK, "
        "[01 06 00 02 01 02 0D] => NAK, KV? => KV070, [01 06 00 02 01 02 0C] => [01 06 00 1A " +
        head + "00 00 07 00 00 00 00 00 00 A4]");
    // A write has 20 bytes more, which aren't kept, nor is the reserved one behind the mA.
    const std::string write = head + "07 63 07 00 00 00 00 00 00 09 " + none + none;
    const std::string kept = head + "07 00 07 00 00 00 00 00 00 09 C9], ";
    Scene{Family::arkona, 300}.play(
        "[01 1A 00 30 00 " + write + "41] => ACK, [01 1A 00 02 01 02 20] => [01 1A 00 1B " + kept +
        "[01 17 00 02 01 03 1E] => [01 17 00 1A 03 01 01 07 00 FE 00 02 03 E8 04 4C 04 B0 05 14 03 "
        "0A 0B 0C 14 15 16 1E 1F 20 06], [01 C8 00 01 01 CB] => NAK, [01 0A 00 02 00 07 14] => "
        "NAK, !record table 0 1 246 => #record table 0 1 246, [01 C8 00 01 00 CA] => [01 C8 00 34 "
        "FB F6 00 0F 6E 5A EC 54 41 42 4C 45 20 49 4E 20 50 4F 53 49 54 49 4F 4E 00 00 00 00 ...]");
}

TEST(SimulatorRecords, EndWhereTheyEndWhateverTheirLengthFieldSays) {
    // Below revision 150 the field of a write says 11 and 8 bytes follow.
    Scene{Family::brn450}.play("[01 08 00 0B 00 03 05 06 07 00 00 00 29 01 08 00 02 01 03 0F] => "
                               "ACK | [01 08 00 04 03 05 06 07 22], [01 17 00 02 01 03 1E] => NAK");
    Scene{Family::arkona, 150}.play(
        "[01 08 00 0B 00 03 05 06 07 FF 00 01 34 35 36 C8] => ACK, "
        "[01 08 00 02 01 03 0F] => [01 08 00 0A 03 05 06 07 FF 00 01 34 35 36 C7]");
    // A read of a chamber says 10 and nothing follows; it gets the channels in turn.
    Scene{}.play("[01 D3 00 0A 01 07 12 34 00 01 00 02 00 03 32] => ACK, "
                 "[01 D3 00 0A 04 07 12 34 00 01 00 02 00 03 35] => NAK, [01 D3 00 00 D4] => NAK, "
                 "[01 D3 00 0A DE 01 D3 00 0A DE] => [01 D3 00 0A 00 01 02 03 04 05 06 07 08 09 "
                 "0B] | [01 D3 00 0A 01 07 12 34 00 01 00 02 00 03 32]");
}

TEST(SimulatorRecords, AreReadBackAsTheyWereWritten) {
    const struct {
        int revision;
        std::uint8_t code;
        std::size_t indexes, length, follow, size, zerosAt = 0, zeros = 0, paddedAt = 0, padded = 0;
    } forms[] = {// clang-format off
        {301, 0x1A, 1, 48, 48, 27, 18, 1}, {301, 0x15, 0, 148, 205, 184}, {149, 0x08, 1, 11, 8, 4},
        {301, 0x13, 0, 92, 112, 91}, {150, 0x08, 1, 11, 11, 10}, {301, 0x17, 1, 47, 47, 26},
        {301, 0x09, 1, 23, 23, 21}, {301, 0x0A, 0, 17, 17, 16}, {301, 0x18, 1, 38, 38, 17},
        {149, 0x0B, 0, 36, 36, 35}, {150, 0x0B, 0, 64, 64, 53}, {301, 0x12, 0, 78, 78, 57},
        {301, 0x14, 0, 55, 75, 54}, {301, 0x0E, 0, 31, 31, 20}, {301, 0x11, 0, 30, 30, 9},
        {301, 0x05, 0, 9, 9, 8}, {301, 0x10, 0, 3, 4, 3}, {301, 0x07, 2, 9, 9, 8},
        {301, 0x16, 0, 40, 117, 76, 0, 0, 53, 20}, {299, 0x04, 1, 447, 446, 439, 71, 10},
        {300, 0x19, 1, 638, 638, 617, 71, 10}, {299, 0x06, 1, 27, 27, 26, 18, 1}};
    // clang-format on
    for (const auto &form : forms) {
        Scene scene{Family::arkona, form.revision};
        Bytes data(form.size, 1), written{0};
        for (std::size_t i = 0; i < data.size(); ++i) {
            const std::size_t value = i - form.zerosAt < form.zeros ? 0 : 7 * i + 5;
            data[i] = static_cast<std::uint8_t>(i < form.indexes ? 1 : value);
            written.resize(written.size() + (i - form.paddedAt < form.padded));
            written.push_back(data[i]);
        }
        written.resize(form.follow);
        const Bytes read(1 + form.indexes, 1);
        EXPECT_EQ(scene.ask(form.code, form.length, written), Bytes{ack}) << int{form.code};
        EXPECT_EQ(scene.ask(form.code, read.size(), read), encodeRecord(form.code, data));
    }
}

TEST(SimulatorRecords, OfTheGeneratorItselfLive) {
    Scene scene;
    scene.play(
        "+1000 => -, [01 01 00 01 01 04] => [01 01 00 07 07 D0 02 1D 00 00 00 FF], [01 01 00 07 00 "
        "07 D1 02 1D 00 00 00] => NAK, [01 01 00 07 00 07 D1 01 01 18 00 FB] => NAK, [01 01 00 07 "
        "00 07 E7 0C 1F 17 3B 74] => ACK, +60500 => -, [01 01 00 01 01 04] => [01 01 00 07 07 E8 "
        "01 01 00 00 00 FA], !record datetime 0 2 13 => #not possible now: record datetime 0 2 13, "
        "[01 38 00 01 00 01 3B] => ACK, !record bypass => #record bypass 0: 01, [01 38 00 01 01 "
        "3B] => NAK, !record ioconfig 7 => #record ioconfig 7: 01 03 01 04 80 01 04 00, "
        "!record genlimits => #record genlimits 0: A0 96 0B 0A 00 00 21 21, "
        // The second error comes between two reads: the next entry is still the next.
        "!error 12 => ER012 | #error 12, [01 02 00 01 01 05] => [01 02 00 15 04 01 0C 07 E8 01 01 "
        "00 00 46 00 03 07 00 00 00 00 00 02 46 14 C6], KV200 => ER203 | KV150, [01 02 00 01 02 "
        "06] => [01 02 00 15 04 01 0C 07 E8 01 01 00 00 46 00 03 07 00 00 00 00 00 02 46 14 C6], "
        "[01 02 00 01 01 05] => [01 02 00 15 05 03 2E 07 D0 02 1C 03 3B 51 05 0C 0C FE 03 00 00 01 "
        "02 5F 23 75], [01 02 00 01 03 07] => NAK, !latched 7 => EL007 | #latched 7, +1000 => "
        "EL007, [01 02 00 01 00 04] => [01 02 00 15 06 01 07 07 E8 01 01 00 00 96 00 03 07 00 00 "
        "00 00 00 02 46 14 13]");
    Scene small{Family::brn450, 301}; // which has one tube
    EXPECT_EQ(small.outcomeOf("!record tube 1").substr(0, 33), "#record tube 1: 01 00 00 00 00 00");
    for (int i = 0; i < 300; ++i) {
        scene.outcomeOf("!error 9");
    }
    EXPECT_EQ(scene.outcomeOf("[01 02 00 01 01 05]").substr(0, 24), "[01 02 00 15 FF 00 00 00");
}

TEST(SimulatorRecords, AndTheMeterGoWrongAsTheyAreTold) {
    Scene{}.play(
        "!meter absent => #meter absent, DS => DS0, DT => DT0, !meter dead => #meter dead, "
        "DS => DS1, DT => DT0, !meter slow => #meter slow, DT => DT2, DT => DT2, "
        "DT => DT2, DT => DT2, DT => DT2, DT => DT1, "
        "!short 14 => #short 14, [01 0A 00 01 01 0D] => [01 0A 00 02 00 01 0E], "
        "!misfiled on => #misfiled on, [01 0A 00 01 01 0D] => [01 18 00 02 00 01 1C], "
        "!short 99 => #short 99, !duplicate 100 => #duplicate 100, "
        "[01 0A 00 01 01 0D] => [01 18 00 00 19] | [01 18 00 00 19], "
        "!record density 0 16 1 => #density: INSTANCE 0 to 0; OFFSET 0 to 15; VALUE 0 to "
        "255 | #usage: record NAME [INSTANCE [OFFSET VALUE]]");
}

TEST(SimulatorProgram, AnswersAllThatAConsoleAsksInTurn) {
    Process program({TKGEN_SIM_PATH, "--meter", "slow", "--revision", "300"});
    Device console(program.readLine().value_or("device ").substr(7));
    std::istringstream items("DT2 GR0300 DS1 AL FLO FLC CN AI ATP ATA ATC COL FIL BCP RAP FP DA");
    for (std::string item; items >> item;) {
        const std::string mnemonic = item.substr(0, item.find_first_of("0123"));
        EXPECT_EQ(console.ask(mnemonic).substr(0, item.size()), item);
    }
    program.writeLine("record receptor 2 0 6\nrecord receptor 2\nmute TU\nmute GR\nmute record");
    EXPECT_TRUE(program.readUntil("record receptor 2: 06 01 00 00"));
    EXPECT_TRUE(program.readUntil("mute record"));
    console.send("GR");
    console.send("[01 1A 00 02 01 02 20]");
    EXPECT_EQ(console.ask("RS"), "ACK") << "what is muted was answered";
    EXPECT_EQ(console.next(), "WS1 BU1 HE000 ST000");
    EXPECT_EQ(console.ask("WS4"), "WS4 BU0 TB2") << "what is muted was told";
    program.writeLine("unmute");
    EXPECT_TRUE(program.readUntil("unmute"));
    EXPECT_EQ(console.ask("[01 1A 00 02 01 02 20]").substr(0, 15), "[01 1A 00 1B 06");
}

TEST(SimulatorProgram, TalksOverItsDevice) {
    const std::string link = testing::TempDir() + "tkgen-sim-" + std::to_string(getpid());
    Process program({TKGEN_SIM_PATH, "--trace", "--link", link});
    ASSERT_EQ(program.readLine().value_or("").find("device /dev/"), 0U);
    {
        Device console(link);
        EXPECT_EQ(console.ask("KV?"), "KV070");
        EXPECT_TRUE(program.readUntil("> KV070"));
    }
    EXPECT_TRUE(program.readUntil("device closed"));
    Device console(link);
    EXPECT_EQ(console.ask("ST"), "ST000");
    program.writeLine("delay 60000\nerror 12\ndelay 0\nunplug");
    EXPECT_TRUE(program.readUntil("unplugged"));
    std::uint8_t byte = 0;
    EXPECT_LE(read(console.fd, &byte, 1), 0) << "the line is still there";
    EXPECT_NE(access(link.c_str(), F_OK), 0);
    program.writeLine("plug");
    EXPECT_TRUE(program.readUntil("device /dev/"));
    EXPECT_EQ(Device(link).ask("KV?"), "KV070");
    program.closeInput();
    EXPECT_EQ(program.wait(Process::Limit(50)), std::nullopt) << "ended with its input";
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_NE(access(link.c_str(), F_OK), 0) << "the link was left behind";
}

TEST(SimulatorProgram, EndsAsItIsTold) {
    Process quitting({TKGEN_SIM_PATH});
    quitting.writeLine("quit now\nquit");
    EXPECT_TRUE(quitting.readUntil("usage: quit"));
    EXPECT_EQ(quitting.wait(), 0);
    Process ending({TKGEN_SIM_PATH, "--exit-on-eof"});
    ending.closeInput();
    EXPECT_EQ(ending.wait(), 0);
    EXPECT_EQ(Process({TKGEN_SIM_PATH, "--delay", "0x10"}).wait(), 2);
    EXPECT_EQ(Process({TKGEN_SIM_PATH, "--link", "/dev/null"}).wait(), 1);
}
