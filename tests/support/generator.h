#ifndef TKGEN_TESTS_GENERATOR_H
#define TKGEN_TESTS_GENERATOR_H

#include "support/clock.h"
#include "support/engine.h"
#include "support/link.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <numeric>
#include <string>
#include <vector>

/// A generator behind a MemoryLink: it answers questions with what stands here, keeps and echoes
/// what it is told, and acknowledges written records. What it has no value for isn't answered,
/// unless it acknowledges.
/// A worker reads all this when it writes: set it before, or in `hear`.
class ScriptedGenerator {
  public:
    /// Hears every frame before it is answered, and says whether it is to be answered.
    std::function<bool(const std::string &written)> hear;

    /// Whether a question is acknowledged whose answer is missing.
    bool acknowledges = false;

    /// Mnemonics and values as the wire carries them; the revision is "GR".
    std::map<std::string, std::string> values{{"ST", "000"},  {"GR", "0300"}, {"KV", "070"},
                                              {"FLK", "080"}, {"FLF", "0"},   {"TU", "1"},
                                              {"WS", "1"},    {"DS", "0"},    {"AL", "0"}};

    /// What comes before the answer to a command, as an error does.
    std::map<std::string, std::string> before;

    /// The data of the records as the wire carries them, from the index on.
    using Data = std::vector<unsigned char>;
    std::vector<Data> receptors = numbered(6, 27);
    std::vector<Data> aecSetups = numbered(4, 28);
    Data table{5, 6, 7, 8};

    /// What this answers to a frame, for a MemoryLink's constructor: [&](auto &w) { ... }
    std::string answer(const std::string &written) {
        if (hear && !hear(written)) {
            return {};
        }
        return written.front() == '\x01' ? answerRecord(written) : answerText(written);
    }

    /// A binary reply: head, data and sum.
    static std::string record(char code, const Data &data) {
        const std::string body =
            std::string{1, code, 0, static_cast<char>(data.size())} + text(data);
        return body + static_cast<char>(std::accumulate(body.begin(), body.end(), 0));
    }

  private:
    static std::vector<Data> numbered(unsigned char count, std::size_t size) {
        std::vector<Data> all(count, Data(size));
        for (unsigned char i = 0; i < count; ++i) {
            all[i].front() = i;
        }
        return all;
    }

    std::string answerRecord(const std::string &written) const {
        const char code = written[1];
        if (code == '\xC8') {
            return record(code, table);
        }
        const bool receptor = code == 0x06 || code == 0x1A;
        const auto index = static_cast<std::size_t>(written[5]);
        const bool read = written[4] == 1 && !(receptor ? receptors : aecSetups).at(index).empty();
        return read ? record(code, (receptor ? receptors : aecSetups).at(index)) : "\x06";
    }

    std::string answerText(const std::string &written) {
        const std::string item = written.substr(0, written.size() - 2);
        const std::size_t end = item.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
        const std::string mnemonic = item.substr(0, end);
        const std::string error = before[mnemonic];
        if (mnemonic == "SA") {
            return error + frame(item.substr(3));
        }
        if (end != std::string::npos && item[end] != '?') {
            values[mnemonic] = item.substr(end);
        }
        const std::map<std::string, std::vector<std::string>> sets{
            {"RR", {"KV", "MA", "MS", "MX", "ET", "FS", "FI", "FN"}},
            {"RF", {"FLK", "FLM", "FLI", "FLT", "FLS", "FLF", "FLA", "FLZ", "FLD"}},
            {"RS", {"TU", "WS", "FO", "BU", "HE"}}};
        const auto set = sets.find(mnemonic);
        const std::vector<std::string> names =
            set == sets.end() ? std::vector{mnemonic} : set->second;
        const bool acked = acknowledges && values.count(names.front()) == 0;
        std::string said;
        for (const std::string &name : names) {
            const auto value = values.find(name);
            said += value == values.end() ? "" : ' ' + name + value->second;
        }
        return error + std::string(acked, '\x06') + (said.empty() ? said : frame(said.substr(1)));
    }
};

/// Stories of an engine that polls such a generator, cycle by cycle, with the clock in hand.
class PolledEngine : public testing::Test {
  protected:
    ~PolledEngine() override { DrivenGenerator::setRevision(0); } // which all engines share

    /// Polls until all is known.
    void connect() {
        engine.enableRefresh(true, false);
        for (int i = 0; i < 100 && !engine.connected(); ++i) {
            engine.cycle();
        }
        ASSERT_TRUE(engine.connected());
    }

    SettableClock clock;
    ScriptedGenerator generator;
    MemoryLink link{[this](const std::string &written) { return generator.answer(written); }};
    DrivenGenerator engine{&link};
};

#endif
