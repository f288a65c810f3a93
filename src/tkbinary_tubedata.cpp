#include "tkbinary_tubedata.h"

#include "tkrecordwalk.h"

namespace {
constexpr int NEW_FORM = 300; // with the third focus
}

/// Below revision 300 the length is one more than the bytes that follow.
TkBinaryInterface::Form TkBinary_TubeData::form(int revision) {
    return revision < NEW_FORM ? Form{0x04, 2, 447} : Form{0x19, 2, 638};
}

template <class Walk>
void TkBinary_TubeData::walk(Walk &walk) {
    walk.direction();
    walk.index(m_TubeNumber);
    walk.fields(m_Revision, m_Angle, m_SpeedLimit, m_Speed, m_Frequency);
    walk.text(m_aName, NAME_SIZE);
    walk.fields(m_aHeatUnitRange, m_aHeatUnitSlope);
    walk.reserved(10);
    walk.fields(m_aSF_MinKV_Limits, m_aLF_MinKV_Limits, m_SF_LS_KW_Rating, m_aSF_LS_KW_Limit,
                m_LF_LS_KW_Rating, m_aLF_LS_KW_Limit, m_SF_HS_KW_Rating, m_aSF_HS_KW_Limit,
                m_LF_HS_KW_Rating, m_aLF_HS_KW_Limit, m_BoostTime, m_StabalizeTime,
                m_SF_Standby_Limit, m_SF_Standby, m_LF_Standby_Limit, m_LF_Standby,
                m_SF_FilamentMax_Limit, m_SF_FilamentMax, m_LF_FilamentMax_Limit, m_LF_FilamentMax,
                m_BoostMultiplier, m_SF_MaxMa_Limit, m_SF_MaxMa, m_KvMax, m_AnodeWarning,
                m_AnodeLimit, m_AnodeOverride, m_KvMax_Limit);
    if (walk.revision() < NEW_FORM) {
        walk.trailer(6);
        return;
    }
    walk.fields(m_MF_Enable, m_aMF_MinKV_Limits, m_MF_LS_KW_Rating, m_aMF_LS_KW_Limit,
                m_MF_HS_KW_Rating, m_aMF_HS_KW_Limit, m_MF_Standby_Limit, m_MF_Standby,
                m_MF_FilamentMax_Limit, m_MF_FilamentMax, m_MF_MaxMa_Limit, m_MF_MaxMa);
    walk.trailer(20);
}

TkBinary_TubeData::TkBinary_TubeData() : TkBinaryInterface(TUBES) {}

TKGEN_RECORD_OPERATIONS(TkBinary_TubeData);
