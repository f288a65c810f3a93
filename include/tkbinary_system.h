#ifndef TKBINARY_SYSTEM_H
#define TKBINARY_SYSTEM_H

#include "tkbinaryinterface.h"

/// @file
/// The generator's housekeeping: clock, error log, counters, limits, type, inputs and outputs, dose
/// area product meter, bypass.

/// The generator's clock. An assignment makes the record not valid.
class TKGEN_EXPORT TkBinary_DateTime : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_DateTime);

    TKGEN_PROPERTY(unsigned short int, Year);
    TKGEN_PROPERTY(unsigned char, Month); ///< 1 to 12
    TKGEN_PROPERTY(unsigned char, Day);   ///< 1 to 31
    TKGEN_PROPERTY(unsigned char, Hour);  ///< 0 to 23
    TKGEN_PROPERTY(unsigned char, Min);   ///< 0 to 59
    TKGEN_PROPERTY(unsigned char, Sec);   ///< 0 to 59; told by the generator, and never sent
};

/// One entry of the generator's error log, with a date and a technique. Each
/// read brings another entry: the first read of an object brings the first one, and every further
/// read the one that follows.
///
/// The generator sends the log and takes none: to write this record does nothing, and
/// transmitBinaryMsg returns false.
class TKGEN_EXPORT TkBinary_ErrorLog : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_ErrorLog);

  public:
    /// What the next read asks for: 0 the first entry, and from then on those that follow; 2 what
    /// the generator makes of it, read for read; any other number an entry that follows.
    void setReadMode(int mode);

    TKGEN_READ_ONLY(unsigned char, TotalErrors); ///< entries of the log
    TKGEN_READ_ONLY(unsigned char, ErrorNum);    ///< number of this one
    TKGEN_READ_ONLY(unsigned char, ErrorCode);   ///< the generator's own
    TKGEN_READ_ONLY(unsigned short int, Year);
    TKGEN_READ_ONLY(unsigned char, Month);
    TKGEN_READ_ONLY(unsigned char, Day);
    TKGEN_READ_ONLY(unsigned char, Hour);
    TKGEN_READ_ONLY(unsigned char, Min);
    TKGEN_READ_ONLY(unsigned char, RadKV);
    TKGEN_SHOWN_READ_ONLY(unsigned short int, RadMA, shownMA(m_RadMA));       ///< 0: unknown code
    TKGEN_SHOWN_READ_ONLY(unsigned short int, RadMAS, shownMAS(m_RadMAS));    ///< 0: unknown code
    TKGEN_SHOWN_READ_ONLY(unsigned short int, RadTime, shownTime(m_RadTime)); ///< 0: unknown code
    TKGEN_READ_ONLY(unsigned char, Density);
    TKGEN_READ_ONLY(unsigned char, Receptor);
    TKGEN_READ_ONLY(unsigned char, Technique);
    TKGEN_READ_ONLY(unsigned char, Focus);
    TKGEN_READ_ONLY(unsigned char, Filmscreen);
    TKGEN_READ_ONLY(unsigned char, Fields);
    TKGEN_READ_ONLY(unsigned char, FluoroKV);
    TKGEN_READ_ONLY(unsigned char, FluoroMA);

  private:
    static unsigned short int shownMA(unsigned int code);
    static unsigned short int shownMAS(unsigned int code);
    static unsigned short int shownTime(unsigned int code);

    int m_nReadMode = 0;
    unsigned char m_nAsked = 0; // the read mode of the frame that goes out
};

/// The generator's counters, of 24 bits each. To write the record sets one of them to 0: the one
/// that the functions below have selected.
class TKGEN_EXPORT TkBinary_Statistics : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_Statistics);

  public:
    // Selects a counter for the next write, or with false no longer. A write resets one counter,
    // of several the last in this order, and forgets all selections. A write without any is a read.
    void resetTube1Exposures(bool reset);
    void resetTube2Exposures(bool reset);
    void resetFluoroHours(bool reset);

    TKGEN_READ_ONLY(unsigned int, Tube1Exposures);
    TKGEN_READ_ONLY(unsigned int, Tube2Exposures);
    TKGEN_READ_ONLY(unsigned int, FluoroHours);
    TKGEN_READ_ONLY(unsigned int, GeneratorExposures); ///< can't be reset

  private:
    static constexpr std::size_t RESETS = 3;

    bool m_bReset[RESETS] = {};    // in the order of their selectors, from 1
    unsigned char m_nSelector = 0; // of the frame that goes out
};

/// Limits of power, mA and mAs. The mA and mAs fields hold codes of preferred numbers on the line,
/// and show and take the numbers: 100, 125, 160, ... 10000 for mA, 5, 6, 8, ... 10000 for mAs. Any
/// other number becomes the lowest. A code that stands for none is shown as 0, and goes out again
/// as it came. An assignment leaves the validity as it is.
class TKGEN_EXPORT TkBinary_GenLimits : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_GenLimits);

  public:
    // A code's number; 0 for a code that there isn't.
    static unsigned int getMAValue(unsigned char code);
    static unsigned int getMASValue(unsigned char code);

    // A number's code; 0, which is the lowest number's, for one that has none.
    static unsigned char getMACode(unsigned int value);
    static unsigned char getMASCode(unsigned int value);

    TKGEN_QUIET_PROPERTY(unsigned char, Max_KW_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, Max_KW);

    // A field holds its code, and shows its number.
#define TKGEN_MA_PROPERTY(Name)                                                                    \
    TKGEN_CONVERTED_PROPERTY(unsigned int, Name, getMAValue(codeIn(m_##Name)), getMACode(value))
#define TKGEN_MAS_PROPERTY(Name)                                                                   \
    TKGEN_CONVERTED_PROPERTY(unsigned int, Name, getMASValue(codeIn(m_##Name)), getMASCode(value))

    TKGEN_MA_PROPERTY(Max_MA_Limit);
    TKGEN_MA_PROPERTY(Max_MA);
    TKGEN_MA_PROPERTY(Min_MA_Limit);
    TKGEN_MA_PROPERTY(Min_MA);
    TKGEN_MAS_PROPERTY(Max_MAS_Limit);
    TKGEN_MAS_PROPERTY(Max_MAS);

#undef TKGEN_MA_PROPERTY
#undef TKGEN_MAS_PROPERTY

  private:
    static unsigned char codeIn(unsigned int field) {
        return static_cast<unsigned char>(field);
    }
};

/// The generator's type. An assignment leaves the validity as it is.
class TKGEN_EXPORT TkBinary_GenType : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_GenType);

    TKGEN_QUIET_PROPERTY(unsigned char, Type); ///< the generator's own
    TKGEN_QUIET_PROPERTY(unsigned char, Reserved1);
    TKGEN_QUIET_PROPERTY(unsigned char, Reserved2);
};

/// The inputs and outputs of one workstation in one state. `WorkStation` and `State` select them.
/// An assignment makes the record not valid.
class TKGEN_EXPORT TkBinary_IOConfig : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_IOConfig);

  public:
    static constexpr unsigned char WORKSTATIONS = 6;

    TKGEN_PROPERTY(unsigned char, WorkStation); ///< index, 0 to 5
    TKGEN_PROPERTY(unsigned char, State);       ///< second index; the generator's own
    TKGEN_PROPERTY(unsigned char, Out1);
    TKGEN_PROPERTY(unsigned char, Out2);
    TKGEN_PROPERTY(unsigned char, Out3);
    TKGEN_PROPERTY(unsigned char, In1);
    TKGEN_PROPERTY(unsigned char, In2);
    TKGEN_PROPERTY(unsigned char, In3);
};

/// The dose area product meter. The fields of `unsigned int` carry 16 bits: a number above loses
/// its high bits on the line. An assignment leaves the validity as it is.
class TKGEN_EXPORT TkBinary_DAPConfig : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_DAPConfig);

    // Shows 1 if the generator says 1, and else 0; becomes 1 for every number above 0.
#define TKGEN_SWITCH_PROPERTY(Name)                                                                \
    TKGEN_CONVERTED_PROPERTY(unsigned char, Name, m_##Name == 1, value > 0)

    TKGEN_SWITCH_PROPERTY(Enabled);
    TKGEN_QUIET_PROPERTY(unsigned char, Mode);
    TKGEN_QUIET_PROPERTY(unsigned int, Calibration1);
    TKGEN_QUIET_PROPERTY(unsigned int, Calibration2);
    TKGEN_QUIET_PROPERTY(unsigned char, TypeLimit1);
    TKGEN_QUIET_PROPERTY(unsigned char, Type1);
    TKGEN_QUIET_PROPERTY(unsigned char, TypeLimit2);
    TKGEN_QUIET_PROPERTY(unsigned char, Type2);
    TKGEN_QUIET_PROPERTY(unsigned int, Test1);
    TKGEN_QUIET_PROPERTY(unsigned int, Test2);
    TKGEN_QUIET_PROPERTY(unsigned int, AccumAlarm); ///< accumulated dose that alarms
    TKGEN_QUIET_PROPERTY(unsigned int, RateAlarm);  ///< dose rate that alarms
    TKGEN_SWITCH_PROPERTY(Printer);
    TKGEN_SWITCH_PROPERTY(RateDisplay);

#undef TKGEN_SWITCH_PROPERTY
};

/// The bypass switch. It is written alone: to read it does nothing, and transmitBinaryMsg returns
/// false. An assignment makes the record not valid, until it is written: whether the generator took
/// it, the result of a call that waits tells.
class TKGEN_EXPORT TkBinary_Bypass : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_Bypass);

    TKGEN_PROPERTY(unsigned char, Enable);
};

#endif
