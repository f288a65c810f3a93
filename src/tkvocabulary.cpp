#include "tkvocabulary.h"

#include <algorithm>

namespace {

using E = TkGenDispatcher;

constexpr int NOT_SENT = TkTextItem::NOT_SENT;
constexpr int NEVER = TkTextItem::NEVER;

using Index = std::array<unsigned char, TkCommandTable::SIZE>;

/// Positions of the rows in the order of their numbers, for a binary search.
constexpr Index sortedIndex(const std::array<TkCommand, TkCommandTable::SIZE> &rows) {
    Index index{};
    for (std::size_t i = 0; i < index.size(); ++i) {
        std::size_t place = i;
        for (; place > 0 && rows[index[place - 1]].number > rows[i].number; --place) {
            index[place] = index[place - 1];
        }
        index[place] = static_cast<unsigned char>(i);
    }
    return index;
}

} // namespace

// clang-format off
constexpr std::array<TkCommand, TkCommandTable::SIZE> TkCommandTable::rows{{
    //                  sent      forms  reply  value kind                awaited   answered  event
        {Tk::KV,  "KV",  3,        true,  3,     TkValueKind::plain,       Tk::KV,  true,  &E::radiographic_Kv_Changed},
        {Tk::MA,  "MA",  5,        true,  5,     TkValueKind::plain,       Tk::MA,  true,  &E::radiographic_Ma_Changed},
        {Tk::MS,  "MS",  5,        true,  5,     TkValueKind::plain,       Tk::MS,  true,  &E::radiographic_Ms_Changed},
        {Tk::MX,  "MX",  5,        true,  5,     TkValueKind::plain,       Tk::MX,  true,  &E::radiographic_Mas_Changed},
        {Tk::RR,  "RR",  0,        false, NEVER, TkValueKind::plain,       Tk::KV,  true,  {}},
        {Tk::ET,  "ET",  1,        true,  1,     TkValueKind::plain,       Tk::ET,  true,  &E::radiographic_Technique_Changed},
        {Tk::PR,  "PR",  1,        false, 1,     TkValueKind::plain,       Tk::PR,  false, &E::radiographic_Prep_Changed},
        {Tk::XR,  "XR",  1,        false, 1,     TkValueKind::plain,       Tk::XR,  false, &E::radiographic_Exposure_Changed},
        {Tk::FS,  "FS",  3,        true,  3,     TkValueKind::plain,       Tk::FS,  true,  &E::radiographic_Film_Screen_Changed},
        {Tk::FI,  "FI",  3,        true,  3,     TkValueKind::plain,       Tk::FI,  true,  &E::radiographic_AEC_Fields_Changed},
        {Tk::FN,  "FN",  1,        true,  2,     TkValueKind::plusSigned,  Tk::FN,  true,  &E::radiographic_Density_Changed},
        {Tk::AP,  "AP",  0,        true,  5,     TkValueKind::plain,       Tk::AP,  true,  &E::radiographic_Post_Mas_Changed},
        {Tk::AT,  "AT",  0,        true,  5,     TkValueKind::plain,       Tk::AT,  true,  &E::radiographic_Post_Time_Changed},
        {Tk::SA,  "SA",  NOT_SENT, false, 0,     TkValueKind::plain,       Tk::SA,  true,  {}},
        {Tk::AI,  "AI",  4,        true,  4,     TkValueKind::plain,       Tk::AI,  true,  &E::radiographic_APR_Code_Changed},
        {Tk::FLK, "FLK", 3,        true,  3,     TkValueKind::plain,       Tk::FLK, true,  &E::fluoroscopic_Kv_Changed},
        {Tk::FLM, "FLM", 3,        true,  3,     TkValueKind::plain,       Tk::FLM, true,  &E::fluoroscopic_Ma_Changed},
        {Tk::FLI, "FLI", 0,        true,  3,     TkValueKind::plain,       Tk::FLI, true,  &E::fluoroscopic_Inter_Timer_Changed},
        {Tk::FLT, "FLT", 0,        true,  3,     TkValueKind::plain,       Tk::FLT, true,  &E::fluoroscopic_Accum_Timer_Changed},
        {Tk::FLS, "FLS", 3,        true,  3,     TkValueKind::plain,       Tk::FLS, true,  &E::fluoroscopic_PPS_Changed},
        {Tk::FLF, "FLF", 1,        true,  1,     TkValueKind::plain,       Tk::FLF, true,  &E::fluoroscopic_Mode_Changed},
        {Tk::FLP, "FLP", 1,        true,  1,     TkValueKind::plain,       Tk::FLP, false, &E::fluoroscopic_Prep_Changed},
        {Tk::FLA, "FLA", 1,        true,  1,     TkValueKind::plain,       Tk::FLA, true,  &E::fluoroscopic_ABS_Changed},
        {Tk::FLZ, "FLZ", 1,        true,  1,     TkValueKind::plain,       Tk::FLZ, true,  &E::fluoroscopic_MAG_Changed},
        {Tk::FLD, "FLD", 1,        true,  1,     TkValueKind::plain,       Tk::FLD, true,  &E::fluoroscopic_Dose_Changed},
        {Tk::FLX, "FLX", 1,        true,  1,     TkValueKind::plain,       Tk::FLX, false, &E::fluoroscopic_Exposure_Changed},
        {Tk::FLR, "FLR", 1,        false, 1,     TkValueKind::plain,       Tk::FLR, true,  {}},
        {Tk::RF,  "RF",  0,        false, NEVER, TkValueKind::plain,       Tk::FLK, true,  {}},
        {Tk::FLC, "FLC", 1,        true,  1,     TkValueKind::plain,       Tk::FLC, true,  &E::fluoroscopic_Rad_Curve_Changed},
        {Tk::FLO, "FLO", 1,        true,  1,     TkValueKind::plain,       Tk::FLO, true,  &E::fluoroscopic_ABS_Curve_Changed},
        {Tk::ATA, "ATA", 2,        true,  2,     TkValueKind::plain,       Tk::ATA, true,  &E::tomography_Angle_Changed},
        {Tk::ATC, "ATC", 2,        true,  2,     TkValueKind::signedWidth, Tk::ATC, true,  &E::tomography_Cutline_Changed},
        {Tk::DA,  "DA",  0,        false, 7,     TkValueKind::plain,       Tk::DA,  true,  &E::dap_Accumulated_Changed},
        {Tk::DR,  "DR",  0,        false, 7,     TkValueKind::plain,       Tk::DR,  true,  &E::dap_Rate_Changed},
        {Tk::DZ,  "DZ",  0,        false, 0,     TkValueKind::plain,       Tk::DZ,  true,  {}},
        {Tk::DT,  "DT",  0,        false, 1,     TkValueKind::plain,       Tk::DT,  true,  &E::dap_Test_Changed},
        {Tk::DS,  "DS",  0,        false, 1,     TkValueKind::plain,       Tk::DS,  true,  &E::dap_Status_Changed},
        {Tk::DV,  "DV",  0,        false, 7,     TkValueKind::plain,       Tk::DV,  true,  {}},
        {Tk::ST,  "ST",  0,        false, 3,     TkValueKind::plain,       Tk::ST,  true,  {}},
        {Tk::WS,  "WS",  1,        true,  1,     TkValueKind::plain,       Tk::WS,  true,  &E::generator_Workstation_Changed},
        {Tk::FO,  "FO",  1,        true,  1,     TkValueKind::plain,       Tk::FO,  true,  &E::generator_Focal_Spot_Changed},
        {Tk::RS,  "RS",  0,        false, NEVER, TkValueKind::plain,       Tk::TU,  true,  {}},
        {Tk::KW,  "KW",  0,        false, 3,     TkValueKind::plain,       Tk::KW,  true,  {}},
        {Tk::BU,  "BU",  1,        true,  1,     TkValueKind::plain,       Tk::BU,  true,  &E::generator_Bucky_Changed},
        {Tk::TO,  "TO",  1,        true,  1,     TkValueKind::plain,       Tk::TO,  true,  {}},
        {Tk::TU,  "TU",  NOT_SENT, false, 1,     TkValueKind::plain,       Tk::TU,  true,  &E::generator_Tube_Changed},
        {Tk::TB,  "TB",  1,        true,  1,     TkValueKind::plain,       Tk::TB,  true,  &E::generator_Tube_Changed},
        {Tk::MC,  "MC",  0,        true,  5,     TkValueKind::plain,       Tk::MC,  true,  &E::generator_Ma_Cal_Changed},
        {Tk::FC,  "FC",  0,        true,  5,     TkValueKind::plain,       Tk::FC,  true,  &E::generator_Filament_Cal_Changed},
        {Tk::GR,  "GR",  0,        false, 4,     TkValueKind::plain,       Tk::GR,  true,  {}},
        {Tk::ER,  "ER",  3,        false, 3,     TkValueKind::plain,       Tk::ER,  false, &E::generator_Error},
        {Tk::EL,  "EL",  3,        false, 3,     TkValueKind::plain,       Tk::EL,  false, &E::generator_Latched_Error},
        {Tk::GM,  "GM",  1,        false, 1,     TkValueKind::plain,       Tk::GM,  true,  {}},
        {Tk::CA,  "CA",  1,        true,  1,     TkValueKind::plain,       Tk::CA,  true,  {}},
        {Tk::TR,  "TR",  1,        false, 1,     TkValueKind::plain,       Tk::TR,  true,  &E::generator_Remote_Tomo_Changed},
        {Tk::AL,  "AL",  1,        true,  1,     TkValueKind::plain,       Tk::AL,  true,  &E::generator_AEC_Lock_Changed},
        {Tk::CN,  "CN",  0,        false, 5,     TkValueKind::plain,       Tk::CN,  true,  &E::generator_Cine_RunTime_Changed},
        {Tk::PS,  "PS",  1,        false, 1,     TkValueKind::plain,       Tk::PS,  true,  &E::generator_Patient_Size_Changed},
        {Tk::CD,  "CD",  1,        false, 1,     TkValueKind::plain,       Tk::CWS, true,  {}},
        {Tk::GC,  "GC",  0,        false, 3,     TkValueKind::plain,       Tk::GC,  true,  {}},
        {Tk::CWS, "CWS", NOT_SENT, false, 1,     TkValueKind::plain,       Tk::CWS, true,  {}},
        {Tk::CBU, "CBU", NOT_SENT, false, 1,     TkValueKind::plain,       Tk::CBU, true,  {}},
        {Tk::CTO, "CTO", NOT_SENT, false, 1,     TkValueKind::plain,       Tk::CTO, true,  {}},
        {Tk::CFL, "CFL", NOT_SENT, false, 1,     TkValueKind::plain,       Tk::CFL, true,  {}},
        {Tk::CSR, "CSR", NOT_SENT, false, 1,     TkValueKind::plain,       Tk::CSR, true,  {}},
        {Tk::CAE, "CAE", NOT_SENT, false, 1,     TkValueKind::plain,       Tk::CAE, true,  {}},
        {Tk::CFI, "CFI", NOT_SENT, false, 3,     TkValueKind::plain,       Tk::CFI, true,  {}},
        {Tk::CFS, "CFS", NOT_SENT, false, 3,     TkValueKind::plain,       Tk::CFS, true,  {}},
        {Tk::WB,  "WB",  0,        false, 1,     TkValueKind::plain,       Tk::WB,  true,  {}},
        {Tk::WI,  "WI",  0,        false, 3,     TkValueKind::plain,       Tk::WI,  true,  {}},
        {Tk::WF,  "WF",  0,        false, 3,     TkValueKind::plain,       Tk::WF,  true,  {}},
        {Tk::HE,  "HE",  0,        true,  3,     TkValueKind::plain,       Tk::HE,  true,  &E::tube_Heat_Units_Changed},
        {Tk::HO,  "HO",  1,        true,  1,     TkValueKind::plain,       Tk::HO,  true,  {}},
        {Tk::HH,  "HH",  0,        true,  3,     TkValueKind::plain,       Tk::HH,  true,  {}},
        {Tk::ATP, "ATP", 3,        true,  3,     TkValueKind::plain,       Tk::ATP, true,  &E::room_Auto_Position_Changed},
        {Tk::COL, "COL", 2,        true,  2,     TkValueKind::plain,       Tk::COL, true,  &E::room_Collimator_Changed},
        {Tk::FIL, "FIL", 2,        true,  2,     TkValueKind::plain,       Tk::FIL, true,  &E::room_Filter_Changed},
        {Tk::FP,  "FP",  1,        true,  1,     TkValueKind::plain,       Tk::FP,  true,  &E::room_Rotation_Selection_Changed},
        {Tk::BCP, "BCP", 2,        true,  2,     TkValueKind::plain,       Tk::BCP, false, &E::bolus_Chase_Phase_Changed},
        {Tk::BCI, "BCI", 2,        true,  2,     TkValueKind::plain,       Tk::BCI, true,  &E::bolus_Chase_Interval_Changed},
        {Tk::BCF, "BCF", 3,        true,  3,     TkValueKind::plain,       Tk::BCF, true,  &E::bolus_Chase_Frame_Rate_Changed},
        {Tk::RAP, "RAP", 2,        true,  2,     TkValueKind::plain,       Tk::RAP, false, &E::rotational_Angiography_Phase_Changed},
        {Tk::RAA, "RAA", 2,        true,  2,     TkValueKind::plain,       Tk::RAA, true,  &E::rotational_Angiography_Angle_Changed},
        {Tk::RAF, "RAF", 3,        true,  3,     TkValueKind::plain,       Tk::RAF, true,  &E::rotational_Angiography_Frame_Rate_Changed},
}};
// clang-format on

namespace {

constexpr Index byNumber = sortedIndex(TkCommandTable::rows);

constexpr bool numbersArePackedMnemonics() {
    for (const TkCommand &row : TkCommandTable::rows) {
        if (row.number != tkPacked(row.mnemonic)) {
            return false;
        }
    }
    return true;
}

constexpr bool numbersAreUnique() {
    for (std::size_t i = 1; i < byNumber.size(); ++i) {
        if (TkCommandTable::rows[byNumber[i - 1]].number ==
            TkCommandTable::rows[byNumber[i]].number) {
            return false;
        }
    }
    return true;
}

constexpr bool widthsAreSane() {
    for (const TkCommand &row : TkCommandTable::rows) {
        if (row.sentDigits < NOT_SENT || row.sentDigits > 5 || row.replyChars < NEVER ||
            row.replyChars > 7) {
            return false;
        }
    }
    return true;
}

static_assert(TkCommandTable::rows.back().number != 0, "a row is missing");
static_assert(numbersArePackedMnemonics());
static_assert(numbersAreUnique());
static_assert(widthsAreSane());

} // namespace

const TkCommand *TkCommandTable::find(int number) {
    const auto place =
        std::lower_bound(byNumber.begin(), byNumber.end(), number,
                         [](unsigned char row, int wanted) { return rows[row].number < wanted; });
    return place != byNumber.end() && rows[*place].number == number ? &rows[*place] : nullptr;
}
