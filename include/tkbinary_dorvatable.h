#ifndef TKBINARY_DORVATABLE_H
#define TKBINARY_DORVATABLE_H

#include "tkbinaryinterface.h"

/// The position of the table and its C-arm, which can only be read. Angles and distances are in the
/// generator's own units.
///
/// With Tk::FEATURE_DORVA_TABLE the engine reads it again and again;
/// TkGeneratorStatus::getBinaryDorvaData copies it out. A lost link leaves it as it is.
class TKGEN_EXPORT TkBinary_DorvaTable : public TkBinaryInterface {
    TKGEN_COPIED_RECORD(TkBinary_DorvaTable);

  public:
    static constexpr std::size_t GUIDANCE_SIZE = 32;
    static constexpr std::size_t FILTER_SIZE = 12;

    TKGEN_READ_ONLY(char, cArc_Tilt);                  ///< tilt of the C-arm
    TKGEN_READ_ONLY(char, cArc_Rotation);              ///< rotation of the C-arm
    TKGEN_READ_ONLY(char, mainArm_Tilt);               ///< tilt of the main arm
    TKGEN_READ_ONLY(char, tableTop_Tilt);              ///< tilt of the table top
    TKGEN_READ_ONLY(unsigned char, sid);               ///< source to image distance
    TKGEN_READ_ONLY(unsigned char, mainCenter_UpDown); ///< height of the main centre
    TKGEN_READ_ONLY(char, tableTop_UpDown);            ///< height of the table top
    TKGEN_READ_ONLY_TEXT(guidance, GUIDANCE_SIZE);     ///< what the operator is to do
    TKGEN_READ_ONLY_TEXT(filter, FILTER_SIZE);         ///< the filter in place
    TKGEN_READ_ONLY(char, status);                     ///< status
};

#endif
