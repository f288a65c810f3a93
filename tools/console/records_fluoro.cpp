#include "record_fields.h"

#include "tkbinary_fluoro.h"

namespace {

RecordKind fluoroSetup() {
    using Record = TkBinary_FluoroSetup;
    RecordKind kind = fields::kind<Record>("fluorosetup", {FIELD(MinFluoroKv),
                                                           FIELD(IIModes),
                                                           FIELD(FRKvLimit),
                                                           FIELD(FRKvTrans),
                                                           FIELD(ABSDose1),
                                                           FIELD(ABSDose2),
                                                           FIELD(ABSDose3),
                                                           FIELD(ABSDose4),
                                                           FIELD(ABSDose5),
                                                           FIELD(ABSDose6),
                                                           FIELD(ManDose1),
                                                           FIELD(ManDose2),
                                                           FIELD(ManDose3),
                                                           FIELD(ManDose4),
                                                           FIELD(ManDose5),
                                                           FIELD(ManDose6),
                                                           FIELD(LoopGain),
                                                           FIELD(NominalDose),
                                                           FIELD(DoseLevel1),
                                                           FIELD(DoseLevel2),
                                                           SHOWN(Auto_MAKV_CurveLimit),
                                                           FIELD(Auto_MAKV_Curve),
                                                           FIELD(ABS_Channel),
                                                           FIELD(ABS_Default),
                                                           FIELD(HLF),
                                                           FIELD(HLFDefault),
                                                           FIELD(HLF_ABSRange),
                                                           SHOWN(HLF_MAKV_CurveLimit),
                                                           FIELD(HLF_MAKV_Curve),
                                                           FIELD(HLF_ABSDefault),
                                                           FIELD(FL_TimerMode),
                                                           FIELD(HLF_MALimit),
                                                           FIELD(PF_On),
                                                           FIELD(PF_Ma),
                                                           FIELD(PF_Ms),
                                                           FIELD(PF_Default),
                                                           FIELD(ABS_Signal_Gain),
                                                           FIELD(PF_ABS_Signal_Gain),
                                                           FIELD(PF_3PPS_Dose_Limit),
                                                           FIELD(PF_7PPS_Dose_Limit),
                                                           FIELD(PF_15PPS_Dose_Limit),
                                                           FIELD(PF_30PPS_Dose_Limit),
                                                           SHOWN(PF_Spot_Ma),
                                                           SHOWN(PF_Spot_MSec),
                                                           SHOWN(Camera_Type),
                                                           SHOWN(HLF_5Dose_Limit),
                                                           SHOWN(HLF_10Dose_Limit),
                                                           SHOWN(HLF_15Dose_Limit),
                                                           SHOWN(HLF_20Dose_Limit),
                                                           FIELD(PF_PPS_Default)});
    kind.carrySince(150, "PF_On");
    return kind;
}

RecordKind generalFluoro() {
    using Record = TkBinary_GeneralFluoro;
    return fields::kind<Record>("generalfluoro",
                                {FIELD(fluoroTimerMode), FIELD(minFluoroKv), FIELD(maxFluoroKv),
                                 FIELD(IIModes), FIELD(fluoroABS), FIELD(fluoroABS_Default),
                                 FIELD(fluoroRad_kV_Default), FIELD(HLF_Select), FIELD(PF_Select)});
}

RecordKind fluoroRad() {
    using Record = TkBinary_FluoroRad;
    return fields::kind<Record>(
        "fluororad", {FIELD(kv_curve1), FIELD(kv_curve2), FIELD(kv_curve3), CURVES(CurveData, 18)});
}

#define ABS_LEVELS FIELD(abs_level0), FIELD(abs_level1), FIELD(abs_level2), FIELD(abs_level3)
#define ABS_CURVES FIELD(abs_curve1), FIELD(abs_curve2), FIELD(abs_curve3)

RecordKind continuousFluoro() {
    using Record = TkBinary_ContinuousFluoro;
    return fields::kind<Record>("continuousfluoro",
                                {ABS_LEVELS, FIELD(abs_gain), FIELD(abs_deadband), FIELD(abs_delay),
                                 FIELD(abs_initialkV), FIELD(signal_gain), FIELD(abs_curve_default),
                                 ABS_CURVES, CURVES(CurveData, 10), LIMITS(ManualLimitData, 10),
                                 LIMITS(ABSLimitData, 10), FIELD(mag1_ma_multipler),
                                 FIELD(mag2_ma_multipler), FIELD(mag3_ma_multipler)});
}

RecordKind highLevelFluoro() {
    using Record = TkBinary_HighLevelFluoro;
    return fields::kind<Record>("highlevelfluoro",
                                {FIELD(mode), FIELD(ma_factor), ABS_LEVELS, LIMITS(LimitData, 10),
                                 FIELD(mag1_ma_multipler), FIELD(mag2_ma_multipler),
                                 FIELD(mag3_ma_multipler)});
}

RecordKind pulseFluoro() {
    using Record = TkBinary_PulseFluoro;
    return fields::kind<Record>("pulsefluoro", {FIELD(mode),
                                                FIELD(pf_default),
                                                FIELD(pps_default),
                                                FIELD(default_ma),
                                                FIELD(default_ms),
                                                FIELD(abs_curve_def),
                                                FIELD(sync_freq),
                                                ABS_LEVELS,
                                                FIELD(abs_gain),
                                                FIELD(abs_deadband),
                                                FIELD(abs_delay),
                                                FIELD(abs_initialkV),
                                                FIELD(signal_gain),
                                                FIELD(integration),
                                                ABS_CURVES,
                                                CURVES(MaCurveData, 10),
                                                CURVES(MsCurveData, 10),
                                                LIMITS(MaLimitData, 10),
                                                LIMITS(MsLimitData, 10),
                                                FIELD(abs_comp_1pps),
                                                FIELD(abs_comp_3pps),
                                                FIELD(abs_comp_7pps),
                                                FIELD(abs_comp_15pps),
                                                FIELD(abs_comp_30pps),
                                                FIELD(mag1_ms_multipler),
                                                FIELD(mag2_ms_multipler),
                                                FIELD(mag3_ms_multipler)});
}

RecordKind hlfPulseFluoro() {
    using Record = TkBinary_HLF_PulseFluoro;
    return fields::kind<Record>("hlfpulsefluoro",
                                {FIELD(mode), FIELD(ma_factor), FIELD(ms_factor), ABS_LEVELS,
                                 LIMITS(MaLimitData, 10), LIMITS(MsLimitData, 10),
                                 FIELD(mag1_ms_multipler), FIELD(mag2_ms_multipler),
                                 FIELD(mag3_ms_multipler)});
}

} // namespace

std::vector<RecordKind> fluoroRecords() {
    return {fluoroSetup(),     generalFluoro(), fluoroRad(),     continuousFluoro(),
            highLevelFluoro(), pulseFluoro(),   hlfPulseFluoro()};
}
