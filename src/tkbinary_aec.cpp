#include "tkbinary_aec.h"

#include "tkrecordwalk.h"

#include <algorithm>

// --- TkBinary_AECSetup --------------------------------------------------------------------------

namespace {
constexpr int COMPENSATED_FORM = 150; // with field compensations and gains
constexpr int NEW_FORM = 300;         // with all fields, in another order
} // namespace

TkBinaryInterface::Form TkBinary_AECSetup::form(int revision) {
    return revision < NEW_FORM ? Form{0x08, 2, 11} : Form{0x17, 2, 47};
}

template <class Walk>
void TkBinary_AECSetup::walk(Walk &walk) {
    walk.direction();
    walk.index(m_Channel, CHANNELS);
    if (walk.revision() >= NEW_FORM) {
        walk.fields(m_ChamberType, m_Media, m_Fields, m_Filmscreen, m_RightFieldComp,
                    m_CenterFieldComp, m_LeftFieldComp, m_Filmscreen1Gain, m_Filmscreen2Gain,
                    m_Filmscreen3Gain, m_DigitalRadGain, m_DigitalRadCurve, m_Mag1SpotComp,
                    m_Mag2SpotComp, m_Mag3SpotComp, m_Mag1DSAComp, m_Mag2DSAComp, m_Mag3DSAComp,
                    m_Mag1CineComp, m_Mag2CineComp, m_Mag3CineComp);
        walk.trailer(20);
        return;
    }
    walk.fields(m_Filmscreen, m_Fields, m_ChamberType);
    if (walk.revision() < COMPENSATED_FORM) {
        walk.trailer(3);
        return;
    }
    walk.fields(m_RightFieldComp, m_CenterFieldComp, m_LeftFieldComp);
    walk.lowByte(m_Filmscreen1Gain);
    walk.lowByte(m_Filmscreen2Gain);
    walk.lowByte(m_Filmscreen3Gain);
}

TkBinary_AECSetup::TkBinary_AECSetup() : TkBinaryInterface(1) {}

TKGEN_RECORD_OPERATIONS(TkBinary_AECSetup);
TKGEN_RECORD_COPY(TkBinary_AECSetup);

// --- TkBinary_AECCalibration --------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_AECCalibration, 0x09, 2, 23);

template <class Walk>
void TkBinary_AECCalibration::walk(Walk &walk) {
    walk.direction();
    walk.index(m_filmscreen);
    walkPoints(walk);
    walk.fields(m_rlf_50ms_Comp, m_rlf_500ms_Comp, m_rlf_1000ms_Comp, m_multiSpot_Comp);
    walk.trailer(1);
}

TKGEN_RECORD_OPERATIONS(TkBinary_AECCalibration);

// --- TkBinary_AECDigital ------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_AECDigital, 0x18, 2, 38);

template <class Walk>
void TkBinary_AECDigital::walk(Walk &walk) {
    walk.direction();
    walk.index(m_digitalRadCurve);
    walkPoints(walk);
    walk.trailer(20);
}

TKGEN_RECORD_OPERATIONS(TkBinary_AECDigital);

// --- TkBinary_AECDensity ------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_AECDensity, 0x0A, 1, 17);

template <class Walk>
void TkBinary_AECDensity::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_density_neg_8, m_density_neg_7, m_density_neg_6, m_density_neg_5, m_density_neg_4,
                m_density_neg_3, m_density_neg_2, m_density_neg_1, m_density_pos_1, m_density_pos_2,
                m_density_pos_3, m_density_pos_4, m_density_pos_5, m_density_pos_6, m_density_pos_7,
                m_density_pos_8);
}

TKGEN_RECORD_OPERATIONS(TkBinary_AECDensity);

// --- TkBinary_SCAEC_ChamberSetup ----------------------------------------------------------------

TkBinaryInterface::Form TkBinary_SCAEC_ChamberSetup::form(int /*revision*/) {
    return {0xD3, 10, 10};
}

template <class Walk>
void TkBinary_SCAEC_ChamberSetup::walk(Walk &walk) {
    walk.answered(m_nChannel, CHANNELS);
    Chamber &chamber = m_Chambers[instance()];
    walk.fields(chamber.model, chamber.filmScreen1, chamber.filmScreen2, chamber.filmScreen3,
                chamber.dsaGain);
}

TkBinary_SCAEC_ChamberSetup::TkBinary_SCAEC_ChamberSetup() : TkBinaryInterface(CHANNELS) {
    setForm(form(0));
}

std::vector<unsigned char> TkBinary_SCAEC_ChamberSetup::generateCommand(int mode) {
    return encode(*this, mode == tkrecord::WRITE ? tkrecord::WRITE : tkrecord::READ);
}

TKGEN_RECORD_RECEPTION(TkBinary_SCAEC_ChamberSetup);

/// Values that belong to no channel have no flag.
std::size_t TkBinary_SCAEC_ChamberSetup::instance() const {
    return std::min<std::size_t>(m_nChannel, CHANNELS);
}

template <class Value>
void TkBinary_SCAEC_ChamberSetup::set(Value Chamber::*field, Value value) {
    setFlag(false, currentFlag());
    m_Chambers[instance()].*field = value;
}

void TkBinary_SCAEC_ChamberSetup::setChannel(unsigned char channel) {
    m_nChannel = channel;
    turnTo(instance());
}

void TkBinary_SCAEC_ChamberSetup::setModel(unsigned char model) {
    set(&Chamber::model, model);
}

void TkBinary_SCAEC_ChamberSetup::setFilmScreen1(unsigned short int gain) {
    set(&Chamber::filmScreen1, gain);
}

void TkBinary_SCAEC_ChamberSetup::setFilmScreen2(unsigned short int gain) {
    set(&Chamber::filmScreen2, gain);
}

void TkBinary_SCAEC_ChamberSetup::setFilmScreen3(unsigned short int gain) {
    set(&Chamber::filmScreen3, gain);
}

void TkBinary_SCAEC_ChamberSetup::setDSAGain(unsigned short int gain) {
    set(&Chamber::dsaGain, gain);
}

unsigned char TkBinary_SCAEC_ChamberSetup::channel() const {
    return m_nChannel;
}

unsigned char TkBinary_SCAEC_ChamberSetup::model() const {
    return current().model;
}

unsigned short int TkBinary_SCAEC_ChamberSetup::filmScreen1() const {
    return current().filmScreen1;
}

unsigned short int TkBinary_SCAEC_ChamberSetup::filmScreen2() const {
    return current().filmScreen2;
}

unsigned short int TkBinary_SCAEC_ChamberSetup::filmScreen3() const {
    return current().filmScreen3;
}

unsigned short int TkBinary_SCAEC_ChamberSetup::dsaGain() const {
    return current().dsaGain;
}

bool TkBinary_SCAEC_ChamberSetup::allValid() const {
    for (std::size_t i = 0; i < CHANNELS; ++i) {
        if (!isFlagSet(i)) {
            return false;
        }
    }
    return true;
}
