#include "record_fields.h"

#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_receptors.h"
#include "tkbinary_tubedata.h"

namespace {

RecordKind receptor() {
    using Record = TkBinary_Receptors;
    RecordKind kind = fields::kind<Record>("receptor", {SHOWN(Receptor),     FIELD(Tube),
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
                                                        FIELD(Functional),   FIELD(AECLock)});
    kind.last = Record::RECEPTORS - 1;
    kind.select = fields::selectBy(&Record::Receptor);
    kind.carrySince(300, "AECLock");
    return kind;
}

RecordKind aec() {
    using Record = TkBinary_AECSetup;
    RecordKind kind = fields::kind<Record>(
        "aec", {SHOWN(Channel),         FIELD(Filmscreen),      FIELD(Fields),
                FIELD(ChamberType),     FIELD(RightFieldComp),  FIELD(CenterFieldComp),
                FIELD(LeftFieldComp),   FIELD(Filmscreen1Gain), FIELD(Filmscreen2Gain),
                FIELD(Filmscreen3Gain), FIELD(Media),           FIELD(DigitalRadGain),
                FIELD(DigitalRadCurve), FIELD(Mag1SpotComp),    FIELD(Mag2SpotComp),
                FIELD(Mag3SpotComp),    FIELD(Mag1DSAComp),     FIELD(Mag2DSAComp),
                FIELD(Mag3DSAComp),     FIELD(Mag1CineComp),    FIELD(Mag2CineComp),
                FIELD(Mag3CineComp)});
    kind.first = 1;
    kind.last = Record::CHANNELS;
    kind.select = fields::selectBy(&Record::Channel, kind.first);
    kind.carrySince(150, "RightFieldComp");
    kind.carrySince(300, "Media");
    for (RecordField &field : kind.fields) {
        field.wholeSince = field.name.rfind("Filmscreen", 0) == 0 && field.most > 0xFF ? 300 : 0;
    }
    return kind;
}

RecordKind table() {
    using Record = TkBinary_DorvaTable;
    RecordKind kind =
        fields::kind<Record>("table", {SHOWN(cArc_Tilt), SHOWN(cArc_Rotation), SHOWN(mainArm_Tilt),
                                       SHOWN(tableTop_Tilt), SHOWN(sid), SHOWN(mainCenter_UpDown),
                                       SHOWN(tableTop_UpDown), SHOWN_TEXT(guidance, GUIDANCE_SIZE),
                                       SHOWN_TEXT(filter, FILTER_SIZE), SHOWN(status)});
    kind.use = RecordUse::present;
    kind.copy = [](const TkGeneratorStatus &status, TkBinaryInterface &record) {
        return status.getBinaryDorvaData(&static_cast<Record &>(record));
    };
    return kind;
}

RecordKind calibration() {
    using Record = TkBinary_AECCalibration;
    RecordKind kind = fields::kind<Record>(
        "calibration",
        {SHOWN(filmscreen), FIELD(kv_50_Point), FIELD(kv_55_Point), FIELD(kv_65_Point),
         FIELD(kv_75_Point), FIELD(kv_85_Point), FIELD(kv_95_Point), FIELD(kv_110_Point),
         FIELD(kv_130_Point), FIELD(rlf_50ms_Comp), FIELD(rlf_500ms_Comp), FIELD(rlf_1000ms_Comp),
         FIELD(multiSpot_Comp)});
    kind.last = 2;
    kind.select = fields::selectBy(&Record::filmscreen);
    return kind;
}

RecordKind digital() {
    using Record = TkBinary_AECDigital;
    RecordKind kind = fields::kind<Record>(
        "digital", {SHOWN(digitalRadCurve), FIELD(kv_50_Point), FIELD(kv_55_Point),
                    FIELD(kv_65_Point), FIELD(kv_75_Point), FIELD(kv_85_Point), FIELD(kv_95_Point),
                    FIELD(kv_110_Point), FIELD(kv_130_Point)});
    kind.last = 3;
    kind.select = fields::selectBy(&Record::digitalRadCurve);
    return kind;
}

RecordKind density() {
    using Record = TkBinary_AECDensity;
    return fields::kind<Record>(
        "density",
        {FIELD(density_neg_8), FIELD(density_neg_7), FIELD(density_neg_6), FIELD(density_neg_5),
         FIELD(density_neg_4), FIELD(density_neg_3), FIELD(density_neg_2), FIELD(density_neg_1),
         FIELD(density_pos_1), FIELD(density_pos_2), FIELD(density_pos_3), FIELD(density_pos_4),
         FIELD(density_pos_5), FIELD(density_pos_6), FIELD(density_pos_7), FIELD(density_pos_8)});
}

/// The generator chooses which channel it sends: as many reads as there are channels bring all.
RecordKind chamber() {
    using Record = TkBinary_SCAEC_ChamberSetup;
    RecordKind kind = fields::kind<Record>(
        "chamber", {fields::shown("channel", &Record::channel), ACCESSED(model, setModel),
                    ACCESSED(filmScreen1, setFilmScreen1), ACCESSED(filmScreen2, setFilmScreen2),
                    ACCESSED(filmScreen3, setFilmScreen3), ACCESSED(dsaGain, setDSAGain)});
    kind.last = 3;
    kind.reads = 4;
    kind.select = [](TkBinaryInterface &record, const Instance &instance) {
        static_cast<Record &>(record).setChannel(static_cast<unsigned char>(instance.number));
    };
    return kind;
}

RecordKind tube() {
    using Record = TkBinary_TubeData;
    RecordKind kind = fields::kind<Record>("tube", {SHOWN(TubeNumber),
                                                    FIELD(Revision),
                                                    FIELD(Angle),
                                                    FIELD(SpeedLimit),
                                                    FIELD(Speed),
                                                    FIELD(Frequency),
                                                    TEXT(Name, NAME_SIZE),
                                                    ARRAY(HeatUnitRange, HEAT_UNIT_RANGE_SIZE),
                                                    ARRAY(HeatUnitSlope, HEAT_UNIT_SLOPE_SIZE),
                                                    ARRAY(SF_MinKV_Limits, KV_LIMIT_SIZE),
                                                    ARRAY(LF_MinKV_Limits, KV_LIMIT_SIZE),
                                                    FIELD(SF_LS_KW_Rating),
                                                    ARRAY(SF_LS_KW_Limit, KW_LIMIT_SIZE),
                                                    FIELD(LF_LS_KW_Rating),
                                                    ARRAY(LF_LS_KW_Limit, KW_LIMIT_SIZE),
                                                    FIELD(SF_HS_KW_Rating),
                                                    ARRAY(SF_HS_KW_Limit, KW_LIMIT_SIZE),
                                                    FIELD(LF_HS_KW_Rating),
                                                    ARRAY(LF_HS_KW_Limit, KW_LIMIT_SIZE),
                                                    FIELD(BoostTime),
                                                    FIELD(StabalizeTime),
                                                    FIELD(SF_Standby_Limit),
                                                    FIELD(SF_Standby),
                                                    FIELD(LF_Standby_Limit),
                                                    FIELD(LF_Standby),
                                                    FIELD(SF_FilamentMax_Limit),
                                                    FIELD(SF_FilamentMax),
                                                    FIELD(LF_FilamentMax_Limit),
                                                    FIELD(LF_FilamentMax),
                                                    FIELD(BoostMultiplier),
                                                    FIELD(SF_MaxMa_Limit),
                                                    FIELD(SF_MaxMa),
                                                    FIELD(KvMax),
                                                    FIELD(AnodeWarning),
                                                    FIELD(AnodeLimit),
                                                    FIELD(AnodeOverride),
                                                    FIELD(KvMax_Limit),
                                                    FIELD(MF_Enable),
                                                    ARRAY(MF_MinKV_Limits, KV_LIMIT_SIZE),
                                                    FIELD(MF_LS_KW_Rating),
                                                    ARRAY(MF_LS_KW_Limit, KW_LIMIT_SIZE),
                                                    FIELD(MF_HS_KW_Rating),
                                                    ARRAY(MF_HS_KW_Limit, KW_LIMIT_SIZE),
                                                    FIELD(MF_Standby_Limit),
                                                    FIELD(MF_Standby),
                                                    FIELD(MF_FilamentMax_Limit),
                                                    FIELD(MF_FilamentMax),
                                                    FIELD(MF_MaxMa_Limit),
                                                    FIELD(MF_MaxMa)});
    kind.last = Record::TUBES - 1;
    kind.carrySince(300, "MF_Enable");
    kind.select = fields::selectBy(&Record::TubeNumber);
    return kind;
}

} // namespace

std::vector<RecordKind> exposureRecords() {
    return {receptor(), aec(), table(), calibration(), digital(), density(), chamber(), tube()};
}
