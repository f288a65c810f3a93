#include "support/engine.h"
#include "support/record.h"
#include "tkbinary_aec.h"
#include "tkbinary_fluoro.h"
#include "tkbinary_receptors.h"
#include "tkbinary_system.h"
#include "tkbinary_tubedata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <map>
#include <memory>
#include <numeric>
#include <sstream>
#include <string>
#include <type_traits>

namespace {

// --- Fields as the application has them ----------------------------------------------------------

template <class Property, class Value>
Field of(Property &field, Value /*held*/) {
    const auto get = [](void *object, int) -> long {
        return static_cast<Value>(*static_cast<Property *>(object));
    };
    const auto set = [](void *object, int, long value) {
        if constexpr (std::is_assignable_v<Property &, Value>) {
            *static_cast<Property *>(object) = static_cast<Value>(value);
        }
    };
    return {&field, get, std::is_assignable_v<Property &, Value> ? +set : nullptr};
}
template <class Owner, class Value>
Field of(TkReadOnly<Owner, Value, Value> &field) {
    return of(field, Value{});
}
template <class Owner, class Value>
Field of(TkProperty<Owner, Value, Value> &field) {
    return of(field, Value{});
}
Field of(const Field &table) {
    return table;
}
template <class Owner, class Value>
Field array(TkProperty<Owner, Value *, Value *> &table, int size) {
    using Property = TkProperty<Owner, Value *, Value *>;
    const auto get = [](void *object, int i) -> long {
        return (*static_cast<Property *>(object))[i];
    };
    const auto set = [](void *object, int i, long value) {
        (*static_cast<Property *>(object))[i] = static_cast<Value>(value);
    };
    return {&table, get, set, 0, size};
}
template <auto Get, auto Set, int Size, class Record>
Field rows(Record *record, int count) {
    using Byte = unsigned char;
    const auto get = [](void *object, int i) -> long {
        auto &from = *static_cast<Record *>(object);
        return (from.*Get)(static_cast<Byte>(i / Size), static_cast<Byte>(i % Size));
    };
    const auto set = [](void *object, int i, long value) {
        auto &to = *static_cast<Record *>(object);
        using Value = decltype((to.*Get)(0, 0));
        (to.*Set)(static_cast<Byte>(i / Size), static_cast<Byte>(i % Size),
                  static_cast<Value>(value));
    };
    return {record, get, set, 0, count * Size};
}
FieldList join(std::initializer_list<Field> parts) {
    FieldList all;
    for (Field part : parts) {
        for (part.index = 0; part.index < std::max(part.count, 1); ++part.index) {
            all.push_back(part);
        }
    }
    return all;
}
template <class... Parts>
FieldList fieldsOf(Parts &&...parts) {
    return join({of(parts)...});
}

/// A record with its fields in the order of the wire; those that a form doesn't carry last.
#define RECORD(Name, Class, ...)                                                                   \
    struct Name : Open<Class> {                                                                    \
        FieldList fields() override { return fieldsOf(__VA_ARGS__); }                              \
    }
#define ROWS(Name, Count, Size) rows<&Open::get##Name, &Open::set##Name, Size, Open>(this, Count)
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
RECORD(Tube, TkBinary_TubeData, TubeNumber, Revision, Angle, SpeedLimit, Speed, Frequency,
       array(Name, 15), array(HeatUnitRange, 30), array(HeatUnitSlope, 10),
       array(SF_MinKV_Limits, 21), array(LF_MinKV_Limits, 21), SF_LS_KW_Rating,
       array(SF_LS_KW_Limit, 36), LF_LS_KW_Rating, array(LF_LS_KW_Limit, 36), SF_HS_KW_Rating,
       array(SF_HS_KW_Limit, 36), LF_HS_KW_Rating, array(LF_HS_KW_Limit, 36), BoostTime,
       StabalizeTime, SF_Standby_Limit, SF_Standby, LF_Standby_Limit, LF_Standby,
       SF_FilamentMax_Limit, SF_FilamentMax, LF_FilamentMax_Limit, LF_FilamentMax, BoostMultiplier,
       SF_MaxMa_Limit, SF_MaxMa, KvMax, AnodeWarning, AnodeLimit, AnodeOverride, KvMax_Limit,
       MF_Enable, array(MF_MinKV_Limits, 21), MF_LS_KW_Rating, array(MF_LS_KW_Limit, 36),
       MF_HS_KW_Rating, array(MF_HS_KW_Limit, 36), MF_Standby_Limit, MF_Standby,
       MF_FilamentMax_Limit, MF_FilamentMax, MF_MaxMa_Limit, MF_MaxMa);
RECORD(FluoroSetup, TkBinary_FluoroSetup, MinFluoroKv, IIModes, FRKvLimit, FRKvTrans, ABSDose1,
       ABSDose2, ABSDose3, ABSDose4, ABSDose5, ABSDose6, ManDose1, ManDose2, ManDose3, ManDose4,
       ManDose5, ManDose6, LoopGain, NominalDose, DoseLevel1, DoseLevel2, Auto_MAKV_CurveLimit,
       Auto_MAKV_Curve, ABS_Channel, ABS_Default, HLF, HLFDefault, HLF_ABSRange,
       HLF_MAKV_CurveLimit, HLF_MAKV_Curve, HLF_ABSDefault, FL_TimerMode, HLF_MALimit, PF_On, PF_Ma,
       PF_Ms, PF_Default, ABS_Signal_Gain, PF_ABS_Signal_Gain, PF_3PPS_Dose_Limit,
       PF_7PPS_Dose_Limit, PF_15PPS_Dose_Limit, PF_30PPS_Dose_Limit, PF_Spot_Ma, PF_Spot_MSec,
       Camera_Type, HLF_5Dose_Limit, HLF_10Dose_Limit, HLF_15Dose_Limit, HLF_20Dose_Limit,
       PF_PPS_Default);
RECORD(General, TkBinary_GeneralFluoro, fluoroTimerMode, minFluoroKv, maxFluoroKv, IIModes,
       fluoroABS, fluoroABS_Default, fluoroRad_kV_Default, HLF_Select, PF_Select);
RECORD(FluoroRad, TkBinary_FluoroRad, kv_curve1, kv_curve2, kv_curve3, ROWS(CurveData, 3, 18));
RECORD(Continuous, TkBinary_ContinuousFluoro, abs_level0, abs_level1, abs_level2, abs_level3,
       abs_gain, abs_deadband, abs_delay, abs_initialkV, signal_gain, abs_curve_default, abs_curve1,
       abs_curve2, abs_curve3, ROWS(CurveData, 3, 10), ROWS(ManualLimitData, 2, 10),
       ROWS(ABSLimitData, 2, 10), mag1_ma_multipler, mag2_ma_multipler, mag3_ma_multipler);
RECORD(HighLevel, TkBinary_HighLevelFluoro, mode, ma_factor, abs_level0, abs_level1, abs_level2,
       abs_level3, ROWS(LimitData, 2, 10), mag1_ma_multipler, mag2_ma_multipler, mag3_ma_multipler);
RECORD(Pulse, TkBinary_PulseFluoro, mode, pf_default, pps_default, default_ma, default_ms,
       abs_curve_def, sync_freq, abs_level0, abs_level1, abs_level2, abs_level3, abs_gain,
       abs_deadband, abs_delay, abs_initialkV, signal_gain, integration, abs_curve1, abs_curve2,
       abs_curve3, ROWS(MaCurveData, 3, 10), ROWS(MsCurveData, 3, 10), ROWS(MaLimitData, 2, 10),
       ROWS(MsLimitData, 2, 10), abs_comp_1pps, abs_comp_3pps, abs_comp_7pps, abs_comp_15pps,
       abs_comp_30pps, mag1_ms_multipler, mag2_ms_multipler, mag3_ms_multipler);
RECORD(HighLevelPulse, TkBinary_HLF_PulseFluoro, mode, ma_factor, ms_factor, abs_level0, abs_level1,
       abs_level2, abs_level3, ROWS(MaLimitData, 2, 10), ROWS(MsLimitData, 2, 10),
       mag1_ms_multipler, mag2_ms_multipler, mag3_ms_multipler);
RECORD(DateTime, TkBinary_DateTime, Year, Month, Day, Hour, Min, Sec);
RECORD(Log, TkBinary_ErrorLog, TotalErrors, ErrorNum, ErrorCode, Year, Month, Day, Hour, Min, RadKV,
       RadMA, RadMAS, RadTime, Density, Receptor, Technique, Focus, Filmscreen, Fields, FluoroKV,
       FluoroMA);
RECORD(Statistics, TkBinary_Statistics, Tube1Exposures, Tube2Exposures, FluoroHours,
       GeneratorExposures);
RECORD(Limits, TkBinary_GenLimits, Max_KW_Limit, Max_KW, Max_MA_Limit, Max_MA, Min_MA_Limit, Min_MA,
       Max_MAS_Limit, Max_MAS);
RECORD(GenType, TkBinary_GenType, Type, Reserved1, Reserved2);
RECORD(InOut, TkBinary_IOConfig, WorkStation, State, Out1, Out2, Out3, In1, In2, In3);
RECORD(Meter, TkBinary_DAPConfig, Enabled, Mode, Calibration1, Calibration2, TypeLimit1, Type1,
       TypeLimit2, Type2, Test1, Test2, AccumAlarm, RateAlarm, Printer, RateDisplay);
RECORD(Bypass, TkBinary_Bypass, Enable);

// --- The wire ------------------------------------------------------------------------------------

/// The series of preferred numbers that codes are taken from.
const Values preferred{5,     6,     8,     10,    12,    16,    20,    25,    32,   40,   50,
                       63,    80,    100,   125,   160,   200,   250,   320,   400,  500,  630,
                       800,   1000,  1250,  1600,  2000,  2500,  3200,  4000,  5000, 6300, 8000,
                       10000, 12500, 16000, 20000, 25000, 32000, 40000, 50000, 63000};

/// How a kind of field goes over the wire.
struct Kind {
    std::size_t inReply, inWrite;                           // bytes
    long (*shown)(long raw) = [](long raw) { return raw; }; // by the application's property
};

template <std::size_t first, std::size_t count>
long decoded(long code) {
    return code < static_cast<long>(count) ? preferred[first + static_cast<std::size_t>(code)] : 0;
}

const std::map<char, Kind> kinds{
    {'u', {1, 1}}, // bytes and words; signed ones; the low byte of a word
    {'i', {1, 1, [](long raw) -> long { return static_cast<signed char>(raw); }}},
    {'W', {2, 2}},
    {'S', {2, 2, [](long raw) -> long { return static_cast<short>(raw); }}},
    {'o', {1, 1}}, // shown only
    {'w', {1, 2}}, // wider in a write
    {'r', {1, 0}}, // in a reply alone, and so a counter of three bytes behind one for nothing
    {'C', {4, 0, [](long raw) { return raw & 0xFFFFFF; }}},
    {'a', {1, 1, decoded<13, 21>}}, // codes: mA, mAs, time
    {'s', {1, 1, decoded<0, 34>}},
    {'t', {1, 1, decoded<6, 36>}},
    {'b', {1, 1, [](long raw) { return static_cast<long>(raw == 1); }}}, // a switch
    {'.', {1, 1}}, // for nothing, and so at the end of a write
    {'_', {0, 1}}};

/// What a record looks like on the wire.
struct Wire {
    int revision;
    Bytes read, write;   // the frame that asks; the start of the one that writes
    std::string pattern; // kinds of its fields, with how many there are in front
    int bound = 0x100;   // the first index that is none
    int flags = 0x100;   // the first index that is never valid
    bool quiet = false;  // assignments leave its validity alone

    template <class Visit>
    void visit(Visit visit) const {
        std::istringstream in(pattern);
        char kind = 0;
        for (int count = 1; in >> std::ws && !in.eof();) {
            if (!std::isdigit(in.peek()) || !(in >> count)) {
                count = 1;
            }
            for (in >> kind; count-- > 0;) {
                visit(kind, kinds.at(kind));
            }
        }
    }
    int code() const { return write.empty() ? read[1] : write[1]; }
    std::size_t size() const {
        std::size_t sum = 0;
        visit([&](char, const Kind &kind) { sum += kind.inReply; });
        return sum;
    }
    Bytes written(const Values &fields) const {
        Bytes frame = write;
        std::size_t field = 0;
        visit([&](char name, const Kind &kind) {
            const bool empty = name == '.' || name == '_';
            long raw = 0;
            if (!empty && kind.inWrite > 0) {
                while (raw < 0x10000 && kind.shown(raw) != fields[field]) {
                    ++raw; // the lowest that is shown like that: the code 0 for 0
                }
                raw = raw < 0x10000 ? raw : 0;
            }
            field += empty ? 0 : 1;
            for (std::size_t i = kind.inWrite; i-- > 0;) {
                frame.push_back(static_cast<unsigned char>(raw >> 8 * i));
            }
        });
        frame.push_back(static_cast<unsigned char>(std::accumulate(frame.begin(), frame.end(), 0)));
        return frame;
    }
    /// What the fields hold once data have come.
    Values after(Values fields, const Bytes &data) const {
        std::size_t field = 0;
        std::size_t at = 0;
        visit([&](char name, const Kind &kind) {
            long raw = 0;
            for (std::size_t i = at; i < std::min(at + kind.inReply, data.size()); ++i) {
                raw = raw << 8 | data[i];
            }
            at += kind.inReply;
            if (name != '.' && name != '_' && at <= data.size()) {
                fields[field++] = kind.shown(raw);
            }
        });
        return fields;
    }
};

using Made = std::unique_ptr<Subject>;
using Make = Made (*)();

void checkWrite(const Wire &wire, Make make, const Bytes &one, const Bytes &other) {
    const Made record = make();
    record->receive(one);
    Values wanted = record->shown();
    const bool silent = record->read() == Bytes{0}; // and so written is valid: no reply would tell
    FieldList fields = record->fields();
    std::size_t at = 0;
    wire.visit([&](char name, const Kind &) {
        if (name != '.' && name != '_') {
            const bool shownOnly = name == 'o' || name == 'C' || wire.write.empty();
            EXPECT_EQ(fields[at++].set == nullptr, shownOnly) << at;
        }
    });
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        for (const int index : {0, 1}) {
            EXPECT_TRUE(record->receive(data(index, MORE, 20)) && record->base().isValid());
            if (fields[i].set != nullptr) {
                fields[i].assign(fields[i].value());
                EXPECT_EQ(record->base().isValid(), fields[i].count > 0 || wire.quiet) << i;
            }
        }
    }
    const Made written = make();
    written->receive(other);
    const Values before = written->shown();
    fields = written->fields();
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (fields[i].set != nullptr) {
            fields[i].assign(wanted[i]);
        } else {
            wanted[i] = before[i];
        }
    }
    EXPECT_EQ(written->shown(), wanted);
    EXPECT_EQ(written->write(), wire.write.empty() ? Bytes{0} : wire.written(wanted));
    EXPECT_EQ(written->base().isValid(), silent);
    EXPECT_EQ(written->base().getCommand(), wire.code());
}

void checkReply(const Wire &wire, Make make, const Bytes &all) {
    const Values empty = make()->shown();
    for (std::size_t count = 0; count <= all.size(); ++count) {
        for (const std::size_t more : {0, 9}) {
            const Made record = make();
            const Bytes reply(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count));
            EXPECT_TRUE(record->receive(reply, more));
            EXPECT_EQ(record->shown(), wire.after(empty, reply)) << count;
            EXPECT_EQ(record->base().isValid(), !reply.empty());
        }
    }
}

void check(const Wire &wire, Make make) {
    SCOPED_TRACE(testing::Message() << wire.code() << " at " << wire.revision);
    DrivenGenerator::setRevision(wire.revision);
    const Made record = make();
    const Values empty = record->shown();
    TkBinaryInterface &base = record->base();
    EXPECT_FALSE(base.isValid());
    EXPECT_EQ(empty, wire.after(Values(empty.size()), Bytes(MORE))) << "all are 0";
    const Bytes varying{0x04, 0x19, 0x06, 0x1A, 0x08, 0x17, 0x0B}; // by the revision
    const bool varies = std::find(varying.begin(), varying.end(), wire.code()) != varying.end();
    EXPECT_EQ(base.getCommand(), varies ? 0 : wire.code());
    checkWrite(wire, make, data(1, MORE, 20), data(1));
    for (const int seed :
         {20, 0x80, 0xEF}) { // low numbers first, of which codes are, and signed ones
        checkReply(wire, make, data(1, wire.size() + 2, seed));
    }
    EXPECT_TRUE(record->receive(data(1)) && base.isValid());
    base.clearValid();
    EXPECT_FALSE(base.isValid());
    EXPECT_TRUE(record->receive(data(1)) && base.isValid());
    EXPECT_EQ(record->read(), wire.read);
    EXPECT_FALSE(base.isValid());
    for (int index = 0; index <= 0xFF; ++index) {
        const Made other = make();
        EXPECT_TRUE(other->receive(data(index)));
        EXPECT_EQ(other->base().isValid(), index < wire.bound && index < wire.flags);
        EXPECT_EQ(other->shown(), index < wire.bound ? wire.after(empty, data(index)) : empty);
        EXPECT_TRUE(other->receive(data(1)) && other->receive(data(index)));
        EXPECT_EQ(other->base().isValid(), index < wire.flags);
    }
    DrivenGenerator::setRevision(0);
}

template <class Record>
void check(const Wire &wire) {
    check(wire, [] { return Made(new Record); });
}

// A revision, the frame that reads, the start of the one that writes, the fields behind.
TEST(Records, OfReceptorsAndAecAreAsTheWireHasThem) {
    const std::string points = "u 8W";
    for (const int revision : {0, 299}) {
        check<Receptors>({revision, {1, 6, 0, 2, 1, 1, 11}, {1, 6, 0, 27, 0}, "18u . 7u", 6});
    }
    check<Receptors>({300, {1, 26, 0, 2, 1, 1, 31}, {1, 26, 0, 48, 0}, "18u . 8u 20_", 6});
    for (const int revision : {0, 149, 150, 299}) {
        const char *const pattern = revision < 150 ? "4u 3_" : "4u 3i 3u";
        check<OldAec>({revision, {1, 8, 0, 2, 1, 1, 13}, {1, 8, 0, 11, 0}, pattern, 4});
    }
    check<Aec>({300, {1, 23, 0, 2, 1, 1, 28}, {1, 23, 0, 47, 0}, "5u 3i 4W 10u 20_", 4});
    check<Calibration>({0, {1, 9, 0, 2, 1, 1, 14}, {1, 9, 0, 23, 0}, points + "4u _"});
    check<Digital>({300, {1, 24, 0, 2, 1, 1, 29}, {1, 24, 0, 38, 0}, points + "20_"});
    check<Density>({0, {1, 10, 0, 1, 1, 13}, {1, 10, 0, 17, 0}, "16u"});
}

TEST(Records, OfTubesAreAsTheWireHasThem) {
    const std::string old = "6u 15i 30u 10W 10. 42u 37W 37W 37W 37W 11u 2W 5u";
    for (const int revision : {0, 299}) {
        check<Tube>(
            {revision, {1, 4, 0, 2, 1, 1, 9}, {1, 4, 1, 0xBF, 0}, old + "6_", 256, 2, true});
    }
    const std::string third = "22u 37W 37W 4u 2W 20_";
    check<Tube>({300, {1, 25, 0, 2, 1, 1, 30}, {1, 25, 2, 0x7E, 0}, old + third, 256, 2, true});
}

TEST(Records, OfFluoroscopyAreAsTheWireHasThem) {
    for (const int revision : {0, 149}) {
        check<FluoroSetup>({revision, {1, 11, 0, 1, 1, 14}, {1, 11, 0, 36, 0}, "17u 3W o 6u o 4u"});
    }
    check<FluoroSetup>(
        {150, {1, 11, 0, 1, 1, 14}, {1, 11, 0, 64, 0}, "17u 3W o 6u o 14u 7o u 10_"});
    check<General>({0, {1, 17, 0, 1, 1, 20}, {1, 17, 0, 30, 0}, "9u 20_"});
    check<FluoroRad>({0, {1, 18, 0, 1, 1, 21}, {1, 18, 0, 78, 0}, "57u 20_"});
    check<Continuous>({0, {1, 19, 0, 1, 1, 22}, {1, 19, 0, 92, 0}, "4S u i W u i 77u 20_"});
    check<HighLevel>({0, {1, 20, 0, 1, 1, 23}, {1, 20, 0, 55, 0}, "u W 4S 20W 3u 20_"});
    check<Pulse>({0,
                  {1, 21, 0, 1, 1, 24},
                  {1, 21, 0, 148, 0},
                  "3u W 3u 4S 2i W 6u 30W 30u 20W 20u 5i 3u 20_"});
    check<HighLevelPulse>({0, {1, 22, 0, 1, 1, 25}, {1, 22, 0, 40, 0}, "u 2W 4S 20W 20w 3u 20_"});
}

TEST(Records, OfTheSystemAreAsTheWireHasThem) {
    check<DateTime>({0, {1, 1, 0, 1, 1, 4}, {1, 1, 0, 7, 0}, "W 4u r"});
    check<Log>({0, {1, 2, 0, 1, 0, 4}, {}, "3u W 5u a s t 8u"});
    check<Statistics>({0, {1, 3, 0, 1, 0, 5}, {1, 3, 0, 1, 0}, "4C"});
    check<Limits>({0, {1, 5, 0, 1, 1, 8}, {1, 5, 0, 9, 0}, "2u 4a 2s", 256, 256, true});
    check<InOut>({0, {1, 7, 0, 3, 1, 1, 0xEE, 0xFB}, {1, 7, 0, 9, 0}, "8u", 6});
    check<Meter>(
        {0, {1, 14, 0, 1, 1, 17}, {1, 14, 0, 31, 0}, "b u 2W 4u 4W 2b 10_", 256, 256, true});
    check<GenType>({0, {1, 16, 0, 1, 1, 19}, {1, 16, 0, 3, 0}, "3u", 256, 256, true});
    check<Bypass>({0, {0}, {1, 56, 0, 1, 0}, "u"});
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
    copy.fields()[0].assign(0xFF); // an instance that doesn't exist is copied like any other
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

TEST(Records, HaveCodesForPreferredNumbersAndNoOthers) {
    Open<TkBinary_GenLimits> limits;
    for (int code = 0; code <= 0xFF; ++code) {
        const auto byte = static_cast<unsigned char>(code);
        const unsigned int ma = TkBinary_GenLimits::getMAValue(byte);
        const unsigned int mas = TkBinary_GenLimits::getMASValue(byte);
        EXPECT_EQ((Values{ma, mas}), (Values{decoded<13, 21>(code), decoded<0, 34>(code)}));
        EXPECT_EQ((Values{TkBinary_GenLimits::getMACode(ma), TkBinary_GenLimits::getMASCode(mas)}),
                  (Values{code < 21 ? code : 0, code < 34 ? code : 0}));
    }
    limits.Min_MA = 700;
    limits.Max_MAS = 10001;
    EXPECT_EQ((Values{limits.Min_MA, limits.Max_MAS}), (Values{100, 5}));

    Open<TkBinary_DAPConfig> meter;
    meter.receive(Bytes(20, 2)); // a switch is on at 1 alone, and goes out as it came
    EXPECT_EQ((Values{meter.Enabled, meter.Printer, meter.write()[5]}), (Values{0, 0, 2}));
    meter.Printer = 200;
    meter.Test1 = 0x12345;
    EXPECT_EQ((Values{meter.Printer, meter.write()[15], meter.write()[16]}),
              (Values{1, 0x23, 0x45}));
    for (auto *wide : {&meter.Calibration1, &meter.Calibration2, &meter.Test1, &meter.Test2,
                       &meter.AccumAlarm, &meter.RateAlarm}) {
        *wide = 0x12345;
        EXPECT_EQ(*wide, 0x12345U);
    }
}

} // namespace
