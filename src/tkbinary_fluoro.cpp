#include "tkbinary_fluoro.h"

#include "tkrecordwalk.h"

namespace {
constexpr int PULSED_FORM = 150;     // with the fields of pulsed fluoroscopy
constexpr std::size_t RESERVED = 20; // at the end of most records, not counted by all
} // namespace

// --- TkBinary_FluoroSetup -----------------------------------------------------------------------

TkBinaryInterface::Form TkBinary_FluoroSetup::form(int revision) {
    return {0x0B, 1, revision < PULSED_FORM ? 36 : 64};
}

template <class Walk>
void TkBinary_FluoroSetup::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_MinFluoroKv, m_IIModes, m_FRKvLimit, m_FRKvTrans, m_ABSDose1, m_ABSDose2,
                m_ABSDose3, m_ABSDose4, m_ABSDose5, m_ABSDose6, m_ManDose1, m_ManDose2, m_ManDose3,
                m_ManDose4, m_ManDose5, m_ManDose6, m_LoopGain, m_NominalDose, m_DoseLevel1,
                m_DoseLevel2, m_Auto_MAKV_CurveLimit, m_Auto_MAKV_Curve, m_ABS_Channel,
                m_ABS_Default, m_HLF, m_HLFDefault, m_HLF_ABSRange, m_HLF_MAKV_CurveLimit,
                m_HLF_MAKV_Curve, m_HLF_ABSDefault, m_FL_TimerMode, m_HLF_MALimit);
    if (walk.revision() < PULSED_FORM) {
        return;
    }
    walk.fields(m_PF_On, m_PF_Ma, m_PF_Ms, m_PF_Default, m_ABS_Signal_Gain, m_PF_ABS_Signal_Gain,
                m_PF_3PPS_Dose_Limit, m_PF_7PPS_Dose_Limit, m_PF_15PPS_Dose_Limit,
                m_PF_30PPS_Dose_Limit, m_PF_Spot_Ma, m_PF_Spot_MSec, m_Camera_Type,
                m_HLF_5Dose_Limit, m_HLF_10Dose_Limit, m_HLF_15Dose_Limit, m_HLF_20Dose_Limit,
                m_PF_PPS_Default);
    walk.trailer(10);
}

TkBinary_FluoroSetup::TkBinary_FluoroSetup() : TkBinaryInterface(1) {}

TKGEN_RECORD_OPERATIONS(TkBinary_FluoroSetup);

// --- TkBinary_GeneralFluoro ---------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_GeneralFluoro, 0x11, 1, 30);

template <class Walk>
void TkBinary_GeneralFluoro::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_fluoroTimerMode, m_minFluoroKv, m_maxFluoroKv, m_IIModes, m_fluoroABS,
                m_fluoroABS_Default, m_fluoroRad_kV_Default, m_HLF_Select, m_PF_Select);
    walk.trailer(RESERVED);
}

TKGEN_RECORD_OPERATIONS(TkBinary_GeneralFluoro);

// --- TkBinary_FluoroRad -------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_FluoroRad, 0x12, 1, 78);

template <class Walk>
void TkBinary_FluoroRad::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_kv_curve1, m_kv_curve2, m_kv_curve3, m_aCurveData);
    walk.trailer(RESERVED);
}

TKGEN_RECORD_OPERATIONS(TkBinary_FluoroRad);

// --- TkBinary_ContinuousFluoro ------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_ContinuousFluoro, 0x13, 1, 92);

template <class Walk>
void TkBinary_ContinuousFluoro::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_abs_level0, m_abs_level1, m_abs_level2, m_abs_level3, m_abs_gain, m_abs_deadband,
                m_abs_delay, m_abs_initialkV, m_signal_gain, m_abs_curve_default, m_abs_curve1,
                m_abs_curve2, m_abs_curve3, m_aCurveData, m_aManualLimitData, m_aABSLimitData,
                m_mag1_ma_multipler, m_mag2_ma_multipler, m_mag3_ma_multipler);
    walk.trailer(RESERVED);
}

TKGEN_RECORD_OPERATIONS(TkBinary_ContinuousFluoro);

// --- TkBinary_HighLevelFluoro -------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_HighLevelFluoro, 0x14, 1, 55);

template <class Walk>
void TkBinary_HighLevelFluoro::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_mode, m_ma_factor, m_abs_level0, m_abs_level1, m_abs_level2, m_abs_level3,
                m_aLimitData, m_mag1_ma_multipler, m_mag2_ma_multipler, m_mag3_ma_multipler);
    walk.trailer(RESERVED);
}

TKGEN_RECORD_OPERATIONS(TkBinary_HighLevelFluoro);

// --- TkBinary_PulseFluoro -----------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_PulseFluoro, 0x15, 1, 148);

template <class Walk>
void TkBinary_PulseFluoro::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_mode, m_pf_default, m_pps_default, m_default_ma, m_default_ms, m_abs_curve_def,
                m_sync_freq, m_abs_level0, m_abs_level1, m_abs_level2, m_abs_level3, m_abs_gain,
                m_abs_deadband, m_abs_delay, m_abs_initialkV, m_signal_gain, m_integration,
                m_abs_curve1, m_abs_curve2, m_abs_curve3, m_aMaCurveData, m_aMsCurveData,
                m_aMaLimitData, m_aMsLimitData, m_abs_comp_1pps, m_abs_comp_3pps, m_abs_comp_7pps,
                m_abs_comp_15pps, m_abs_comp_30pps, m_mag1_ms_multipler, m_mag2_ms_multipler,
                m_mag3_ms_multipler);
    walk.trailer(RESERVED);
}

TKGEN_RECORD_OPERATIONS(TkBinary_PulseFluoro);

// --- TkBinary_HLF_PulseFluoro -------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_HLF_PulseFluoro, 0x16, 1, 40);

template <class Walk>
void TkBinary_HLF_PulseFluoro::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_mode, m_ma_factor, m_ms_factor, m_abs_level0, m_abs_level1, m_abs_level2,
                m_abs_level3, m_aMaLimitData);
    walk.widened(m_aMsLimitData);
    walk.fields(m_mag1_ms_multipler, m_mag2_ms_multipler, m_mag3_ms_multipler);
    walk.trailer(RESERVED);
}

TKGEN_RECORD_OPERATIONS(TkBinary_HLF_PulseFluoro);
