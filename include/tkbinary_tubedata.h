#ifndef TKBINARY_TUBEDATA_H
#define TKBINARY_TUBEDATA_H

#include "tkbinaryinterface.h"

/// The whole description of one X-ray tube. `TubeNumber` selects it. Ratings, limits, times and
/// heat unit values are the generator's own numbers, and what its settings do is its own affair.
///
/// The names: SF_, LF_ and MF_ are the small, the large and the third focus, LS_ and HS_ the low
/// and the high rotor speed. Limit at the end of a field's name stands for the limit of the field
/// of the rest; KW_Limit and MinKV_Limits are tables. The third focus goes over the line from
/// revision 300 on; below, its fields keep their values.
///
/// One object serves both tubes in turn: it holds the data of the tube that was read last, and a
/// validity for each tube, of which isValid tells that of `TubeNumber`. A reply sets `TubeNumber`
/// too: a late one tells of the other tube, so compare. No assignment makes the record not valid,
/// though another `TubeNumber` turns to the other tube's validity. A number that is no tube's is
/// sent, and is never valid.
///
/// The properties of tables are pointers to the record's own numbers, as in
/// `tube.SF_LS_KW_Limit[3] = 40;`. To assign a table copies all its numbers; the pointer isn't
/// kept.
class TKGEN_EXPORT TkBinary_TubeData : public TkBinaryInterface {
    TKGEN_RECORD(TkBinary_TubeData);

  public:
    static constexpr std::size_t TUBES = 2;
    static constexpr std::size_t NAME_SIZE = 15;
    static constexpr std::size_t HEAT_UNIT_RANGE_SIZE = 30;
    static constexpr std::size_t HEAT_UNIT_SLOPE_SIZE = 10;
    static constexpr std::size_t KV_LIMIT_SIZE = 21;
    static constexpr std::size_t KW_LIMIT_SIZE = 36;

    /// Index, 0 or 1.
    TKGEN_CONVERTED_PROPERTY(unsigned char, TubeNumber, m_TubeNumber, (turnTo(value), value));
    TKGEN_QUIET_PROPERTY(unsigned char, Revision); ///< revision of the data
    TKGEN_QUIET_PROPERTY(unsigned char, Angle);    ///< anode angle
    TKGEN_QUIET_PROPERTY(unsigned char, SpeedLimit);
    TKGEN_QUIET_PROPERTY(unsigned char, Speed); ///< rotor speed
    TKGEN_QUIET_PROPERTY(unsigned char, Frequency);

    /// At most 15 characters, terminated, as in `char name[] = "RAD 12"; tube.Name = name;`. A
    /// shorter one that is assigned changes its first characters alone: the tail of the old one
    /// stays.
    TKGEN_TEXT_PROPERTY(Name, NAME_SIZE);

    TKGEN_ARRAY_PROPERTY(unsigned char, HeatUnitRange, HEAT_UNIT_RANGE_SIZE);
    TKGEN_ARRAY_PROPERTY(unsigned short int, HeatUnitSlope, HEAT_UNIT_SLOPE_SIZE);
    TKGEN_ARRAY_PROPERTY(unsigned char, SF_MinKV_Limits, KV_LIMIT_SIZE);
    TKGEN_ARRAY_PROPERTY(unsigned char, LF_MinKV_Limits, KV_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned short int, SF_LS_KW_Rating);
    TKGEN_ARRAY_PROPERTY(unsigned short int, SF_LS_KW_Limit, KW_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned short int, LF_LS_KW_Rating);
    TKGEN_ARRAY_PROPERTY(unsigned short int, LF_LS_KW_Limit, KW_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned short int, SF_HS_KW_Rating);
    TKGEN_ARRAY_PROPERTY(unsigned short int, SF_HS_KW_Limit, KW_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned short int, LF_HS_KW_Rating);
    TKGEN_ARRAY_PROPERTY(unsigned short int, LF_HS_KW_Limit, KW_LIMIT_SIZE);

    TKGEN_QUIET_PROPERTY(unsigned char, BoostTime);
    TKGEN_QUIET_PROPERTY(unsigned char, StabalizeTime);
    TKGEN_QUIET_PROPERTY(unsigned char, SF_Standby_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, SF_Standby);
    TKGEN_QUIET_PROPERTY(unsigned char, LF_Standby_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, LF_Standby);
    TKGEN_QUIET_PROPERTY(unsigned char, SF_FilamentMax_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, SF_FilamentMax);
    TKGEN_QUIET_PROPERTY(unsigned char, LF_FilamentMax_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, LF_FilamentMax);
    TKGEN_QUIET_PROPERTY(unsigned char, BoostMultiplier);
    TKGEN_QUIET_PROPERTY(unsigned short int, SF_MaxMa_Limit);
    TKGEN_QUIET_PROPERTY(unsigned short int, SF_MaxMa);
    TKGEN_QUIET_PROPERTY(unsigned char, KvMax);
    TKGEN_QUIET_PROPERTY(unsigned char, AnodeWarning);
    TKGEN_QUIET_PROPERTY(unsigned char, AnodeLimit);
    TKGEN_QUIET_PROPERTY(unsigned char, AnodeOverride);
    TKGEN_QUIET_PROPERTY(unsigned char, KvMax_Limit);

    TKGEN_QUIET_PROPERTY(unsigned char, MF_Enable); ///< switches the third focus on
    TKGEN_ARRAY_PROPERTY(unsigned char, MF_MinKV_Limits, KV_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned short int, MF_LS_KW_Rating);
    TKGEN_ARRAY_PROPERTY(unsigned short int, MF_LS_KW_Limit, KW_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned short int, MF_HS_KW_Rating);
    TKGEN_ARRAY_PROPERTY(unsigned short int, MF_HS_KW_Limit, KW_LIMIT_SIZE);
    TKGEN_QUIET_PROPERTY(unsigned char, MF_Standby_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, MF_Standby);
    TKGEN_QUIET_PROPERTY(unsigned char, MF_FilamentMax_Limit);
    TKGEN_QUIET_PROPERTY(unsigned char, MF_FilamentMax);
    TKGEN_QUIET_PROPERTY(unsigned short int, MF_MaxMa_Limit);
    TKGEN_QUIET_PROPERTY(unsigned short int, MF_MaxMa);

  private:
    std::size_t instance() const { return m_TubeNumber; } // behind the last tube it has no flag
};

#endif
