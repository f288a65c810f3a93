#include "support/engine.h"
#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_receptors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Values = std::vector<long>;

/// Data of a reply, more than any record has if not told how many, no two alike, after an index.
Bytes data(int index, std::size_t count = 64) {
    Bytes all(64, static_cast<unsigned char>(index));
    std::iota(all.rbegin(), all.rend() - 1, static_cast<unsigned char>(0xB0));
    all.resize(count);
    return all;
}

/// A record whose frames a test makes and takes itself.
template <class Record>
struct Open : Record {
    Bytes read() { return this->generateCommand(998); }
    Bytes write() { return this->generateCommand(999); }

    /// Takes a reply whose length says a few bytes more than there are.
    bool receive(const Bytes &data, std::size_t more = 0) {
        Bytes reply{1, 0x42, 0, static_cast<unsigned char>(data.size() + more)};
        reply.reserve(data.size() + 5); // no byte more: a read past the end would show
        reply.insert(reply.end(), data.begin(), data.end());
        reply.push_back(0x5A); // the sum, which nobody tests
        return this->receiveMsg(&reply);
    }
};

/// A record with its properties in the order of the wire; those that a form doesn't carry last.
#define RECORD(Name, Class, ...)                                                                   \
    struct Name : Open<Class> {                                                                    \
        auto fields() { return std::tie(__VA_ARGS__); }                                            \
        Values shown() {                                                                           \
            const auto values = [](auto &...all) { return Values{static_cast<long>(all)...}; };    \
            return std::apply(values, fields());                                                   \
        }                                                                                          \
    }
RECORD(Receptors, TkBinary_Receptors, Receptor, Tube, Tomo, Fluoro, Serial, AECChannel, Interface,
       FluoroHang, RadHang, LastImageHold, Memory, TomoBackupTime, AutoFocus, AECBackupMODE,
       AECBackupMAS, AECBackupMS, Kv, Ma, Ms, Technique, Focus, Density, Filmscreen, Fields,
       Functional, AECLock);
RECORD(OldAec, TkBinary_AECSetup, Channel, Filmscreen, Fields, ChamberType, RightFieldComp,
       CenterFieldComp, LeftFieldComp, Filmscreen1Gain, Filmscreen2Gain, Filmscreen3Gain, Media);
RECORD(Aec, TkBinary_AECSetup, Channel, ChamberType, Media, Fields, Filmscreen, RightFieldComp,
       CenterFieldComp, LeftFieldComp, Filmscreen1Gain, Filmscreen2Gain, Filmscreen3Gain,
       DigitalRadGain, DigitalRadCurve, Mag1SpotComp, Mag2SpotComp, Mag3SpotComp, Mag1DSAComp,
       Mag2DSAComp, Mag3DSAComp, Mag1CineComp, Mag2CineComp, Mag3CineComp);
RECORD(Calibration, TkBinary_AECCalibration, filmscreen, kv_50_Point, kv_55_Point, kv_65_Point,
       kv_75_Point, kv_85_Point, kv_95_Point, kv_110_Point, kv_130_Point, rlf_50ms_Comp,
       rlf_500ms_Comp, rlf_1000ms_Comp, multiSpot_Comp);
RECORD(Digital, TkBinary_AECDigital, digitalRadCurve, kv_50_Point, kv_55_Point, kv_65_Point,
       kv_75_Point, kv_85_Point, kv_95_Point, kv_110_Point, kv_130_Point);
RECORD(Density, TkBinary_AECDensity, density_neg_8, density_neg_7, density_neg_6, density_neg_5,
       density_neg_4, density_neg_3, density_neg_2, density_neg_1, density_pos_1, density_pos_2,
       density_pos_3, density_pos_4, density_pos_5, density_pos_6, density_pos_7, density_pos_8);

/// What a record looks like on the wire.
struct Wire {
    int revision;
    Bytes read, write; // the frame that asks; the start of the one that writes
    std::string kinds; // of the bytes behind: u, signed i, high h, low or lone low l, unused .
    int bound = 0x100; // the first index that is none

    Bytes written() const {
        Bytes frame = write;
        for (const char kind : kinds) {
            frame.push_back(kind == '.' ? 0 : data(1)[frame.size() - write.size()]);
        }
        frame.push_back(static_cast<unsigned char>(std::accumulate(frame.begin(), frame.end(), 0)));
        return frame;
    }
    /// What the fields hold once data have come.
    Values after(Values fields, const Bytes &data) const {
        auto field = fields.begin();
        long high = 0;
        for (std::size_t i = 0; i < std::min(kinds.size(), data.size()); ++i) {
            if (kinds[i] == 'h') {
                high = data[i] << 8;
            } else if (kinds[i] != '.') {
                *field++ = kinds[i] == 'i' ? static_cast<signed char>(data[i]) : high | data[i];
                high = 0;
            }
        }
        return fields;
    }
};

template <class Record>
void check(const Wire &wire) {
    SCOPED_TRACE(testing::Message() << int{wire.write[1]} << " at " << wire.revision);
    DrivenGenerator::setRevision(wire.revision);
    Record record;
    EXPECT_FALSE(record.isValid());
    const Values empty = record.shown();
    const auto ends = [&](auto change) { // the validity that a reply gives
        const bool valid = record.receive(data(1)) && record.isValid();
        change();
        return valid && !record.isValid();
    };
    std::apply([&](auto &...all) { EXPECT_TRUE((ends([&] { all = all; }) && ...)); },
               record.fields());
    EXPECT_TRUE(ends([&] { record.clearValid(); }));
    EXPECT_TRUE(ends([&] { EXPECT_EQ(record.write(), wire.written()); }));
    EXPECT_TRUE(ends([&] { EXPECT_EQ(record.read(), wire.read); }));
    EXPECT_EQ(record.getCommand(), wire.write[1]);
    for (std::size_t count = 0; count <= 128; ++count) {
        Record other;
        const Bytes reply = data(1, count / 2);
        EXPECT_TRUE(other.receive(reply, count % 2 * 9));
        EXPECT_EQ(other.shown(), wire.after(empty, reply)) << count / 2;
        EXPECT_EQ(other.isValid(), !reply.empty());
    }
    for (int index = 0; index <= 0xFF; ++index) {
        Record other;
        EXPECT_TRUE(other.receive(data(index)));
        EXPECT_EQ(other.isValid(), index < wire.bound);
        EXPECT_EQ(other.shown(), other.isValid() ? wire.after(empty, data(index)) : empty);
        EXPECT_TRUE(other.receive(data(1)) && other.receive(data(index)) && other.isValid());
    }
    DrivenGenerator::setRevision(0);
}

TEST(Records, AreAsTheWireHasThem) {
    const std::string end(20, '.');
    const std::string curve = "uhlhlhlhlhlhlhlhl";
    std::string kinds = "uuuuuuuuuuuuuuuuuu.uuuuuuu";
    for (const int revision : {0, 299}) {
        check<Receptors>({revision, {1, 6, 0, 2, 1, 1, 11}, {1, 6, 0, 27, 0}, kinds, 6});
    }
    check<Receptors>({300, {1, 26, 0, 2, 1, 1, 31}, {1, 26, 0, 48, 0}, kinds + 'u' + end, 6});
    for (const int revision : {0, 149, 150, 299}) {
        kinds = revision < 150 ? "uuuu..." : "uuuuiiilll";
        check<OldAec>({revision, {1, 8, 0, 2, 1, 1, 13}, {1, 8, 0, 11, 0}, kinds, 4});
    }
    kinds = "uuuuuiiihlhlhlhluuuuuuuuuu";
    check<Aec>({300, {1, 23, 0, 2, 1, 1, 28}, {1, 23, 0, 47, 0}, kinds + end, 4});
    check<Calibration>({0, {1, 9, 0, 2, 1, 1, 14}, {1, 9, 0, 23, 0}, curve + "uuuu."});
    check<Digital>({300, {1, 24, 0, 2, 1, 1, 29}, {1, 24, 0, 38, 0}, curve + end});
    check<Density>({0, {1, 10, 0, 1, 1, 13}, {1, 10, 0, 17, 0}, "uuuuuuuuuuuuuuuu"});
}

TEST(Records, CarryTheLowByteOfAGainBelow300) {
    Open<TkBinary_AECSetup> aec;
    DrivenGenerator::setRevision(299);
    aec.Filmscreen2Gain = 0x1234;
    EXPECT_EQ(aec.write(), (Bytes{1, 8, 0, 11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x34, 0, 0x48}));
    aec.receive(data(1));
    EXPECT_EQ(aec.Filmscreen2Gain, 0xE7);
    DrivenGenerator::setRevision(0);
}

template <class Record>
void copies() {
    DrivenGenerator::setRevision(300);
    Record record;
    record.receive(data(1));
    DrivenGenerator::setRevision(0); // a copy takes what no form in use carries, too
    const Values before = record.shown();
    Record copy = record;
    EXPECT_TRUE(copy.isValid());
    std::get<0>(copy.fields()) = 0xFF; // an instance that doesn't exist is copied like any other
    EXPECT_TRUE(record.isValid() && !copy.isValid() && record.shown() == before);
    record = copy;
    EXPECT_EQ(record.shown(), copy.shown());
    EXPECT_FALSE(record.isValid());
    record.receive(data(2));
    const Record &same = record;
    record = same;
    EXPECT_TRUE(record.isValid() && record.shown() != copy.shown());
}

TEST(Records, HaveFieldsAndPropertiesOfTheirOwnInCopies) {
    copies<Receptors>();
    copies<Aec>();
}

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
