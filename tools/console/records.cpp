#include "records.h"

#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_receptors.h"

#include <limits>

namespace {

using Chambers = TkBinary_SCAEC_ChamberSetup;

// --- Fields, from what the record declares -------------------------------------------------------

/// Which record a property belongs to, and what it holds.
template <class Member>
struct Traits;

template <class Owner, class Value>
struct Traits<TkProperty<Owner, Value, Value> Owner::*> {
    using Record = Owner;
    using Held = Value;
};

template <class Owner, class Value>
struct Traits<TkReadOnly<Owner, Value, Value> Owner::*> {
    using Record = Owner;
    using Held = Value;
};

template <class Owner, class Value>
struct Traits<Value (Owner::*)() const> {
    using Record = Owner;
    using Held = Value;
};

std::string textOf(int value) {
    return std::to_string(value);
}

/// What came over the line mustn't steer the terminal.
std::string textOf(const char *value) {
    std::string text = value;
    for (char &each : text) {
        each = each < ' ' || each > '~' ? '.' : each;
    }
    return text;
}

template <class Value>
constexpr RecordField withRange(RecordField field) {
    field.least = std::numeric_limits<Value>::min(); // NOLINT(bugprone-signed-char-misuse): a number
    field.most = std::numeric_limits<Value>::max();
    return field;
}

/// A field that is shown only.
template <auto Property>
RecordField shown(const char *name) {
    using Record = typename Traits<decltype(Property)>::Record;
    using Held = typename Traits<decltype(Property)>::Held;
    const auto text = [](TkBinaryInterface &record) {
        const Held value = static_cast<Record &>(record).*Property;
        return textOf(value);
    };
    return {name, text, nullptr, 0, 0};
}

template <auto Property>
RecordField field(const char *name) {
    using Record = typename Traits<decltype(Property)>::Record;
    using Held = typename Traits<decltype(Property)>::Held;
    RecordField field = shown<Property>(name);
    field.assign = [](TkBinaryInterface &record, int value) {
        static_cast<Record &>(record).*Property = static_cast<Held>(value);
    };
    return withRange<Held>(field);
}

/// A field behind two operations.
template <auto Getter, auto Setter>
RecordField accessed(const char *name) {
    using Held = typename Traits<decltype(Getter)>::Held;
    const auto text = [](TkBinaryInterface &record) {
        return textOf((static_cast<Chambers &>(record).*Getter)());
    };
    const auto assign = [](TkBinaryInterface &record, int value) {
        (static_cast<Chambers &>(record).*Setter)(static_cast<Held>(value));
    };
    return withRange<Held>({name, text, assign, 0, 0});
}

// --- Instances -----------------------------------------------------------------------------------

template <class Record>
std::unique_ptr<TkBinaryInterface> make() {
    return std::make_unique<Record>();
}

/// By the field that says which one it is, counted from 0.
template <auto Property, int First = 0>
void selectBy(TkBinaryInterface &record, int number) {
    using Record = typename Traits<decltype(Property)>::Record;
    auto &selector = static_cast<Record &>(record).*Property;
    const auto index = static_cast<unsigned char>(number - First);
    if (selector != index) {
        selector = index;
    }
}

void selectChamber(TkBinaryInterface &record, int number) {
    static_cast<Chambers &>(record).setChannel(static_cast<unsigned char>(number));
}

void selectNothing(TkBinaryInterface & /*record*/, int /*number*/) {}

template <class Record, bool (TkGeneratorStatus::*Copy)(int, Record *) const>
bool copy(const TkGeneratorStatus &status, int number, TkBinaryInterface &record) {
    return (status.*Copy)(number, &static_cast<Record &>(record));
}

bool copyTable(const TkGeneratorStatus &status, int /*number*/, TkBinaryInterface &record) {
    return status.getBinaryDorvaData(&static_cast<TkBinary_DorvaTable &>(record));
}

// --- The kinds -----------------------------------------------------------------------------------
// The field that selects the instance is shown only: another would write over another instance.

#define SHOWN(Name) shown<&Record::Name>(#Name)
#define FIELD(Name) field<&Record::Name>(#Name)

RecordKind receptor() {
    using Record = TkBinary_Receptors;
    return {"receptor",
            0,
            Record::RECEPTORS - 1,
            1,
            make<Record>,
            selectBy<&Record::Receptor>,
            copy<Record, &TkGeneratorStatus::getBinaryReceptorData>,
            {SHOWN(Receptor),     FIELD(Tube),
             FIELD(Tomo),         FIELD(Fluoro),
             FIELD(Serial),       FIELD(AECChannel),
             FIELD(Interface),    FIELD(FluoroHang),
             FIELD(RadHang),      FIELD(LastImageHold),
             FIELD(Memory),       FIELD(TomoBackupTime),
             FIELD(AutoFocus),    FIELD(AECBackupMODE),
             FIELD(AECBackupMAS), FIELD(AECBackupMS),
             FIELD(Kv),           FIELD(Ma),
             FIELD(Ms),           FIELD(Technique),
             FIELD(Focus),        FIELD(Density),
             FIELD(Filmscreen),   FIELD(Fields),
             FIELD(Functional),   FIELD(AECLock)}};
}

RecordKind aec() {
    using Record = TkBinary_AECSetup;
    return {"aec",
            1,
            Record::CHANNELS,
            1,
            make<Record>,
            selectBy<&Record::Channel, 1>,
            copy<Record, &TkGeneratorStatus::getBinaryAecData>,
            {SHOWN(Channel),         FIELD(Filmscreen),      FIELD(Fields),
             FIELD(ChamberType),     FIELD(RightFieldComp),  FIELD(CenterFieldComp),
             FIELD(LeftFieldComp),   FIELD(Filmscreen1Gain), FIELD(Filmscreen2Gain),
             FIELD(Filmscreen3Gain), FIELD(Media),           FIELD(DigitalRadGain),
             FIELD(DigitalRadCurve), FIELD(Mag1SpotComp),    FIELD(Mag2SpotComp),
             FIELD(Mag3SpotComp),    FIELD(Mag1DSAComp),     FIELD(Mag2DSAComp),
             FIELD(Mag3DSAComp),     FIELD(Mag1CineComp),    FIELD(Mag2CineComp),
             FIELD(Mag3CineComp)}};
}

RecordKind table() {
    using Record = TkBinary_DorvaTable;
    return {"table",
            0,
            0,
            1,
            make<Record>,
            selectNothing,
            copyTable,
            {SHOWN(cArc_Tilt), SHOWN(cArc_Rotation), SHOWN(mainArm_Tilt), SHOWN(tableTop_Tilt),
             SHOWN(sid), SHOWN(mainCenter_UpDown), SHOWN(tableTop_UpDown), SHOWN(guidance),
             SHOWN(filter), SHOWN(status)}};
}

RecordKind calibration() {
    using Record = TkBinary_AECCalibration;
    return {"calibration",
            0,
            2,
            1,
            make<Record>,
            selectBy<&Record::filmscreen>,
            nullptr,
            {SHOWN(filmscreen), FIELD(kv_50_Point), FIELD(kv_55_Point), FIELD(kv_65_Point),
             FIELD(kv_75_Point), FIELD(kv_85_Point), FIELD(kv_95_Point), FIELD(kv_110_Point),
             FIELD(kv_130_Point), FIELD(rlf_50ms_Comp), FIELD(rlf_500ms_Comp),
             FIELD(rlf_1000ms_Comp), FIELD(multiSpot_Comp)}};
}

RecordKind digital() {
    using Record = TkBinary_AECDigital;
    return {"digital",
            0,
            3,
            1,
            make<Record>,
            selectBy<&Record::digitalRadCurve>,
            nullptr,
            {SHOWN(digitalRadCurve), FIELD(kv_50_Point), FIELD(kv_55_Point), FIELD(kv_65_Point),
             FIELD(kv_75_Point), FIELD(kv_85_Point), FIELD(kv_95_Point), FIELD(kv_110_Point),
             FIELD(kv_130_Point)}};
}

RecordKind density() {
    using Record = TkBinary_AECDensity;
    return {"density",
            0,
            0,
            1,
            make<Record>,
            selectNothing,
            nullptr,
            {FIELD(density_neg_8), FIELD(density_neg_7), FIELD(density_neg_6), FIELD(density_neg_5),
             FIELD(density_neg_4), FIELD(density_neg_3), FIELD(density_neg_2), FIELD(density_neg_1),
             FIELD(density_pos_1), FIELD(density_pos_2), FIELD(density_pos_3), FIELD(density_pos_4),
             FIELD(density_pos_5), FIELD(density_pos_6), FIELD(density_pos_7),
             FIELD(density_pos_8)}};
}

#undef FIELD
#undef SHOWN

/// The generator chooses which channel it sends: as many reads as there are channels bring all.
RecordKind chamber() {
    return {"chamber",
            0,
            3,
            4,
            make<Chambers>,
            selectChamber,
            nullptr,
            {accessed<&Chambers::model, &Chambers::setModel>("model"),
             accessed<&Chambers::filmScreen1, &Chambers::setFilmScreen1>("filmScreen1"),
             accessed<&Chambers::filmScreen2, &Chambers::setFilmScreen2>("filmScreen2"),
             accessed<&Chambers::filmScreen3, &Chambers::setFilmScreen3>("filmScreen3"),
             accessed<&Chambers::dsaGain, &Chambers::setDSAGain>("dsaGain")}};
}

} // namespace

const std::vector<RecordKind> &recordKinds() {
    static const std::vector<RecordKind> kinds{receptor(), aec(),     table(),  calibration(),
                                               digital(),  density(), chamber()};
    return kinds;
}
