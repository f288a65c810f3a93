#include "words.h"

namespace {

constexpr const char *isSet = "this is a set of values, use 'read'";

// clang-format off
const std::vector<Words> table{
    // Radiography
    {Tk::KV, "radiographic tube voltage", "kV", {}},
    {Tk::MA, "radiographic tube current", nullptr, {}},
    {Tk::MS, "exposure time", nullptr, {}},
    {Tk::MX, "current-time product", nullptr, {}},
    {Tk::ET, "technique", nullptr, {"mA/ms", "mAs", "AEC"}},
    {Tk::PR, "prep", nullptr, {"ended", "requested"}},
    {Tk::XR, "radiographic exposure", nullptr, {"off", "on"}},
    {Tk::FS, "film screen", nullptr, {}},
    {Tk::FI, "AEC measuring fields", nullptr, {}},
    {Tk::FN, "density step", nullptr, {}},
    {Tk::AP, "mAs of the last exposure", nullptr, {}},
    {Tk::AT, "time of the last exposure", nullptr, {}},
    {Tk::SA, "first word of a program line", nullptr, {}},
    {Tk::AI, "anatomical program code", nullptr, {}},
    {Tk::RR, "read of the radiographic set", nullptr, {}, isSet},
    // Fluoroscopy
    {Tk::FLK, "fluoroscopic tube voltage", "kV", {}},
    {Tk::FLM, "fluoroscopic tube current", nullptr, {}},
    {Tk::FLI, "interval timer", nullptr, {}},
    {Tk::FLT, "accumulated timer", nullptr, {}},
    {Tk::FLS, "pulse rate", nullptr, {}},
    {Tk::FLF, "fluoroscopic mode", nullptr, {}},
    {Tk::FLP, "fluoroscopic prep", nullptr, {"ended", "requested"}},
    {Tk::FLA, "automatic brightness", nullptr, {"off"}},
    {Tk::FLZ, "magnification", nullptr, {}},
    {Tk::FLD, "dose level", nullptr, {}},
    {Tk::FLX, "fluoroscopic exposure", nullptr, {"off", "on"}},
    {Tk::FLR, nullptr, nullptr, {}},
    {Tk::FLC, "curve from fluoroscopy to radiography", nullptr, {}},
    {Tk::FLO, "automatic brightness curve", nullptr, {}},
    {Tk::RF, "read of the fluoroscopic set", nullptr, {}, isSet},
    // Tomography
    {Tk::ATA, "tomography angle", nullptr, {}},
    {Tk::ATC, "tomography cut line", nullptr, {}},
    {Tk::TR, "remote tomography", nullptr, {}},
    // Dose-area-product meter
    {Tk::DA, "accumulated dose-area product", nullptr, {}},
    {Tk::DR, "dose-area product rate", nullptr, {}},
    {Tk::DZ, "reset of the meter", nullptr, {}},
    {Tk::DT, "meter test", nullptr, {}},
    {Tk::DS, "meter status", nullptr, {nullptr, "available"}},
    {Tk::DV, nullptr, nullptr, {}},
    // Generator
    {Tk::ST, "status", nullptr, {}},
    {Tk::WS, "workstation", nullptr, {}},
    {Tk::FO, "focal spot", nullptr, {}},
    {Tk::BU, "bucky", nullptr, {}},
    {Tk::TU, "tube, as the generator tells it", nullptr, {}},
    {Tk::TB, "tube", nullptr, {}},
    {Tk::TO, nullptr, nullptr, {}},
    {Tk::KW, nullptr, nullptr, {}},
    {Tk::RS, "read of the status set", nullptr, {}, isSet},
    {Tk::MC, "mA calibration", nullptr, {}},
    {Tk::FC, "filament calibration", nullptr, {}},
    {Tk::GR, "software revision", nullptr, {}},
    {Tk::ER, "error", nullptr, {}},
    {Tk::EL, "latched error", nullptr, {}},
    {Tk::GM, nullptr, nullptr, {}},
    {Tk::CA, nullptr, nullptr, {}},
    {Tk::AL, "AEC lock", nullptr, {}},
    {Tk::CN, "cine run time", nullptr, {}},
    {Tk::PS, "patient size", nullptr, {}},
    {Tk::GC, nullptr, nullptr, {}},
    {Tk::WB, nullptr, nullptr, {}},
    {Tk::WI, nullptr, nullptr, {}},
    {Tk::WF, nullptr, nullptr, {}},
    {Tk::HE, "heat units of the tube", nullptr, {}},
    {Tk::HO, nullptr, nullptr, {}},
    {Tk::HH, nullptr, nullptr, {}},
    // Answers to a configuration read
    {Tk::CD, "configuration read", nullptr, {}, isSet},
    {Tk::CWS, "configuration: workstation", nullptr, {}},
    {Tk::CBU, "configuration", nullptr, {}},
    {Tk::CTO, "configuration", nullptr, {}},
    {Tk::CFL, "configuration", nullptr, {}},
    {Tk::CSR, "configuration", nullptr, {}},
    {Tk::CAE, "configuration", nullptr, {}},
    {Tk::CFI, "configuration", nullptr, {}},
    {Tk::CFS, "configuration", nullptr, {}},
    // Room
    {Tk::ATP, "position of the auto positioner", nullptr, {}},
    {Tk::COL, "collimator", nullptr, {}},
    {Tk::FIL, "filter", nullptr, {}},
    {Tk::FP, "rotation selection", nullptr, {}},
    {Tk::BCP, "bolus chase: phase", nullptr, {}},
    {Tk::BCI, "bolus chase: interval", nullptr, {}},
    {Tk::BCF, "bolus chase: frame rate", nullptr, {}},
    {Tk::RAP, "rotational angiography: phase", nullptr, {}},
    {Tk::RAA, "rotational angiography: angle", nullptr, {}},
    {Tk::RAF, "rotational angiography: frame rate", nullptr, {}},
};
// clang-format on

char upper(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

} // namespace

const std::vector<Words> &generatorWords() {
    return table;
}

std::string mnemonicOf(int parameter) {
    std::string letters;
    for (int shift = 16; shift >= 0; shift -= 8) {
        const int letter = (parameter >> shift) & 0xFF;
        if (letter != 0) {
            letters += static_cast<char>(letter);
        }
    }
    return letters;
}

Tk::TextCommands packed(const std::string &mnemonic) {
    int number = 0;
    for (const char each : mnemonic) {
        const char letter = upper(each);
        if (letter < 'A' || letter > 'Z' || mnemonic.size() > 3) {
            return Tk::TextCommands{};
        }
        number = number * 256 + letter;
    }
    return mnemonic.size() < 2 ? Tk::TextCommands{} : static_cast<Tk::TextCommands>(number);
}
