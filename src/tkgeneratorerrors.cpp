#include "tkgeneratorerrors.h"

#include "tk.h"

namespace {

/// A number and its text.
struct Row {
    unsigned char number;
    const char *text;
};

constexpr const char *UNKNOWN = "Unknown Error Code.";

// clang-format off
constexpr Row BOTH_FAMILIES[] = {
    {0, "Successful"},
    {1, "Generator CPU EPROM checksum error."},
    {3, "Generator CPU NVRAM error."},
    {4, "Generator CPU Real Time Clock error."},
    {5, "Main Contactor Error."},
    {6, "Rotor Fault."},
    {7, "Filament Fault."},
    {8, "kV / mA Fault."},
    {9, "Power Supply Not Ready."},
    {11, "mA During Exposure Too High."},
    {12, "mA During Exposure Too Low."},
    {13, "Manually Terminated Exposure."},
    {14, "AEC Back-up Timer - Exposure Terminated."},
    {15, "AEC mAs Exceeded - Exposure Terminated."},
    {16, "Tomo Back-up Timer - Exposure Terminated."},
    {17, "Uncalibrated Exposure Parameter."},
    {18, "Preparation Timeout."},
    {19, "Anode Heat Limit."},
    {20, "Thermal Switch Interlock #1 Error."},
    {21, "Thermal Switch Interlock #2 Error."},
    {22, "Door Interlock Error."},
    {23, "Collimator Interlock Error."},
    {24, "Cassette Interlock Error."},
    {25, "Image Intensifier Safety Interlock Error."},
    {26, "Spare Input Interlock Error."},
    {27, "Receptor Timeout Error - Receptor did not respond within the timeout period"},
    {28, "Prep Input Active During Initialization Phase."},
    {29, "X-ray Input Active During Initialization Phase."},
    {30, "Fluoro Input Active During Initialization Phase."},
    {31, "Remote Fluoro Communication Error"},
    {32, "Console Communication Error"},
    {33, "Warning Lithium Battery Voltage Low."},
    {34, "+12 V DC Error."},
    {35, "-12 V DC Error."},
    {36, "+15 V DC Error."},
    {37, "-15 V DC Error."},
    {38, "Calibration Data Corrupt Error."},
    {39, "AEC data corrupt."},
    {40, "Fluoro data corrupt."},
    {41, "Receptor data corrupt."},
    {42, "Tube data corrupt."},
    {43, "High voltage error - kV detected in non x-ray state."},
    {45, "Communication message not supported."},
    {46, "Mode inhibited."},
    {47, "Fluoro timer limit."},
    {48, "Focus mismatch error."},
    {49, "Not enabled."},
    {50, "Generator limit data corrupt."},
    {51, "AEC feedback error (no feedback signal detected)."},
    {52, "High small focus filament current error in standby."},
    {53, "High large focus filament current error in standby."},
    {54, "AEC reference out of range."},
    {55, "No fields selected in AEC mode."},
    {57, "AEC stop signal in wrong state."},
    {58, "Console back-up timer."},
    {59, "Housing heat limit exceeded."},
    {60, "High kV error."},
    {61, "Low kV error."},
    {62, "EXP_SW signal active in standby state."},
    {63, "Factory defaults set."},
    {64, "No Exposure Release."},
    {65, "Tomo device error."},
    {66, "No SYNC signal."},
    {67, "Power supply duty cycle limit exceeded."},
    {69, "MAS Timeout."},
    {71, "DAP overflow error."},
    {72, "DAP device error."},
    {73, "DAP data error."},
    {100, "Calibration error - maximum mA exceeded."},
    {101, "Calibration error - calibration data table exceeded."},
    {102, "Calibration error - maximum filament current exceeded."},
    {103, "Calibration error - manually terminated."},
    {104, "Calibration error - no mA."},
    {105, "Calibration error - minimum mA not calibrated."},
    {200, "Anode warning level exceeded."},
    {201, "Fluoro timer warning level exceeded."},
    {202, "Generator kW limit."},
    {203, "Generator kV limit."},
    {204, "Generator mA limit."},
    {205, "Generator ms limit."},
    {206, "Generator mAs limit."},
    {207, "Tube kW limit."},
    {208, "Tube kV limit."},
    {209, "Tube mA limit."},
    {210, "Tube mAs limit."},
    {211, "Calibration limit:  selected parameter not calibrated."},
    {212, "Generator AEC density limit."},
    {213, "Invalid communication parameter."},
    {214, "Housing heat warning."},
    {215, "CT termination input wrong state."},
    {216, "Please deselect TOMO table."},
    {217, "Please select TOMO angle."},
    {218, "The selected TOMO angle is not available."},
    {219, "Generator PPS Limit"},
    {220, "Generator duty cycle limit."},
};

constexpr Row ARKONA[] = {
    {44, "Invalid communication message."},
    {56, "Receptor Disabled."},
    {74, "Table Communication Error"},
    {75, "Table Emergency Stop."},
    {76, "High Micro Focus Current."},
    {77, "Active Dose Reduction Interlock."},
    {78, "Active Dose Reduction Fault."},
    {79, "Mask Abort Error."},
    {80, "Mask Exposure Error."},
    {221, "DAP not ready."},
    {222, "DAP rate value exceeded."},
    {223, "DAP accumulated value exceeded."},
    {224, "Parameter Limit."},
    {225, "Fluoro default focus not working."},
};

constexpr Row BRN450[] = {
    {2, "Generator ZOR EEPROM checksum error."},
    {10, "KV During Exposure Too Low."},
    {44, "Communication Error."},
    {56, "No Tube Selected."},
    {74, "Inverter 1 Error"},
    {75, "Inverter 2 Error."},
    {76, "Inverter 3 Error."},
    {77, "Resonant Circuit Error."},
    {78, "Bucky 1 Interlock Error."},
    {79, "Bucky 2 Interlock Error."},
    {80, "Interlock 1 Open."},
    {81, "Interlock 2 Open"},
    {82, "kV Over Voltage."},
    {83, "Anode mA Fault."},
    {84, "Cathode mA Fault."},
    {85, "Rotor Main Fault."},
    {86, "Rotor Shift Fault."},
    {221, "Generator Joule Limit."},
    {222, "CM Limit."},
    {223, "CM Step Size Limit."},
    {224, "CM Start Limit."},
    {225, "Go To First CM."},
    {230, "DAP Not Ready."},
    {231, "DAP Rate Warning."},
    {232, "DAP Accumulation Warning."},
};
// clang-format on

template <std::size_t Count>
constexpr void enter(TkGeneratorErrors::Texts &texts, const Row (&rows)[Count]) {
    for (const Row &row : rows) {
        texts[row.number] = row.text;
    }
}

template <std::size_t Count>
constexpr TkGeneratorErrors::Texts tableOf(const Row (&family)[Count]) {
    TkGeneratorErrors::Texts texts{};
    for (const char *&text : texts) {
        text = UNKNOWN;
    }
    enter(texts, BOTH_FAMILIES);
    enter(texts, family);
    return texts;
}

/// Whether the rows of a family leave those of both alone.
template <std::size_t Count>
constexpr bool addsTo(const Row (&family)[Count]) {
    for (const Row &row : family) {
        for (const Row &common : BOTH_FAMILIES) {
            if (row.number == common.number) {
                return false;
            }
        }
    }
    return true;
}

static_assert(addsTo(ARKONA) && addsTo(BRN450));

} // namespace

constexpr TkGeneratorErrors::Texts TkGeneratorErrors::m_Arkona_Errors = tableOf(ARKONA);
constexpr TkGeneratorErrors::Texts TkGeneratorErrors::m_BRN450_Errors = tableOf(BRN450);

const char *TkGeneratorErrors::getErrorMessage(unsigned char code, int generatorType) {
    return generatorType == Tk::GENERATOR_BRN450 ? m_BRN450_Errors[code] : m_Arkona_Errors[code];
}
