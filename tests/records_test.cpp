#include "support/record.h"
#include "tkbinary_aec.h"
#include "tkbinary_custom.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_fluoro.h"
#include "tkbinary_system.h"
#include "tkbinary_tubedata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <string>
#include <thread>

namespace {

TEST(Records, KeepTheTextsOfTheTableApartAndTerminated) {
    Open<TkBinary_DorvaTable> table;
    EXPECT_EQ(table.read(), (Bytes{1, 0xC8, 0, 1, 0, 0xCA}));
    EXPECT_EQ(table.write(), table.read());
    for (std::size_t size = 0; size <= 64; ++size) {
        EXPECT_TRUE(table.receive(data(0x80, size), 9));
        EXPECT_EQ(std::string(table.guidance).size() + 7, std::clamp<std::size_t>(size, 7, 39));
        EXPECT_EQ(std::string(table.filter).size() + 39, std::clamp<std::size_t>(size, 39, 51));
        EXPECT_EQ(table.status, size < 52 ? 0 : -68);
    }
    const Open<TkBinary_DorvaTable> copy = table;
    table.receive(Bytes(52, 'a'));
    EXPECT_EQ((Values{copy.cArc_Tilt, copy.cArc_Rotation, copy.mainArm_Tilt, copy.tableTop_Tilt,
                      copy.sid, copy.mainCenter_UpDown, copy.tableTop_UpDown, copy.status}),
              (Values{-128, -18, -19, -20, 235, 234, -23, -68}));
    const Bytes all = data(0);
    EXPECT_EQ(std::string(copy.guidance).append(copy.filter), std::string(&all[7], &all[51]));
    EXPECT_EQ(std::string(table.guidance).append(table.filter), std::string(44, 'a'));
}

TEST(Records, FileTheChambersUnderTheirChannels) {
    Open<TkBinary_SCAEC_ChamberSetup> all;
    for (int channel = 3; channel >= 0; --channel) {
        EXPECT_FALSE(all.allValid());
        EXPECT_TRUE(all.receive(data(channel, 10)) && all.channel() == channel);
    }
    EXPECT_TRUE(all.receive(Bytes(10, 4)) && all.channel() == 0 && all.allValid());
    all.setChannel(9); // belongs to no channel: it is sent, and is never valid
    all.setModel(0x10);
    all.setFilmScreen1(0x1122);
    all.setFilmScreen2(0x3344);
    all.setFilmScreen3(0x5566);
    all.setDSAGain(0x7788);
    EXPECT_EQ(all.write(), (Bytes{1, 0xD3, 0, 10, 9, 16, 17, 34, 51, 68, 85, 102, 119, 136, 0x5B}));
    EXPECT_TRUE(all.allValid() && !all.isValid());
    all.setChannel(1);
    all.setFilmScreen2(5);
    EXPECT_FALSE(all.isValid());
    all.setChannel(2);
    EXPECT_EQ((Values{all.isValid(), all.model(), all.filmScreen1(), all.filmScreen2(),
                      all.filmScreen3(), all.dsaGain()}),
              (Values{1, 0xEE, 0xEDEC, 0xEBEA, 0xE9E8, 0xE7E6}));
    EXPECT_EQ(all.read(), (Bytes{1, 0xD3, 0, 10, 0xDE}));
    EXPECT_FALSE(all.isValid());
    all.setChannel(3);
    EXPECT_TRUE(all.isValid());
}

TEST(Records, KeepAValidityForEachTubeAndTablesOfTheirOwn) {
    Open<TkBinary_TubeData> tube;
    tube.receive(data(0));
    tube.TubeNumber = 1;
    EXPECT_FALSE(tube.isValid());
    tube.TubeNumber = 0;
    EXPECT_TRUE(tube.isValid());
    tube.receive(data(1));
    tube.read(); // of tube 1
    EXPECT_FALSE(tube.isValid());
    tube.TubeNumber = 0;
    EXPECT_TRUE(tube.isValid());
    tube.receive(data(1));

    const unsigned short int *const own = tube.SF_LS_KW_Limit;
    std::vector<unsigned short int> limits(TkBinary_TubeData::KW_LIMIT_SIZE); // no number more
    std::iota(limits.begin(), limits.end(), static_cast<unsigned short int>(0x1234));
    tube.SF_LS_KW_Limit = limits.data();
    tube.LF_HS_KW_Limit = tube.SF_LS_KW_Limit;
    tube.SF_LS_KW_Limit = nullptr;
    tube.LF_HS_KW_Limit = tube.LF_HS_KW_Limit;
    EXPECT_TRUE(std::equal(limits.begin(), limits.end(), own));
    EXPECT_TRUE(std::equal(limits.begin(), limits.end(), &tube.LF_HS_KW_Limit[0]));
    EXPECT_EQ(tube.SF_LS_KW_Limit, own);

    char name[] = "A LONG NAME OF A TUBE";
    tube.Name = name;
    EXPECT_STREQ(tube.Name, "A LONG NAME OF ");
    tube.Name = std::copy_n("XY", 3, name) - 3;
    EXPECT_STREQ(tube.Name, "XYLONG NAME OF ");
    EXPECT_TRUE(tube.isValid());
    tube.clearValid(); // of both
    EXPECT_FALSE(tube.isValid());
    tube.TubeNumber = 0;
    EXPECT_FALSE(tube.isValid());
}

TEST(Records, AreShownAsValidOnceTheFieldsAreIn) {
    constexpr int READS = 20000;
    Open<TkBinary_SCAEC_ChamberSetup> chamber;
    std::atomic<int> asked{0};
    std::thread generator([&] {
        for (int reply = 1; reply <= READS; ++reply) {
            while (asked < reply) {
                std::this_thread::yield();
            }
            chamber.receive(data(reply % 4, 10, reply));
        }
    });
    int early = 0;
    for (int read = 1; read <= READS; ++read) {
        chamber.setChannel(9); // none, so that all stay valid
        chamber.read();
        asked = read;
        while (!chamber.isValid()) {
            std::this_thread::yield();
        }
        const Bytes sent = data(read % 4, 10, read);
        early += chamber.dsaGain() == (sent[8] << 8 | sent[9]) ? 0 : 1;
    }
    generator.join();
    EXPECT_EQ(early, 0);
    EXPECT_TRUE(chamber.allValid());
}

TEST(Records, ReachTheirCurvesAndLimitsByRowAndIndexAlone) {
    Open<TkBinary_ContinuousFluoro> fluoro;
    const Bytes before = fluoro.write();
    fluoro.setCurveData(3, 0, 5);
    fluoro.setCurveData(0, 10, 5);
    fluoro.setABSLimitData(0, 10, 5);
    EXPECT_EQ(fluoro.write(), before);
    fluoro.receive(data(1));
    EXPECT_EQ((Values{fluoro.getCurveData(3, 0), fluoro.getCurveData(0, 10),
                      fluoro.getABSLimitData(-1, 255)}),
              (Values{0, 0, 0}));
    fluoro.setManualLimitData(7, 0, 9);
    EXPECT_EQ((Values{fluoro.getManualLimitData(-7, 0), fluoro.getManualLimitData(1, 0),
                      fluoro.getManualLimitData(0, 0), fluoro.isValid()}),
              (Values{9, 9, data(1)[48], 1}));
    const auto hasTwoRows = [](auto record, auto get, auto set) {
        (record.*set)(256, 9, 77);
        return (record.*get)(-1, 9) == 77 && (record.*get)(0, 9) == 0;
    };
#define TWO_ROWS(Class, Name) hasTwoRows(Class(), &Class::get##Name, &Class::set##Name)
    EXPECT_TRUE(TWO_ROWS(TkBinary_ContinuousFluoro, ABSLimitData) &&
                TWO_ROWS(TkBinary_HighLevelFluoro, LimitData) &&
                TWO_ROWS(TkBinary_PulseFluoro, MaLimitData) &&
                TWO_ROWS(TkBinary_PulseFluoro, MsLimitData) &&
                TWO_ROWS(TkBinary_HLF_PulseFluoro, MaLimitData) &&
                TWO_ROWS(TkBinary_HLF_PulseFluoro, MsLimitData));
}

TEST(Records, AskForTheErrorLogEntryByEntryAndResetOneCounterAFrame) {
    Open<TkBinary_ErrorLog> log;
    const auto asked = [&] { return Bytes{log.read()[4], log.read()[4], log.read()[4]}; };
    log.write(); // which there isn't
    EXPECT_EQ(asked(), (Bytes{0, 1, 1}));
    EXPECT_EQ(asked(), (Bytes{1, 1, 1}));
    for (const int mode : {0, 2, 5, 258, -1}) {
        log.setReadMode(mode);
        const unsigned char next = mode == 2 ? 2 : 1;
        EXPECT_EQ(asked(), (Bytes{static_cast<unsigned char>(mode == 0 ? 0 : next), next, next}));
    }
    Open<TkBinary_Statistics> counters;
    const auto reset = [&](bool one, bool two, bool hours) {
        counters.resetTube1Exposures(true); // and not, if told so
        counters.resetTube2Exposures(true);
        counters.resetFluoroHours(true);
        counters.resetTube1Exposures(one);
        counters.resetTube2Exposures(two);
        counters.resetFluoroHours(hours);
        EXPECT_EQ(counters.read(), (Bytes{1, 3, 0, 1, 0, 5}));
        const Bytes frame = counters.write();
        EXPECT_EQ(counters.write(), (Bytes{1, 3, 0, 1, 0, 5})) << "all are done with";
        return frame;
    };
    EXPECT_EQ(reset(true, false, true), (Bytes{1, 3, 0, 1, 3, 8}));
    EXPECT_EQ(reset(true, true, false), (Bytes{1, 3, 0, 1, 2, 7}));
    EXPECT_EQ(reset(true, false, false), (Bytes{1, 3, 0, 1, 1, 6}));
}

TEST(Records, CarryTheVariablesOfACustomOne) {
    TkBinary_Custom custom;
    custom.setCommand(0x20);
    EXPECT_EQ(custom.generateCommand(998), (Bytes{1, 0x20, 0, 0, 0x21}));
    custom.enableTransmitReadWriteParam(true);
    custom.setReadParam(5);
    custom.setWriteParam(6);
    EXPECT_EQ(custom.generateCommand(998), (Bytes{1, 0x20, 0, 1, 5, 0x27}));
    custom.addVariable(static_cast<char>(-1), true, false);
    auto *const first = static_cast<char *>(custom.getValue(0));
    custom.addVariable(static_cast<unsigned char>(200), false, true);
    custom.addVariable(static_cast<short int>(-2), true, true);
    custom.addVariable(static_cast<unsigned short int>(0xABCD), false, true);
    custom.addVariable(-3, false, true);
    custom.addVariable(0x12345678U, true, false);
    custom.addVariable("ab", 4, true, true); // a short text, one that is cut, and none
    custom.addVariable("cdefg", 2, false, true);
    custom.addVariable(nullptr, 1, false, true);
    custom.addVariable("", -1, true, true);     // adds nothing,
    custom.addVariable("x", 65520, true, true); // nor does one that no length could tell
    EXPECT_EQ(first, custom.getValue(0));
    const Bytes read{1, 0x20, 0, 12, 5, 0xFF, 0xFF, 0xFE, 0x12, 0x34, 0x56, 0x78, 'a', 'b', 0, 0};
    const Bytes write{1,    0x20, 0,    17,  6,   200, 0xFF, 0xFE, 0xAB, 0xCD, 0xFF,
                      0xFF, 0xFF, 0xFD, 'a', 'b', 0,   0,    'c',  'd',  0};
    const auto summed = [](Bytes frame) {
        frame.push_back(static_cast<unsigned char>(std::accumulate(frame.begin(), frame.end(), 0)));
        return frame;
    };
    TkBinary_Custom copy = custom;
    for (const int mode : {998, 999, 0}) {
        EXPECT_EQ(custom.generateCommand(mode), summed(mode == 998 ? read : write));
    }
    EXPECT_EQ((Values{custom.calculateReadCmdSize(), custom.calculateWriteCmdSize()}),
              (Values{12, 17}));

    const char *const types[] = {"CHAR",         "UNSIGNED CHAR", "SHORT",  "UNSIGNED SHORT", "INT",
                                 "UNSIGNED INT", "STRING",        "STRING", "STRING"};
    EXPECT_EQ(custom.count(), std::size(types));
    for (int i = 0; i < 9; ++i) {
        EXPECT_STREQ(custom.getType(i), types[i]);
    }
    for (const int none : {-1, 9}) {
        EXPECT_TRUE(custom.getType(none) == nullptr && custom.getValue(none) == nullptr);
    }
    // A reply brings all variables, and no parameter.
    Bytes reply{1,  0x20, 0,  21, 1,  2,   0xFF, 4,   5,   6,   0xFF, 8,   9,
                10, 11,   12, 13, 14, 'p', 0,    'q', 'r', 's', 't',  'u', 0};
    EXPECT_TRUE(custom.receiveMsg(&reply));
    const auto value = [&](auto type, int index) {
        return static_cast<long>(*static_cast<decltype(type) *>(custom.getValue(index)));
    };
    EXPECT_EQ((Values{*first, value('c', 0), value(static_cast<unsigned char>(0), 1),
                      value(static_cast<short int>(0), 2),
                      value(static_cast<unsigned short int>(0), 3), value(0, 4), value(0U, 5)}),
              (Values{1, 1, 2, -252, 0x506, -16250614, 0x0B0C0D0E}));
    EXPECT_EQ(std::string(static_cast<char *>(custom.getValue(6)), 4), std::string("p\0qr", 4));
    EXPECT_STREQ(static_cast<char *>(custom.getValue(7)), "st");
    EXPECT_EQ(custom.generateCommand(998)[14], 0) << "nothing goes out from behind a text's end";
    reply = {1, 0x20, 0, 21, 7, 8, 9}; // ends inside the third variable; the last byte is the sum
    EXPECT_TRUE(custom.receiveMsg(&reply));
    EXPECT_EQ((Values{*first, value(static_cast<short int>(0), 2)}), (Values{7, -252}));

    EXPECT_EQ(copy.generateCommand(998), summed(read)) << "has variables of its own";
    EXPECT_EQ(copy.generateCommand(999), summed(write));
    const auto fill = [&](TkBinary_Custom &record) { // as far as a length can tell
        for (const int size : {65000, 512, 2, 1, 1}) {
            record.addVariable("", size, true, false);
        }
        return std::pair(record.count(), record.generateCommand(998).size());
    };
    const auto full = std::pair(12U, std::size_t{65530});
    EXPECT_EQ(fill(custom), full);
    custom.clear();
    EXPECT_EQ(custom.count(), 0U);
    custom.setReadParam(0);
    custom.setWriteParam(0);
    custom = copy;
    TkBinary_Custom third(custom);
    EXPECT_EQ(fill(third), full);
    copy.clear();
    copy.addVariable('x', true, true);
    EXPECT_STREQ(copy.getType(0), "CHAR");
    EXPECT_EQ(custom.generateCommand(999), summed(write));
}

struct Owner {
    int field = 1;
    int made = 0;
    int doubled(int value) { return 2 * value; }
    int successor(int value) { return made = value + 1; }
};

TEST(Property, GoesThroughWhatItHas) {
    using Property = TkProperty<Owner, int, int>;
    Owner owner;
    Owner other;
    Property plain(&other, &other.field, nullptr, nullptr);
    Property full(&owner, &owner.field, &Owner::doubled, &Owner::successor);
    Property fieldless(&owner, nullptr, &Owner::doubled, &Owner::successor);
    Property nothing(&owner, nullptr, nullptr, nullptr);
    full = 4;
    EXPECT_EQ((Values{owner.field, plain, full, fieldless, nothing}), (Values{5, 1, 10, 0, 0}));
    nothing = fieldless = 7;
    EXPECT_EQ((Values{owner.field, owner.made, fieldless, nothing}), (Values{5, 8, 0, 0}));
    plain = full; // the value alone, while a copy stands for the same field
    Property copy(plain);
    EXPECT_EQ((Values{other.field, owner.field, copy}), (Values{10, 5, 10}));
    copy = 3;
    EXPECT_EQ((Values{other.field, owner.field}), (Values{3, 5}));
}

} // namespace
