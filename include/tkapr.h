#ifndef TKAPR_H
#define TKAPR_H

#include "tkexport.h"

#include <string>

class TkGeneratorControl;

/// A value of the program: its reader, its writer, and what it starts as.
#define TKGEN_APR_VALUE(name, Name, start)                                                         \
  private:                                                                                         \
    int m_n##Name = (start);                                                                       \
                                                                                                   \
  public:                                                                                          \
    void set##Name(int value) {                                                                    \
        m_n##Name = value;                                                                         \
    }                                                                                              \
    int name() const {                                                                             \
        return m_n##Name;                                                                          \
    }

/// An anatomical program: a complete set of exposure parameters, loaded into the generator in one
/// go by TkGeneratorControl::transmitAPR. What the generator refuses is told with the name of the
/// parameter.
///
/// A plain value: it copies, checks nothing, and belongs to one thread at a time. Each value has a
/// reader and a writer, as radiographicKv and setRadiographicKv; behind it stands the parameter
/// that it is sent as. A value whose unit isn't told is in the generator's own.
class TKGEN_EXPORT TkAPR {
  public:
    TkAPR();

    // Radiography: always sent
    TKGEN_APR_VALUE(radiographicTechnique, RadiographicTechnique, 0)  ///< "ET": 0 mA/ms, 1 mAs,
                                                                      ///< 2 AEC
    TKGEN_APR_VALUE(radiographicAECFields, RadiographicAECFields, 10) ///< "FI"
    TKGEN_APR_VALUE(radiographicFilm, RadiographicFilm, 1)            ///< "FS", see transmitAPR
    TKGEN_APR_VALUE(radiographicDensity, RadiographicDensity, 0)      ///< "FN", signed
    TKGEN_APR_VALUE(radiographicKv, RadiographicKv, 100)              ///< "KV", kV
    TKGEN_APR_VALUE(radiographicMa, RadiographicMa, 1000)             ///< "MA"
    TKGEN_APR_VALUE(radiographicMs, RadiographicMs, 4000)             ///< "MS"
    TKGEN_APR_VALUE(generatorFocus, GeneratorFocus, 0)                ///< "FO"
    TKGEN_APR_VALUE(generatorWorkstation, GeneratorWorkstation, 1)    ///< "WS", from 1 to 6

    // Fluoroscopy: sent where the workstation's receptor has it
    TKGEN_APR_VALUE(fluoroscopicKv, FluoroscopicKv, 70)            ///< "FLK", kV
    TKGEN_APR_VALUE(fluoroscopicMa, FluoroscopicMa, 20)            ///< "FLM"
    TKGEN_APR_VALUE(fluoroscopicMode, FluoroscopicMode, 0)         ///< "FLF"
    TKGEN_APR_VALUE(fluoroscopicABS, FluoroscopicABS, 0)           ///< "FLA"; 0: kV and mA by
                                                                   ///< hand
    TKGEN_APR_VALUE(fluoroscopicPPS, FluoroscopicPPS, 150)         ///< "FLS"
    TKGEN_APR_VALUE(fluoroscopicABSCurve, FluoroscopicABSCurve, 0) ///< "FLO"
    TKGEN_APR_VALUE(fluoroscopicRadCurve, FluoroscopicRadCurve, 0) ///< "FLC"

    // The room: sent where its feature is enabled
    TKGEN_APR_VALUE(roomAutoPosition, RoomAutoPosition, 0)           ///< "ATP"
    TKGEN_APR_VALUE(roomRotationSelection, RoomRotationSelection, 0) ///< "FP"
    TKGEN_APR_VALUE(tomoAngle, TomoAngle, 5)                         ///< "ATA"
    TKGEN_APR_VALUE(tomoCutline, TomoCutline, 5)                     ///< "ATC", signed
    TKGEN_APR_VALUE(APRCode, APRCode, 0)                             ///< "AI"

    /// What the generator refused when the program was transmitted last. For each part that was
    /// sent, a line for the oldest error and one for the oldest latched error, if there were any:
    /// what was being sent, " - ", the error's text, and a line feed. Those of the radiographic
    /// line stand under "APR Message"; its pieces, sent when it was refused, behind it and
    /// indented. Empty when nothing was refused, and before the first transmission.
    std::string getErrorDetails() const { return m_ErrorDetails; }

  private:
    friend class TkGeneratorControl;
    class Transmission;

    bool transmitAPR(TkGeneratorControl *control, bool wait);
    bool getError(const char *label, TkGeneratorControl *control);
    void addError(const char *label, int number, int generatorType);

    std::string m_ErrorDetails;
    int m_nErrors = 0;
};

#undef TKGEN_APR_VALUE

#endif
