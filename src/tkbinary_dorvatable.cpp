#include "tkbinary_dorvatable.h"

#include "tkrecordwalk.h"

TKGEN_RECORD_FORM(TkBinary_DorvaTable, 0xC8, 1, 1);

template <class Walk>
void TkBinary_DorvaTable::walk(Walk &walk) {
    walk.inPlaceOfDirection(0);
    walk.fields(m_cArc_Tilt, m_cArc_Rotation, m_mainArm_Tilt, m_tableTop_Tilt, m_sid,
                m_mainCenter_UpDown, m_tableTop_UpDown);
    walk.text(m_pguidance, GUIDANCE_SIZE);
    walk.text(m_pfilter, FILTER_SIZE);
    walk.fields(m_status);
}

/// Both forms are the request.
std::vector<unsigned char> TkBinary_DorvaTable::generateCommand(int /*mode*/) {
    return encode(*this, tkrecord::READ);
}

TKGEN_RECORD_RECEPTION(TkBinary_DorvaTable);
TKGEN_RECORD_COPY(TkBinary_DorvaTable);
