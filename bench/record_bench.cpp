// What a record costs, without a line: time and trips to the heap.
//
//   encode, ask, decode   a frame that writes a record, one that asks for it, and the reply, of the
//                         largest records at revision 300 and of the smallest
//   copy                  a receptor record as an application gets it
//   status                what a console asks to draw a screen, of a connected engine whose worker
//                         sleeps: 40 times whether a parameter is shown and 40 times whether it may
//                         be changed
//
// Look at: Time; allocations_a_call: a frame's vector grows as it is written, a reply takes none,
// nor does a question to the status.

#include "allocations.h"
#include "generator.h"
#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_receptors.h"
#include "tkgeneratorcontrol.h"
#include "tkgeneratorstatus.h"

#include <benchmark/benchmark.h>

#include <array>
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

template <class Call>
void measure(benchmark::State &state, Call call) {
    const long before = allocations::count;
    for (auto _ : state) {
        call();
    }
    state.counters["allocations_a_call"] = benchmark::Counter(
        static_cast<double>(allocations::count - before), benchmark::Counter::kAvgIterations);
}

template <class Record>
void generate(benchmark::State &state, int mode, std::size_t size) {
    Revision::set();
    Open<Record> record;
    if (record.generateCommand(mode).size() != size) {
        state.SkipWithError("the frame has another size");
        return;
    }
    measure(state, [&] {
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
Bytes replyOf(unsigned char size) {
    Bytes reply{1, 0, 0, size};
    reply.resize(std::size_t{5} + size, 1);
    return reply;
}

template <class Record, unsigned char Size>
void decode(benchmark::State &state) {
    Revision::set();
    Open<Record> record;
    Bytes reply = replyOf(Size);
    if (!record.receiveMsg(&reply) || !record.isValid()) {
        state.SkipWithError("the reply wasn't taken");
        return;
    }
    measure(state, [&] { benchmark::DoNotOptimize(record.receiveMsg(&reply)); });
}

void copy(benchmark::State &state) {
    Revision::set();
    Open<TkBinary_Receptors> record;
    Bytes reply = replyOf(27);
    record.receiveMsg(&reply);
    TkBinary_Receptors out;
    measure(state, [&] {
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
    AnsweringLeanLine line(std::chrono::milliseconds(0));
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
    measure(state, [&] {
        for (const int parameter : PARAMETERS) {
            benchmark::DoNotOptimize(status.displayableParam(parameter));
            benchmark::DoNotOptimize(status.controllableParam(parameter));
        }
    });
}

BENCHMARK_TEMPLATE(encode, TkBinary_Receptors, 53);
BENCHMARK_TEMPLATE(encode, TkBinary_AECSetup, 52);
BENCHMARK_TEMPLATE(encode, TkBinary_AECDensity, 22);
BENCHMARK_TEMPLATE(ask, TkBinary_Receptors, 7);
BENCHMARK_TEMPLATE(ask, TkBinary_DorvaTable, 6);
BENCHMARK_TEMPLATE(decode, TkBinary_Receptors, 27);
BENCHMARK_TEMPLATE(decode, TkBinary_AECSetup, 26);
BENCHMARK_TEMPLATE(decode, TkBinary_AECDensity, 16);
BENCHMARK_TEMPLATE(decode, TkBinary_DorvaTable, 52);
BENCHMARK(copy);
BENCHMARK(status)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
