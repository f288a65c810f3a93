#include "simulator/gehl.h"
#include "simulator/infimed.h"
#include "support/process.h"
#include "support/simulation.h"

#include <functional>
#include <numeric>

#include <fcntl.h>
#include <unistd.h>

using namespace tksim;

namespace {

/// Whether frames have an STX before the text, and a sum behind the ETX.
template <class Simulated, bool framed>
struct Scene : Simulation {
    Scene() : Simulation(std::make_unique<Simulated>()) {}

    Bytes frameOf(const std::string &text) const override {
        const std::string frame = (framed ? "\x02" : "") + text + "\x03";
        Bytes bytes(frame.begin(), frame.end());
        if (framed) {
            const int sum = std::accumulate(text.begin(), text.end(), 0, std::bit_xor<int>());
            bytes.push_back(static_cast<std::uint8_t>(sum));
        }
        return bytes;
    }
    std::vector<std::string> framesIn(const Bytes &bytes) const override {
        std::vector<std::string> frames;
        for (Bytes rest = bytes; !rest.empty();) {
            const std::string text(rest.begin() + framed,
                                   std::find(rest.begin() + framed, rest.end(), 3));
            const Bytes whole = frameOf(text);
            const bool sound =
                std::search(rest.begin(), rest.end(), whole.begin(), whole.end()) == rest.begin();
            frames.push_back(sound ? text : readable({rest[0]}, ""));
            rest.erase(rest.begin(), rest.begin() + (sound ? static_cast<int>(whole.size()) : 1));
        }
        return frames;
    }
};

using Infimed = Scene<InfimedConsole, true>;
using GEHL = Scene<GEHLConsole, false>;

} // namespace

TEST(InfimedSimulator, AnswersSetsAndStepsAndRefusesWhatIsOutOfRange) {
    Infimed{}.play(
        "[02 5F 4A 3F 40 03 6A] => _j0@, _J3@ => _j3@, _J?@ => _j3@, _J4@ => *acquire out of "
        "range@, [02 4A 30 40 2B 33 40 31 40 03 13] => j0@02051@, J0@-2@4@ => j0@02043@, "
        "J0@-0@1@ => j0@02043@, J1@-1@1@ => j1@-0001@, J1@+9@1@ => -, !set window 4095 => "
        "j0@04095@ | #set window 4095, J0@+3@1@ => j0@04096@, !set edge 7 => j2@0007@ | #set "
        "edge 7, J2@+1@1@ => j2@0000@, Q1@ => q1@, N1@ => n1@, L1@ => l1@, M1@ => m1@, Q?@ => "
        "q1@, v00100000@ => v3@, )@ => -, (0@ => -, _>0@ => -, &5@ => -, &4@ => -, !mute mask "
        "=> #mute mask, Q2@ => -, !unmute => #unmute, Q?@ => q2@, !set mask 4 => #mask: VALUE "
        "0 to 3 | #usage: set NAME VALUE");
}

TEST(InfimedSimulator, FindsFramesByPositionAndRefusesDamageAsItIsTold) {
    // At last a sum that looks like an ETX, noise, and a rest that the quiet drops.
    const std::string damaged = "[02 5F 4A 3F 40 03 6B] => ";
    Infimed{}.play(
        damaged + "-, Z@ => -, !refuse on => #refuse on, " + damaged +
        "NAK, Z@ => NAK, [02 42 41 40 40 03 03 02 51 3F 40 03 2E] => NAK | q0@, [FF 41 02 51 "
        "3F 40 03 2E] => q0@, [02 51] => -, +200 => -, Q?@ => q0@");
}

TEST(InfimedSimulator, TellsTextsAndCountsTheAcksThatStayAway) {
    Infimed scene;
    scene.play(
        "!text no disk => *no disk@ | #text no disk, !text => *@ | #text, [06] => -, !acquire "
        "2 the door => _j2the door@ | #acquire 2 the door, !send q7@ => q7@ | #send q7@, [06] "
        "=> -, !acks on => #acks on, Q1@ => ACK | q1@, !raw 02 7G => #usage: raw BYTE..., !raw "
        "02 06 => [02] | ACK | #raw 02 06, !storm 2 => NAK | NAK | #storm 2");
    EXPECT_NE(scene.outcomeOf("!show").find("#missing acks 0"), std::string::npos);
    scene.play("+1000 => -, [06] => -");
    EXPECT_NE(scene.outcomeOf("!show").find("#missing acks 3"), std::string::npos);
}

TEST(GEHLSimulator, AnswersByItemsAndIsSilentAboutTheRest) {
    GEHL{}.play(
        "[53 3F 03] => S0, S2 => S2, F+ => F1, B++ => B2, B-- => B0, B- => B0, S? => S2, S4 => "
        "-, S12 => -, S => -, S+- => -, L3 => -, L => -, R? => -, R => -, R5 => R5, N0042 => "
        "N0042, N42 => -, Q1 => -, SS1 => -, !refuse on => #refuse on, S4 => NAK, L? => NAK, "
        "!items 3 => #items 3, R0 => R0 N0042 S2, !mute number => #mute number, R0 => R0 S2, "
        "N0001 => -, !set rate 5 => F5 | #set rate 5, !set loop 2 => L2 | #set loop 2, !send "
        "S1 F2 => S1 F2 | #send S1 F2, !items 9 => #usage: items COUNT");
}

TEST(ConsoleSimulators, AreProgramsThatMisbehaveAsTheGenerator) {
    const struct {
        std::string option, query, answer;
    } consoles[] = {{"--infimed", "\x02Q?@\x03.", "> q0@"}, {"--gehl", "V?\x03", "> V0"}};
    for (const auto &[option, query, answer] : consoles) {
        Process program({TKGEN_SIM_PATH, option, "--duplicate", "100", "--trace", "--exit-on-eof"});
        const int line = open(program.readLine().value_or("device ").substr(7).c_str(), O_RDWR);
        EXPECT_EQ(write(line, query.data(), query.size()), static_cast<ssize_t>(query.size()));
        EXPECT_TRUE(program.readUntil(answer + " : duplicate"));
        close(line);
        program.closeInput();
        EXPECT_EQ(program.wait(), 0);
        EXPECT_EQ(Process({TKGEN_SIM_PATH, option, "--family", "arkona"}).wait(), 2);
    }
    EXPECT_EQ(Process({TKGEN_SIM_PATH, "--infimed", "--gehl"}).wait(), 2);
}
