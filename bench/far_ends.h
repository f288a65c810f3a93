#ifndef TKGEN_BENCH_FAR_ENDS_H
#define TKGEN_BENCH_FAR_ENDS_H

#include "support/wire.h"
#include "tkdispatchers.h"
#include "tkgehlcontrol.h"
#include "tkgeneratorcontrol.h"
#include "tkinfimedcontrol.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <numeric>
#include <string>
#include <string_view>

// The three engines with what stands at the other end of their lines. Of each:
//
//   set, holds    asks for a setting that depends on `i`; whether the engine has been told it
//   whole         the size of the first frame in what was received, 0 while it isn't whole
//   answer        to a frame; empty when it isn't answered
//   LAST_OF_PASS  with which the last question of a pass of polling begins
//   AT_REST       so long after it was made the engine asks for what connects it

/// The size of a text frame, which ends one byte behind its ETX.
inline std::size_t summedSize(const std::string &received) {
    const std::size_t etx = received.find('\x03');
    return etx == std::string::npos || etx + 2 > received.size() ? 0 : etx + 2;
}

/// A generator of revision 301. A setting is answered by its echo.
struct Generator {
    using Engine = TkGeneratorControl;
    using Dispatcher = TkGenDispatcher;
    static constexpr std::string_view LAST_OF_PASS = "ST";
    static constexpr std::chrono::milliseconds AT_REST{0};

    static bool set(Engine &engine, int i, bool wait) {
        return engine.transmitMsg(Tk::KV, 40 + i % 100, wait);
    }
    static bool holds(const Engine &engine, int i) {
        return engine.getGenParam(Tk::KV) == 40 + i % 100;
    }

    static std::size_t whole(const std::string &received) {
        if (received.size() < 2 || received.front() != '\x01') {
            return summedSize(received);
        }
        const std::size_t size =
            received.size() < 4 ? 0 : 5 + static_cast<std::size_t>(received[3]);
        return received.size() < size ? 0 : size;
    }

    static std::string answer(const std::string &asked) {
        if (asked.front() == '\x01') {
            return record(asked);
        }
        const std::size_t end = asked.find_first_of("?\x03");
        const bool setting = end > 0 && asked[end - 1] >= '0' && asked[end - 1] <= '9';
        if (setting) {
            return asked;
        }
        const auto answer = ANSWERS.find(asked.substr(0, end));
        return answer == ANSWERS.end() ? std::string() : frame(answer->second);
    }

  private:
    static std::string record(const std::string &asked) {
        const bool receptor =
            asked[1] == 0x1A || asked[1] == 0x06; // else the setup of an AEC channel
        std::string reply{1, asked[1], 0, receptor ? '\x1B' : '\x1A'};
        reply += asked[5]; // the index
        reply.resize(4 + static_cast<std::size_t>(reply[3]), '\x01');
        return reply + static_cast<char>(std::accumulate(reply.begin(), reply.end(), 0));
    }

    inline static const std::map<std::string, std::string> ANSWERS{
        {"ST", "ST000"},
        {"GR", "GR0301"},
        {"DS", "DS0"},
        {"AL", "AL0"},
        {"FLO", "FLO1"},
        {"FLC", "FLC1"},
        {"RR", "KV070 MA00320 MS00100 MX00032 ET0 FS010 FI111 FN+0"},
        {"RF", "FLK080 FLM030 FLI005 FLT005 FLS030 FLF0 FLA0 FLZ0 FLD0"},
        {"RS", "TU1 WS1 FO0 BU0 HE010"}};
};

/// An Infimed console. It gets an ACK for each of its answers, and a sign of life between two
/// questions.
struct Infimed {
    using Engine = TkInfimedControl;
    using Dispatcher = TkInfimedDispatcher;
    static constexpr std::string_view LAST_OF_PASS = "\x02_J";
    static constexpr std::chrono::milliseconds AT_REST{1000}; // two ticks

    static bool set(Engine &engine, int i, bool wait) {
        return engine.transmitMsg(TkInfimedControl::MASK, i % 10, wait);
    }
    static bool holds(const Engine &engine, int i) {
        return engine.getInfimedParam(TkInfimedControl::MASK) == i % 10;
    }

    static std::size_t whole(const std::string &received) {
        constexpr char ACK = '\x06';
        return !received.empty() && received.front() == ACK ? 1 : summedSize(received);
    }

    static std::string answer(const std::string &asked) {
        if (asked.size() < 2) {
            return {};
        }
        switch (asked[1]) {
        case 'Q':
            return infimedFrame({'q', asked[2], '@'});
        case '_':
            return infimedFrame("_j1@");
        default:
            return {};
        }
    }
};

/// A GEHL console. A setting is answered by its echo.
struct Gehl {
    using Engine = TkGEHLControl;
    using Dispatcher = TkGEHLDispatcher;
    static constexpr std::string_view LAST_OF_PASS = "H";
    static constexpr std::chrono::milliseconds AT_REST{0};

    static bool set(Engine &engine, int i, bool wait) {
        return engine.transmitMsg(TkGEHLControl::FRAME_RATE, i % 10, wait);
    }
    static bool holds(const Engine &engine, int i) {
        return engine.getGEHLParam(TkGEHLControl::FRAME_RATE) == i % 10;
    }

    static std::size_t whole(const std::string &received) {
        return received.find('\x03') + 1; // 0 where there is none
    }

    static std::string answer(const std::string &asked) {
        return asked[1] == '?' ? gehlFrame({asked[0], '1'}) : asked;
    }
};

/// One of them at the end of a line, and what it counts.
template <class Kind>
class FarEnd {
  public:
    long frames() const { return m_nFrames; }                 // that it answered
    long passes() const { return m_nPasses; }                 // of polling that have ended
    long framesOfPasses() const { return m_nFramesOfPasses; } // until the end of the last one

    std::string answer(const std::string &asked) {
        std::string answer = Kind::answer(asked);
        if (!answer.empty()) {
            m_nFrames.fetch_add(1, std::memory_order_relaxed);
        }
        if (asked.compare(0, Kind::LAST_OF_PASS.size(), Kind::LAST_OF_PASS) == 0) {
            m_nPasses.fetch_add(1, std::memory_order_relaxed);
            m_nFramesOfPasses = m_nFrames.load();
        }
        return answer;
    }

  private:
    std::atomic<long> m_nFrames{0};
    std::atomic<long> m_nPasses{0};
    std::atomic<long> m_nFramesOfPasses{0};
};

#endif
