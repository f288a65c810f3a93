#include "tkapr.h"

#include "tkgeneratorcontrol.h"
#include "tkgeneratorerrors.h"
#include "tkrecordtraffic.h"

#include <cstddef>
#include <new>

namespace {

/// The first generator revision whose fluoroscopy a program can set.
constexpr int FLUOROSCOPY_VERSION = 300;

constexpr int AEC_TECHNIQUE = 2;
constexpr int PULSED_FLUOROSCOPY = 2;

/// What is said of a refused technique depends on which it was.
constexpr const char *TECHNIQUES[] = {"     mA/ms Technique", "     mAs Technique",
                                      "     AEC Technique"};

} // namespace

TkAPR::TkAPR() = default;

/// One sending of a program: in groups, each of single commands.
class TkAPR::Transmission {
  public:
    Transmission(TkAPR &program, TkGeneratorControl &control, bool wait)
        : m_Program(program), m_Control(control), m_bWait(wait) {}

    /// Whether the line was refused.
    bool line() {
        m_Control.transmitAPR(m_Program.generatorWorkstation(), m_Program.generatorFocus(),
                              m_Program.radiographicTechnique(), m_Program.radiographicAECFields(),
                              m_Program.radiographicFilm(), m_Program.radiographicDensity(),
                              m_Program.radiographicKv(), m_Program.radiographicMa(),
                              m_Program.radiographicMs(), m_bWait);
        return m_Program.getError("APR Message", &m_Control);
    }

    /// The pieces of a refused line that tell which of them the generator doesn't take.
    void radiography() {
        single(Tk::WS, m_Program.generatorWorkstation(), "     Work Station");
        const int technique = m_Program.radiographicTechnique();
        if (technique < 0 || technique > AEC_TECHNIQUE) {
            m_Control.transmitMsg(Tk::ET, technique, m_bWait);
            return;
        }
        const bool refused = single(Tk::ET, technique, TECHNIQUES[technique]);
        if (technique == AEC_TECHNIQUE && !refused) {
            single(Tk::FI, m_Program.radiographicAECFields(), "     AEC Fields");
            single(Tk::FS, m_Program.radiographicFilm(), "     AEC Film Screen");
        }
    }

    void fluoroscopy() {
        if (!hasFluoroscopy()) {
            return;
        }
        const int mode = m_Program.fluoroscopicMode();
        single(Tk::FLF, mode, "Fluoro Mode");
        single(Tk::FLA, m_Program.fluoroscopicABS(), "Fluoro ABS");
        if (m_Program.fluoroscopicABS() == 0 && mode > 0) {
            single(Tk::FLK, m_Program.fluoroscopicKv(), "Fluoro KV");
            single(Tk::FLM, m_Program.fluoroscopicMa(), "Fluoro MA");
        }
        if (mode == PULSED_FLUOROSCOPY) {
            single(Tk::FLS, m_Program.fluoroscopicPPS(), "Fluoro PPS");
        }
        single(Tk::FLO, m_Program.fluoroscopicABSCurve(), "Fluoro ABS Curve");
        single(Tk::FLC, m_Program.fluoroscopicRadCurve(), "Fluoro RAD Curve");
    }

    void room() {
        if (m_Control.isFeatureEnabled(Tk::FEATURE_ROTATION_SELECTION)) {
            single(Tk::FP, m_Program.roomRotationSelection(), "Rotation Selection");
        }
        if (m_Control.isFeatureEnabled(Tk::FEATURE_AUTO_POSITIONER)) {
            single(Tk::ATP, m_Program.roomAutoPosition(), "Auto Positioner");
        }
        if (m_Control.isFeatureEnabled(Tk::FEATURE_TOMOGRAPHY) && hasTomography()) {
            single(Tk::ATA, m_Program.tomoAngle(), "TOMO Angle");
            single(Tk::ATC, m_Program.tomoCutline(), "TOMO Cutline");
        }
        if (m_Control.isFeatureEnabled(Tk::FEATURE_APR_CODE)) {
            single(Tk::AI, m_Program.APRCode(), "APR Code");
            m_Control.setGenParam(Tk::AI, m_Program.APRCode()); // known at once
        }
    }

  private:
    /// Sends one value. Whether an error came.
    bool single(Tk::TextCommands command, int value, const char *label) {
        m_Control.transmitMsg(command, value, m_bWait);
        return m_Program.getError(label, &m_Control);
    }

    bool hasFluoroscopy() {
        const int workstation = m_Program.generatorWorkstation();
        if (workstation < 1 || workstation > TkBinary_Receptors::RECEPTORS ||
            TkGeneratorControl::m_nGeneratorRevision < FLUOROSCOPY_VERSION) {
            return false;
        }
        return m_Control.m_pRecords->read([workstation](TkRecordTraffic &records) {
            return records.m_pReceptors[static_cast<std::size_t>(workstation - 1)].Fluoro != 0;
        });
    }

    bool hasTomography() {
        return m_Control.m_pRecords->read(
            [](TkRecordTraffic &records) { return records.m_pReceptors.front().Tomo != 0; });
    }

    TkAPR &m_Program;
    TkGeneratorControl &m_Control;
    const bool m_bWait;
};

/// Whether a command was answered doesn't count, only whether errors came.
bool TkAPR::transmitAPR(TkGeneratorControl *control, bool wait) {
    m_ErrorDetails.clear();
    m_nErrors = 0;
    Transmission transmission(*this, *control, wait);
    if (transmission.line()) {
        transmission.radiography();
    }
    if (control->getGeneratorType() != Tk::GENERATOR_BRN450) {
        transmission.fluoroscopy();
        transmission.room();
    }
    return m_nErrors == 0;
}

/// The oldest error of each kind is told. What else waits goes, so that the next parameter isn't
/// blamed for it.
bool TkAPR::getError(const char *label, TkGeneratorControl *control) {
    const int before = m_nErrors;
    addError(label, control->getError(true), control->getGeneratorType());
    addError(label, control->getLatchedError(true), control->getGeneratorType());
    control->flushErrors();
    control->flushLatchedErrors();
    return m_nErrors != before;
}

void TkAPR::addError(const char *label, int number, int generatorType) {
    if (number == 0) {
        return;
    }
    ++m_nErrors;
    m_ErrorDetails += label;
    m_ErrorDetails += " - ";
    m_ErrorDetails +=
        TkGeneratorErrors::getErrorMessage(static_cast<unsigned char>(number), generatorType);
    m_ErrorDetails += '\n';
}

bool TkGeneratorControl::transmitAPR(TkAPR *program, bool wait) {
    try {
        return program != nullptr && program->transmitAPR(this, wait);
    } catch (const std::bad_alloc &) {
        return false;
    }
}
