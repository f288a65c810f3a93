// What a frame costs in the text codec, without an engine: time and trips to the heap.
//
// Encoding is measured as an engine does it, with the copy of the frame that goes into its queue;
// decoding with reading each item out. The operators new and delete are replaced by counting ones.
//
// Look at: Time, well under 1000 ns for every encoded command and up to three decoded items; and
// allocations_a_frame, 1 for an encoded frame (the copy) and 0 for a decoded one.

#include "allocations.h"
#include "support/wire.h"
#include "tk.h"
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

template <class Encode>
void encode(benchmark::State &state, const char *expected, Encode encodeOne) {
    TkTextCodec codec;
    if (!encodeOne(codec) || text(codec.encodedMsg()) != frame(expected)) {
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

void encodeValue(benchmark::State &state) {
    encode(state, "KV070", [](TkTextCodec &codec) { return codec.encode(Tk::KV, 70); });
}

void encodeQuery(benchmark::State &state) {
    encode(state, "KV?",
           [](TkTextCodec &codec) { return codec.encode(Tk::KV, Tk::REQUEST_QUERY); });
}

void encodeProgramLine(benchmark::State &state) {
    encode(state, "SA WS1 FO0 ET2 FI101 FS010 FN+2 KV070 MA00320 MS00100", [](TkTextCodec &codec) {
        return codec.encodeAprMsg(1, 0, 2, 101, 10, 2, 70, 320, 100);
    });
}

/// A frame of so many items, as the answers to reads of whole sets are.
std::vector<unsigned char> frameOf(long items) {
    const std::vector<std::string> some{"KV070", "MA00320", "MS00100", "FN+2", "FLK080", "ATC-10"};
    std::string line;
    for (long i = 0; i < items; ++i) {
        line += (i > 0 ? " " : "") + some[static_cast<std::size_t>(i) % some.size()];
    }
    return bytes(frame(line));
}

void decode(benchmark::State &state) {
    std::vector<unsigned char> received = frameOf(state.range(0));
    TkTextCodec codec;
    if (!codec.decode(&received) || codec.getNumCmds() != state.range(0) ||
        codec.decodedCmd(0) != Tk::KV || codec.decodedValue(0) != 70) {
        state.SkipWithError("the codec read something else");
        return;
    }
    const AllocationCounter counter;
    for (auto _ : state) {
        codec.decode(&received);
        for (int i = 0; i < codec.getNumCmds(); ++i) {
            benchmark::DoNotOptimize(codec.decodedCmd(i));
            benchmark::DoNotOptimize(codec.decodedValue(i));
        }
    }
    counter.report(state);
}

BENCHMARK(encodeValue);
BENCHMARK(encodeQuery);
BENCHMARK(encodeProgramLine);
BENCHMARK(decode)->ArgName("items")->Arg(1)->Arg(3)->Arg(20);

} // namespace

BENCHMARK_MAIN();
