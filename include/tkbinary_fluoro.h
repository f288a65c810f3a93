#ifndef TKBINARY_FLUORO_H
#define TKBINARY_FLUORO_H

#include "tkbinaryinterface.h"

/// @file
/// The configuration of fluoroscopy: general settings, and for each mode the curves and limits of
/// the automatic brightness system, ABS. None has an index. Levels, gains, factors and doses are
/// the generator's own numbers.
///
/// The tables of curves and limits are reached by `getName(row, index)` and
/// `setName(row, index, value)`. A get outside the table gives 0, a set outside it does nothing.
/// Neither changes the record's validity, while an assignment to a field ends it. The tables of
/// limits have two rows: row 0 is the first, and every other number the second.

/// The fluoroscopy setup. From revision 150 on it also carries what stands from
/// `PF_On` on; below, those fields keep their values. The fields that can't be assigned go out
/// again in a write as they came.
class TKGEN_EXPORT TkBinary_FluoroSetup : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_FluoroSetup);

    TKGEN_PROPERTY(unsigned char, MinFluoroKv); ///< lowest tube voltage
    TKGEN_PROPERTY(unsigned char, IIModes);     ///< modes of the image intensifier
    TKGEN_PROPERTY(unsigned char, FRKvLimit);
    TKGEN_PROPERTY(unsigned char, FRKvTrans);
    TKGEN_PROPERTY(unsigned char, ABSDose1); ///< dose under ABS
    TKGEN_PROPERTY(unsigned char, ABSDose2);
    TKGEN_PROPERTY(unsigned char, ABSDose3);
    TKGEN_PROPERTY(unsigned char, ABSDose4);
    TKGEN_PROPERTY(unsigned char, ABSDose5);
    TKGEN_PROPERTY(unsigned char, ABSDose6);
    TKGEN_PROPERTY(unsigned char, ManDose1); ///< dose in manual fluoroscopy
    TKGEN_PROPERTY(unsigned char, ManDose2);
    TKGEN_PROPERTY(unsigned char, ManDose3);
    TKGEN_PROPERTY(unsigned char, ManDose4);
    TKGEN_PROPERTY(unsigned char, ManDose5);
    TKGEN_PROPERTY(unsigned char, ManDose6);
    TKGEN_PROPERTY(unsigned char, LoopGain); ///< of the control loop
    TKGEN_PROPERTY(unsigned short int, NominalDose);
    TKGEN_PROPERTY(unsigned short int, DoseLevel1);
    TKGEN_PROPERTY(unsigned short int, DoseLevel2);
    TKGEN_READ_ONLY(unsigned char, Auto_MAKV_CurveLimit);
    TKGEN_PROPERTY(unsigned char, Auto_MAKV_Curve);
    TKGEN_PROPERTY(unsigned char, ABS_Channel);
    TKGEN_PROPERTY(unsigned char, ABS_Default);
    TKGEN_PROPERTY(unsigned char, HLF); ///< high-level fluoroscopy
    TKGEN_PROPERTY(unsigned char, HLFDefault);
    TKGEN_PROPERTY(unsigned char, HLF_ABSRange);
    TKGEN_READ_ONLY(unsigned char, HLF_MAKV_CurveLimit);
    TKGEN_PROPERTY(unsigned char, HLF_MAKV_Curve);
    TKGEN_PROPERTY(unsigned char, HLF_ABSDefault);
    TKGEN_PROPERTY(unsigned char, FL_TimerMode); ///< mode of the fluoroscopy timer
    TKGEN_PROPERTY(unsigned char, HLF_MALimit);

    TKGEN_PROPERTY(unsigned char, PF_On); ///< pulsed fluoroscopy
    TKGEN_PROPERTY(unsigned char, PF_Ma);
    TKGEN_PROPERTY(unsigned char, PF_Ms);
    TKGEN_PROPERTY(unsigned char, PF_Default);
    TKGEN_PROPERTY(unsigned char, ABS_Signal_Gain);
    TKGEN_PROPERTY(unsigned char, PF_ABS_Signal_Gain);
    TKGEN_PROPERTY(unsigned char, PF_3PPS_Dose_Limit); ///< at 3 pulses a second
    TKGEN_PROPERTY(unsigned char, PF_7PPS_Dose_Limit);
    TKGEN_PROPERTY(unsigned char, PF_15PPS_Dose_Limit);
    TKGEN_PROPERTY(unsigned char, PF_30PPS_Dose_Limit);
    TKGEN_READ_ONLY(unsigned char, PF_Spot_Ma);
    TKGEN_READ_ONLY(unsigned char, PF_Spot_MSec);
    TKGEN_READ_ONLY(unsigned char, Camera_Type);
    TKGEN_READ_ONLY(unsigned char, HLF_5Dose_Limit);
    TKGEN_READ_ONLY(unsigned char, HLF_10Dose_Limit);
    TKGEN_READ_ONLY(unsigned char, HLF_15Dose_Limit);
    TKGEN_READ_ONLY(unsigned char, HLF_20Dose_Limit);
    TKGEN_PROPERTY(unsigned char, PF_PPS_Default); ///< pulses a second
};

/// The settings that all modes share.
class TKGEN_EXPORT TkBinary_GeneralFluoro : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_GeneralFluoro);

    TKGEN_PROPERTY(unsigned char, fluoroTimerMode);
    TKGEN_PROPERTY(unsigned char, minFluoroKv);
    TKGEN_PROPERTY(unsigned char, maxFluoroKv);
    TKGEN_PROPERTY(unsigned char, IIModes); ///< modes of the image intensifier
    TKGEN_PROPERTY(unsigned char, fluoroABS);
    TKGEN_PROPERTY(unsigned char, fluoroABS_Default);
    TKGEN_PROPERTY(unsigned char, fluoroRad_kV_Default);
    TKGEN_PROPERTY(unsigned char, HLF_Select); ///< high-level fluoroscopy
    TKGEN_PROPERTY(unsigned char, PF_Select);  ///< pulsed fluoroscopy
};

/// The curves by which the kV of fluoroscopy become those of a radiographic exposure.
class TKGEN_EXPORT TkBinary_FluoroRad : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_FluoroRad);

    TKGEN_PROPERTY(unsigned char, kv_curve1); ///< stands beside row 0 of the curve data
    TKGEN_PROPERTY(unsigned char, kv_curve2); ///< beside row 1
    TKGEN_PROPERTY(unsigned char, kv_curve3); ///< beside row 2
    TKGEN_CURVES(unsigned char, CurveData, 3, 18);
};

/// The levels of the ABS.
#define TKGEN_ABS_LEVELS                                                                           \
    TKGEN_PROPERTY(short int, abs_level0);                                                         \
    TKGEN_PROPERTY(short int, abs_level1);                                                         \
    TKGEN_PROPERTY(short int, abs_level2);                                                         \
    TKGEN_PROPERTY(short int, abs_level3)

/// The numbers of the three curves, each beside its row of the curve data.
#define TKGEN_ABS_CURVES                                                                           \
    TKGEN_PROPERTY(unsigned char, abs_curve1);                                                     \
    TKGEN_PROPERTY(unsigned char, abs_curve2);                                                     \
    TKGEN_PROPERTY(unsigned char, abs_curve3)

/// Continuous fluoroscopy.
class TKGEN_EXPORT TkBinary_ContinuousFluoro : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_ContinuousFluoro);

    TKGEN_ABS_LEVELS;
    TKGEN_PROPERTY(unsigned char, abs_gain);
    TKGEN_PROPERTY(char, abs_deadband);
    TKGEN_PROPERTY(unsigned short int, abs_delay);
    TKGEN_PROPERTY(unsigned char, abs_initialkV);
    TKGEN_PROPERTY(char, signal_gain);
    TKGEN_PROPERTY(unsigned char, abs_curve_default);
    TKGEN_ABS_CURVES;
    TKGEN_CURVES(unsigned char, CurveData, 3, 10);
    TKGEN_LIMITS(unsigned char, ManualLimitData, 10);
    TKGEN_LIMITS(unsigned char, ABSLimitData, 10);
    TKGEN_PROPERTY(unsigned char, mag1_ma_multipler); ///< for magnification 1
    TKGEN_PROPERTY(unsigned char, mag2_ma_multipler);
    TKGEN_PROPERTY(unsigned char, mag3_ma_multipler);
};

/// High-level fluoroscopy.
class TKGEN_EXPORT TkBinary_HighLevelFluoro : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_HighLevelFluoro);

    TKGEN_PROPERTY(unsigned char, mode);
    TKGEN_PROPERTY(unsigned short int, ma_factor);
    TKGEN_ABS_LEVELS;
    TKGEN_LIMITS(unsigned short int, LimitData, 10);
    TKGEN_PROPERTY(unsigned char, mag1_ma_multipler); ///< for magnification 1
    TKGEN_PROPERTY(unsigned char, mag2_ma_multipler);
    TKGEN_PROPERTY(unsigned char, mag3_ma_multipler);
};

/// Pulsed fluoroscopy.
class TKGEN_EXPORT TkBinary_PulseFluoro : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_PulseFluoro);

    TKGEN_PROPERTY(unsigned char, mode);
    TKGEN_PROPERTY(unsigned char, pf_default);
    TKGEN_PROPERTY(unsigned char, pps_default); ///< pulses a second
    TKGEN_PROPERTY(unsigned short int, default_ma);
    TKGEN_PROPERTY(unsigned char, default_ms);
    TKGEN_PROPERTY(unsigned char, abs_curve_def);
    TKGEN_PROPERTY(unsigned char, sync_freq);
    TKGEN_ABS_LEVELS;
    TKGEN_PROPERTY(char, abs_gain);
    TKGEN_PROPERTY(char, abs_deadband);
    TKGEN_PROPERTY(unsigned short int, abs_delay);
    TKGEN_PROPERTY(unsigned char, abs_initialkV);
    TKGEN_PROPERTY(unsigned char, signal_gain);
    TKGEN_PROPERTY(unsigned char, integration);
    TKGEN_ABS_CURVES;
    TKGEN_CURVES(unsigned short int, MaCurveData, 3, 10);
    TKGEN_CURVES(unsigned char, MsCurveData, 3, 10);
    TKGEN_LIMITS(unsigned short int, MaLimitData, 10);
    TKGEN_LIMITS(unsigned char, MsLimitData, 10);
    TKGEN_PROPERTY(char, abs_comp_1pps); ///< for 1 pulse a second
    TKGEN_PROPERTY(char, abs_comp_3pps);
    TKGEN_PROPERTY(char, abs_comp_7pps);
    TKGEN_PROPERTY(char, abs_comp_15pps);
    TKGEN_PROPERTY(char, abs_comp_30pps);
    TKGEN_PROPERTY(unsigned char, mag1_ms_multipler); ///< for magnification 1
    TKGEN_PROPERTY(unsigned char, mag2_ms_multipler);
    TKGEN_PROPERTY(unsigned char, mag3_ms_multipler);
};

/// Pulsed high-level fluoroscopy.
class TKGEN_EXPORT TkBinary_HLF_PulseFluoro : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_HLF_PulseFluoro);

    TKGEN_PROPERTY(unsigned char, mode);
    TKGEN_PROPERTY(unsigned short int, ma_factor);
    TKGEN_PROPERTY(unsigned short int, ms_factor);
    TKGEN_ABS_LEVELS;
    TKGEN_LIMITS(unsigned short int, MaLimitData, 10);
    TKGEN_LIMITS(unsigned char, MsLimitData, 10);
    TKGEN_PROPERTY(unsigned char, mag1_ms_multipler); ///< for magnification 1
    TKGEN_PROPERTY(unsigned char, mag2_ms_multipler);
    TKGEN_PROPERTY(unsigned char, mag3_ms_multipler);
};

#undef TKGEN_ABS_LEVELS
#undef TKGEN_ABS_CURVES

#endif
