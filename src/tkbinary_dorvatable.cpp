#include "tkbinary_dorvatable.h"

#include "tkrecordwalk.h"

TkBinaryInterface::Form TkBinary_DorvaTable::form(int /*revision*/) {
    return {0xC8, 1, 1};
}

template <class Walk>
void TkBinary_DorvaTable::walk(Walk &walk) {
    walk.inPlaceOfDirection(0);
    walk.fields(m_cArc_Tilt, m_cArc_Rotation, m_mainArm_Tilt, m_tableTop_Tilt, m_sid,
                m_mainCenter_UpDown, m_tableTop_UpDown);
    walk.text(m_pguidance, GUIDANCE_SIZE);
    walk.text(m_pfilter, FILTER_SIZE);
    walk.fields(m_status);
}

TkBinary_DorvaTable::TkBinary_DorvaTable() : TkBinaryInterface(1) {
    setForm(form(0));
}

/// Both forms are the request.
std::vector<unsigned char> TkBinary_DorvaTable::generateCommand(int /*mode*/) {
    return encode(*this, tkrecord::READ);
}

TKGEN_RECORD_RECEPTION(TkBinary_DorvaTable);
TKGEN_RECORD_COPY(TkBinary_DorvaTable);
