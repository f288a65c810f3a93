#include "tkbinary_receptors.h"

#include "tkrecordwalk.h"

namespace {
constexpr int NEW_FORM = 300;
}

TkBinaryInterface::Form TkBinary_Receptors::form(int revision) {
    return revision < NEW_FORM ? Form{0x06, 2, 27} : Form{0x1A, 2, 48};
}

template <class Walk>
void TkBinary_Receptors::walk(Walk &walk) {
    walk.direction();
    walk.index(m_Receptor, RECEPTORS);
    walk.fields(m_Tube, m_Tomo, m_Fluoro, m_Serial, m_AECChannel, m_Interface, m_FluoroHang,
                m_RadHang, m_LastImageHold, m_Memory, m_TomoBackupTime, m_AutoFocus,
                m_AECBackupMODE, m_AECBackupMAS, m_AECBackupMS, m_Kv, m_Ma);
    walk.reserved(1);
    walk.fields(m_Ms, m_Technique, m_Focus, m_Density, m_Filmscreen, m_Fields, m_Functional);
    if (walk.revision() >= NEW_FORM) {
        walk.fields(m_AECLock);
        walk.trailer(20);
    }
}

TkBinary_Receptors::TkBinary_Receptors() : TkBinaryInterface(1) {}

TKGEN_RECORD_OPERATIONS(TkBinary_Receptors);
TKGEN_RECORD_COPY(TkBinary_Receptors);
