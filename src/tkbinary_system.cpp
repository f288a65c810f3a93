#include "tkbinary_system.h"

#include "tkrecordwalk.h"

#include <algorithm>

// --- Codes of preferred numbers -----------------------------------------------------------------

namespace {

/// The series of preferred numbers, of which each table of codes is a part.
constexpr unsigned short int PREFERRED[] = {
    5,    6,    8,    10,   12,   16,    20,    25,    32,    40,    50,    63,    80,    100,
    125,  160,  200,  250,  320,  400,   500,   630,   800,   1000,  1250,  1600,  2000,  2500,
    3200, 4000, 5000, 6300, 8000, 10000, 12500, 16000, 20000, 25000, 32000, 40000, 50000, 63000};

/// The numbers of the codes from 0 on.
struct CodeTable {
    std::size_t first; // place in the series
    std::size_t count;

    unsigned short int numberOf(unsigned int code) const {
        return code < count ? PREFERRED[first + code] : static_cast<unsigned short int>(0);
    }

    unsigned char codeOf(unsigned int number) const {
        const auto *const begin = PREFERRED + first;
        const auto *const found = std::find(begin, begin + count, number);
        return static_cast<unsigned char>(found == begin + count ? 0 : found - begin);
    }
};

constexpr CodeTable MA{13, 21};  // 100 to 10000
constexpr CodeTable MAS{0, 34};  // 5 to 10000
constexpr CodeTable TIME{6, 36}; // 20 to 63000

static_assert(PREFERRED[MA.first] == 100 && PREFERRED[MA.first + MA.count - 1] == 10000);
static_assert(PREFERRED[MAS.first] == 5 && PREFERRED[MAS.first + MAS.count - 1] == 10000);
static_assert(PREFERRED[TIME.first] == 20 && PREFERRED[TIME.first + TIME.count - 1] == 63000);

} // namespace

// --- TkBinary_DateTime --------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_DateTime, 0x01, 1, 7);

template <class Walk>
void TkBinary_DateTime::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_Year, m_Month, m_Day, m_Hour, m_Min);
    walk.told(m_Sec);
}

TKGEN_RECORD_OPERATIONS(TkBinary_DateTime);

// --- TkBinary_ErrorLog --------------------------------------------------------------------------

namespace {
constexpr int FIRST_ENTRY = 0;
constexpr int NEXT_ENTRY = 1;
constexpr int AS_IT_IS = 2; // what the generator makes of it
} // namespace

TKGEN_RECORD_FORM(TkBinary_ErrorLog, 0x02, 1, 0);

template <class Walk>
void TkBinary_ErrorLog::walk(Walk &walk) {
    walk.inPlaceOfDirection(m_nAsked);
    walk.fields(m_TotalErrors, m_ErrorNum, m_ErrorCode, m_Year, m_Month, m_Day, m_Hour, m_Min,
                m_RadKV);
    walk.lowByte(m_RadMA, m_RadMAS, m_RadTime);
    walk.fields(m_Density, m_Receptor, m_Technique, m_Focus, m_Filmscreen, m_Fields, m_FluoroKV,
                m_FluoroMA);
}

std::vector<unsigned char> TkBinary_ErrorLog::generateCommand(int mode) {
    if (tkrecord::kindOf(mode) != tkrecord::Kind::request) {
        return encodeNothing();
    }
    const bool next = m_nReadMode != FIRST_ENTRY && m_nReadMode != AS_IT_IS;
    m_nAsked = static_cast<unsigned char>(next ? NEXT_ENTRY : m_nReadMode);
    if (m_nReadMode == FIRST_ENTRY) {
        m_nReadMode = NEXT_ENTRY;
    }
    return encode(*this, mode);
}

TKGEN_RECORD_RECEPTION(TkBinary_ErrorLog);

void TkBinary_ErrorLog::setReadMode(int mode) {
    m_nReadMode = mode;
}

unsigned short int TkBinary_ErrorLog::shownMA(unsigned int code) {
    return MA.numberOf(code);
}

unsigned short int TkBinary_ErrorLog::shownMAS(unsigned int code) {
    return MAS.numberOf(code);
}

unsigned short int TkBinary_ErrorLog::shownTime(unsigned int code) {
    return TIME.numberOf(code);
}

// --- TkBinary_Statistics ------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_Statistics, 0x03, 1, 1);

template <class Walk>
void TkBinary_Statistics::walk(Walk &walk) {
    walk.inPlaceOfDirection(m_nSelector);
    walk.counter(m_Tube1Exposures);
    walk.counter(m_Tube2Exposures);
    walk.counter(m_FluoroHours);
    walk.counter(m_GeneratorExposures);
}

/// A read is the selector 0.
std::vector<unsigned char> TkBinary_Statistics::generateCommand(int mode) {
    m_nSelector = 0;
    if (tkrecord::kindOf(mode) == tkrecord::Kind::write) {
        for (std::size_t i = 0; i < RESETS; ++i) {
            m_nSelector = m_bReset[i] ? static_cast<unsigned char>(i + 1) : m_nSelector;
            m_bReset[i] = false;
        }
    }
    return encode(*this, mode);
}

TKGEN_RECORD_RECEPTION(TkBinary_Statistics);

void TkBinary_Statistics::resetTube1Exposures(bool reset) {
    m_bReset[0] = reset;
}

void TkBinary_Statistics::resetTube2Exposures(bool reset) {
    m_bReset[1] = reset;
}

void TkBinary_Statistics::resetFluoroHours(bool reset) {
    m_bReset[2] = reset;
}

// --- TkBinary_GenLimits -------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_GenLimits, 0x05, 1, 9);

template <class Walk>
void TkBinary_GenLimits::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_Max_KW_Limit, m_Max_KW);
    walk.lowByte(m_Max_MA_Limit, m_Max_MA, m_Min_MA_Limit, m_Min_MA, m_Max_MAS_Limit, m_Max_MAS);
}

TKGEN_RECORD_OPERATIONS(TkBinary_GenLimits);

unsigned int TkBinary_GenLimits::getMAValue(unsigned char code) {
    return MA.numberOf(code);
}

unsigned int TkBinary_GenLimits::getMASValue(unsigned char code) {
    return MAS.numberOf(code);
}

unsigned char TkBinary_GenLimits::getMACode(unsigned int value) {
    return MA.codeOf(value);
}

unsigned char TkBinary_GenLimits::getMASCode(unsigned int value) {
    return MAS.codeOf(value);
}

// --- TkBinary_GenType ---------------------------------------------------------------------------

/// Four bytes follow a length of three.
TKGEN_RECORD_FORM(TkBinary_GenType, 0x10, 1, 3);

template <class Walk>
void TkBinary_GenType::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_Type, m_Reserved1, m_Reserved2);
}

TKGEN_RECORD_OPERATIONS(TkBinary_GenType);

// --- TkBinary_IOConfig --------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_IOConfig, 0x07, 3, 9);

template <class Walk>
void TkBinary_IOConfig::walk(Walk &walk) {
    walk.direction();
    walk.index(m_WorkStation, WORKSTATIONS);
    walk.index(m_State);
    walk.fields(m_Out1, m_Out2, m_Out3, m_In1, m_In2, m_In3);
}

TKGEN_RECORD_OPERATIONS(TkBinary_IOConfig);

// --- TkBinary_DAPConfig -------------------------------------------------------------------------

TKGEN_RECORD_FORM(TkBinary_DAPConfig, 0x0E, 1, 31);

template <class Walk>
void TkBinary_DAPConfig::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_Enabled, m_Mode);
    walk.lowWord(m_Calibration1, m_Calibration2);
    walk.fields(m_TypeLimit1, m_Type1, m_TypeLimit2, m_Type2);
    walk.lowWord(m_Test1, m_Test2, m_AccumAlarm, m_RateAlarm);
    walk.fields(m_Printer, m_RateDisplay);
    walk.trailer(10);
}

TKGEN_RECORD_OPERATIONS(TkBinary_DAPConfig);

// --- TkBinary_Bypass ----------------------------------------------------------------------------

/// Two bytes follow a length of one.
TKGEN_RECORD_FORM(TkBinary_Bypass, 0x38, 1, 1);

template <class Walk>
void TkBinary_Bypass::walk(Walk &walk) {
    walk.direction();
    walk.fields(m_Enable);
}

/// No reply tells what the switch is: what was written last is taken for it.
std::vector<unsigned char> TkBinary_Bypass::generateCommand(int mode) {
    if (tkrecord::kindOf(mode) == tkrecord::Kind::request) {
        return encodeNothing();
    }
    std::vector<unsigned char> frame = encode(*this, mode);
    setFlag(true, currentFlag());
    return frame;
}

TKGEN_RECORD_RECEPTION(TkBinary_Bypass);
