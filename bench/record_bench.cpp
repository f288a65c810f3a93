// What a record costs, without a line: time and trips to the heap.
//
//   encode, ask, decode   a frame that writes a record, one that asks for it, and the reply, at
//                         revision 300: of the largest record, a tube's, and of smaller ones
//   bytes                 the same number of bytes appended to a vector one by one, with their sum
//   copy                  a receptor record as an application gets it
//   status                what a console asks to draw a screen, of a connected engine whose worker
//                         sleeps: 40 times whether a parameter is shown and 40 times whether it may
//                         be changed
//
// Look at: Time, that of encode of a tube against bytes; allocations_a_call: one to encode and to
// ask, the frame itself, and none else. More is an error.

#include "allocations.h"
#include "lines.h"
#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_fluoro.h"
#include "tkbinary_receptors.h"
#include "tkbinary_tubedata.h"
#include "tkgeneratorcontrol.h"
#include "tkgeneratorstatus.h"

#include <benchmark/benchmark.h>

#include <array>
#include <numeric>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int READ = 998;
constexpr int WRITE = 999;

/// A record whose frames a benchmark makes and takes itself.
template <class Record>
struct Open : Record {
    using Record::generateCommand;
    using Record::receiveMsg;
};

/// Records are in the form of revision 300 from now on.
struct Revision : Tk {
    static void set() { m_nGeneratorRevision = 300; }
};

/// Measures a call that may take so many pieces from the heap.
template <class Call>
void measure(benchmark::State &state, long pieces, Call call) {
    const long before = allocations::count;
    for (auto _ : state) {
        call();
    }
    const long taken = allocations::count - before;
    state.counters["allocations_a_call"] =
        benchmark::Counter(static_cast<double>(taken), benchmark::Counter::kAvgIterations);
    if (taken > pieces * state.iterations()) {
        state.SkipWithError("takes more from the heap");
    }
}

template <class Record>
void generate(benchmark::State &state, int mode, std::size_t size) {
    Revision::set();
    Open<Record> record;
    if (record.generateCommand(mode).size() != size) {
        state.SkipWithError("the frame has another size");
        return;
    }
    measure(state, 1, [&] {
        const Bytes frame = record.generateCommand(mode);
        benchmark::DoNotOptimize(frame.data());
    });
}

template <class Record, std::size_t Size>
void encode(benchmark::State &state) {
    generate<Record>(state, WRITE, Size);
}

template <class Record, std::size_t Size>
void ask(benchmark::State &state) {
    generate<Record>(state, READ, Size);
}

/// A reply with so many data, all 1.
Bytes replyOf(std::size_t size) {
    Bytes reply{1, 0, static_cast<unsigned char>(size >> 8),
                static_cast<unsigned char>(size & 0xFF)};
    reply.resize(5 + size, 1);
    return reply;
}

template <class Record, std::size_t Size>
void decode(benchmark::State &state) {
    Revision::set();
    Open<Record> record;
    Bytes reply = replyOf(Size);
    if (!record.receiveMsg(&reply) || !record.isValid()) {
        state.SkipWithError("the reply wasn't taken");
        return;
    }
    measure(state, 0, [&] { benchmark::DoNotOptimize(record.receiveMsg(&reply)); });
}

template <std::size_t Size>
void bytes(benchmark::State &state) {
    Bytes source(Size, 1);
    benchmark::DoNotOptimize(source.data());
    measure(state, 1, [&] {
        Bytes frame;
        frame.reserve(Size);
        for (const unsigned char byte : source) {
            frame.push_back(byte);
        }
        benchmark::DoNotOptimize(std::accumulate(frame.begin(), frame.end(), 0U));
    });
}

void copy(benchmark::State &state) {
    Revision::set();
    Open<TkBinary_Receptors> record;
    Bytes reply = replyOf(27);
    record.receiveMsg(&reply);
    TkBinary_Receptors out;
    measure(state, 1, [&] { // by way of its data
        out = record;
        benchmark::DoNotOptimize(&out);
    });
    if (!out.isValid() || out.AECLock != 1) {
        state.SkipWithError("the copy is another");
    }
}

constexpr std::array<int, 40> PARAMETERS{
    Tk::KV,  Tk::MA,  Tk::MS,  Tk::MX,  Tk::ET,  Tk::FS,  Tk::FI,  Tk::FN,  Tk::AP,  Tk::AT,
    Tk::AI,  Tk::FLK, Tk::FLM, Tk::FLI, Tk::FLT, Tk::FLS, Tk::FLF, Tk::FLA, Tk::FLZ, Tk::FLD,
    Tk::FLC, Tk::FLO, Tk::ATA, Tk::ATC, Tk::DA,  Tk::DR,  Tk::DZ,  Tk::WS,  Tk::FO,  Tk::BU,
    Tk::TU,  Tk::AL,  Tk::CN,  Tk::HE,  Tk::ATP, Tk::COL, Tk::FIL, Tk::FP,  Tk::BCP, Tk::RAP};

void status(benchmark::State &state) {
    MemoryLine<Generator> line;
    TkGeneratorControl engine(&line.link());
    engine.startControl();
    engine.enableRefresh(true, false);
    for (int i = 0; i < 1000 && !engine.connected(); ++i) {
        TkThread::tksleep(1);
    }
    engine.stopControl();
    const TkGeneratorStatus status(&engine);
    if (!status.displayableParam(Tk::KV)) {
        state.SkipWithError("the engine doesn't show the tube voltage");
        return;
    }
    measure(state, 0, [&] {
        for (const int parameter : PARAMETERS) {
            benchmark::DoNotOptimize(status.displayableParam(parameter));
            benchmark::DoNotOptimize(status.controllableParam(parameter));
        }
    });
}

BENCHMARK_TEMPLATE(encode, TkBinary_TubeData, 643);
BENCHMARK_TEMPLATE(bytes, 643);
BENCHMARK_TEMPLATE(encode, TkBinary_HLF_PulseFluoro, 122);
BENCHMARK_TEMPLATE(encode, TkBinary_Receptors, 53);
BENCHMARK_TEMPLATE(encode, TkBinary_AECSetup, 52);
BENCHMARK_TEMPLATE(encode, TkBinary_AECDensity, 22);
BENCHMARK_TEMPLATE(ask, TkBinary_Receptors, 7);
BENCHMARK_TEMPLATE(ask, TkBinary_DorvaTable, 6);
BENCHMARK_TEMPLATE(decode, TkBinary_TubeData, 617);
BENCHMARK_TEMPLATE(decode, TkBinary_Receptors, 27);
BENCHMARK_TEMPLATE(decode, TkBinary_AECSetup, 26);
BENCHMARK_TEMPLATE(decode, TkBinary_AECDensity, 16);
BENCHMARK_TEMPLATE(decode, TkBinary_DorvaTable, 52);
BENCHMARK(copy);
BENCHMARK(status)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
