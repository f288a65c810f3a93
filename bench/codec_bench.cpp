// What a frame costs in the three codecs, without an engine: time and trips to the heap.
//
// Encoding is measured as an engine does it, with the copy of the frame that goes into its queue;
// decoding with reading out what the frame tells, as an engine does that too. The operators new and
// delete are replaced by counting ones.
//
// Look at: Time, well under 1000 ns for every encoded command and up to three decoded items; and
// allocations_a_frame, 1 for an encoded frame (the copy) and 0 for a decoded one, but 1 for a
// decoded text (its copy).

#include "allocations.h"
#include "support/wire.h"
#include "tk.h"
#include "tkgehlcodec.h"
#include "tkgehlcontrol.h"
#include "tkinfimedcodec.h"
#include "tkinfimedcontrol.h"
#include "tktextcodec.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

/// Counts the allocations of a benchmark's loop, from construction on.
class AllocationCounter {
  public:
    void report(benchmark::State &state) const {
        const long made = allocations::count - m_nBefore;
        state.counters["allocations_a_frame"] =
            benchmark::Counter(static_cast<double>(made), benchmark::Counter::kAvgIterations);
    }

  private:
    const long m_nBefore = allocations::count;
};

template <class Codec>
void encode(benchmark::State &state, const std::string &expected, bool (*encodeOne)(Codec &)) {
    Codec codec;
    if (!encodeOne(codec) || text(codec.encodedMsg()) != expected) {
        state.SkipWithError("the codec made another frame");
        return;
    }
    const AllocationCounter counter;
    for (auto _ : state) {
        encodeOne(codec);
        const std::vector<unsigned char> made = codec.encodedMsg();
        benchmark::DoNotOptimize(made.data());
    }
    counter.report(state);
}

/// Items as the answers to reads of whole sets have them, so many of some.
std::string itemsOf(const std::vector<std::string> &some, long items) {
    std::string line;
    for (long i = 0; i < items; ++i) {
        line += (i > 0 ? " " : "") + some[static_cast<std::size_t>(i) % some.size()];
    }
    return line;
}

/// Decodes over and over. `told` gives what a frame tells as one number, which is to be `expected`.
template <class Codec>
void decode(benchmark::State &state, const std::string &frame, long expected,
            long (*told)(Codec &)) {
    std::vector<unsigned char> received = bytes(frame);
    Codec codec;
    if (!codec.decode(&received) || told(codec) != expected) {
        state.SkipWithError("the codec read something else");
        return;
    }
    const AllocationCounter counter;
    for (auto _ : state) {
        codec.decode(&received);
        benchmark::DoNotOptimize(told(codec));
    }
    counter.report(state);
}

/// The sum of all values.
template <class Codec>
long itemsTold(Codec &codec) {
    long sum = 0;
    for (int i = 0; i < codec.getNumCmds(); ++i) {
        benchmark::DoNotOptimize(codec.decodedCmd(i));
        sum += codec.decodedValue(i);
    }
    return sum;
}

/// The value, and a thousand for each character of the text.
long infimedTold(TkInfimedCodec &codec) {
    benchmark::DoNotOptimize(codec.decodedCmd());
    return codec.decodedValue() + 1000 * static_cast<long>(codec.errorMsg().size());
}

void decodeGenerator(benchmark::State &state) {
    const long sums[] = {70, 70 + 320 + 100, 3 * (70 + 320 + 100 + 2 + 80 - 10) + 70 + 320};
    const long items = state.range(0);
    decode<TkTextCodec>(
        state, frame(itemsOf({"KV070", "MA00320", "MS00100", "FN+2", "FLK080", "ATC-10"}, items)),
        sums[items > 3 ? 2 : items / 3], itemsTold<TkTextCodec>);
}

void decodeGehl(benchmark::State &state) {
    const long sums[] = {1, 1 + 2 + 3, 6 * (1 + 2 + 3) + 1 + 2};
    const long items = state.range(0);
    decode<TkGEHLTextCodec>(state, gehlFrame(itemsOf({"S1", "F2", "B3"}, items)),
                            sums[items > 3 ? 2 : items / 3], itemsTold<TkGEHLTextCodec>);
}

BENCHMARK_CAPTURE(
    encode, generatorValue, frame("KV070"),
    +[](TkTextCodec &codec) { return codec.encode(Tk::KV, 70); });
BENCHMARK_CAPTURE(
    encode, generatorQuery, frame("KV?"),
    +[](TkTextCodec &codec) { return codec.encode(Tk::KV, Tk::REQUEST_QUERY); });
BENCHMARK_CAPTURE(
    encode, generatorProgramLine, frame("SA WS1 FO0 ET2 FI101 FS010 FN+2 KV070 MA00320 MS00100"),
    +[](TkTextCodec &codec) { return codec.encodeAprMsg(1, 0, 2, 101, 10, 2, 70, 320, 100); });
BENCHMARK_CAPTURE(
    encode, infimedValue, infimedFrame("Q1@"),
    +[](TkInfimedCodec &codec) { return codec.encode(TkInfimedControl::MASK, 1, 0); });
BENCHMARK_CAPTURE(
    encode, infimedQuery, infimedFrame("_J?@"), +[](TkInfimedCodec &codec) {
        return codec.encode(TkInfimedControl::ACQUIRE, Tk::REQUEST_QUERY, 0);
    });
BENCHMARK_CAPTURE(
    encode, infimedStep, infimedFrame("J1@+3@1@"), +[](TkInfimedCodec &codec) {
        return codec.encode(TkInfimedControl::LEVEL, TkInfimedControl::STEP_UP_3, 0);
    });
BENCHMARK_CAPTURE(
    encode, gehlValue, gehlFrame("F3"),
    +[](TkGEHLTextCodec &codec) { return codec.encode(TkGEHLControl::FRAME_RATE, 3); });
BENCHMARK_CAPTURE(
    encode, gehlQuery, gehlFrame("S?"),
    +[](TkGEHLTextCodec &codec) { return codec.encode(TkGEHLControl::STATE, Tk::REQUEST_QUERY); });

BENCHMARK(decodeGenerator)->ArgName("items")->Arg(1)->Arg(3)->Arg(20);
BENCHMARK_CAPTURE(decode, infimedDigit, infimedFrame("q1@"), 1, infimedTold);
BENCHMARK_CAPTURE(decode, infimedNumber, infimedFrame("j1@00123@"), 123, infimedTold);
BENCHMARK_CAPTURE(decode, infimedText, infimedFrame("_j3no disk left@"), 12003, infimedTold);
BENCHMARK(decodeGehl)->ArgName("items")->Arg(1)->Arg(3)->Arg(20);

} // namespace

BENCHMARK_MAIN();
