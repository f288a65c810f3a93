#ifndef TKSIM_EXPOSURE_H
#define TKSIM_EXPOSURE_H

#include "frame.h"
#include "housekeeping.h"
#include "parameters.h"

namespace tksim {

/// How long the generator waits for the console's answer to a prep or an exposure.
constexpr Milliseconds answerLimit = 1000;

enum class Meter {
    present,
    none, ///< "DS" tells that there is none
    slow, ///< "DT" tells some times over that it isn't ready yet
    dead  ///< "DT" tells that for ever
};

/// Heat of the tube and dose at the meter. Heat is in percent of what the anode bears (300000 heat
/// units) and leaves it at 1000 units a second; the housing is at half of it.
class TubeLoad {
  public:
    explicit TubeLoad(Parameters &parameters) : m_Parameters(parameters) {}

    void add(int kv, double mas, Milliseconds now);
    void clearDose() { m_Dose = 0; }

    void setMeter(Meter meter);

    /// "DT" was queried.
    void meterAsked();

    /// Whether the meter measures: only one that is ready does.
    bool metering() const { return m_Parameters.value("DT") == 1; }

    /// Brings heat and accumulated dose of the parameters up to date.
    void refresh(Milliseconds now);

  private:
    void cool(Milliseconds now);

    Parameters &m_Parameters;
    double m_HeatUnits = 0;
    double m_Dose = 0;
    Milliseconds m_CooledAt = 0;
    int m_SlowAnswers = 0;
};

/// Prep and exposure as the two stages of a hand switch. Each stage is announced to the console,
/// and comes about only when the console answers with the same state within `answerLimit`. One
/// prep serves one exposure.
class Radiography {
  public:
    /// `timeScale` stretches or shortens the real length of an exposure; what is told about it
    /// stays unscaled.
    Radiography(Parameters &parameters, TubeLoad &load, Statistics &statistics,
                GeneratorOutput &output, double timeScale);

    /// The switch. False when it means nothing in the present state.
    bool prep(Milliseconds now);
    bool expose(Milliseconds now);
    bool release(Milliseconds now);

    /// "PR" or "XR" with a value came from the console.
    void heard(std::string_view mnemonic, int value, Milliseconds now);

    void advance(Milliseconds now);

    /// When `advance` has something to do next.
    std::optional<Milliseconds> deadline() const;

    bool idle() const { return m_State == State::idle; }
    bool exposing() const { return m_State == State::exposing; }

  private:
    enum class State { idle, prepAsked, prepped, exposureAsked, exposing };

    void prepAnswered(bool accepted);
    void exposureAnswered(bool accepted, Milliseconds now);
    void endPrep();
    void endExposure(Milliseconds now);
    Milliseconds realLength() const;

    Parameters &m_Parameters;
    TubeLoad &m_Load;
    Statistics &m_Statistics;
    GeneratorOutput &m_Output;
    double m_TimeScale;
    State m_State = State::idle;
    Milliseconds m_StartedAt = 0;
    Milliseconds m_Deadline = 0;
};

/// Fluoroscopy: prep and exposure are asked for one after the other, and last until the pedal is
/// let go or the console ends them.
class Fluoroscopy {
  public:
    Fluoroscopy(Parameters &parameters, TubeLoad &load, Statistics &statistics,
                GeneratorOutput &output)
        : m_Parameters(parameters), m_Load(load), m_Statistics(statistics), m_Output(output) {}

    bool start(Milliseconds now);
    bool stop(Milliseconds now);

    /// "FLP" or "FLX" with a value came from the console.
    void heard(std::string_view mnemonic, int value, Milliseconds now);

    void advance(Milliseconds now);
    std::optional<Milliseconds> deadline() const;

    /// Brings the timers of the parameters up to date.
    void refresh(Milliseconds now);

    bool idle() const { return m_State == State::idle; }
    bool exposing() const { return m_State == State::exposing; }

  private:
    enum class State { idle, prepAsked, exposureAsked, exposing };

    void answered(const char *answer, Milliseconds now);
    void endPrep();
    int seconds(Milliseconds now) const;

    Parameters &m_Parameters;
    TubeLoad &m_Load;
    Statistics &m_Statistics;
    GeneratorOutput &m_Output;
    State m_State = State::idle;
    int m_SecondsBefore = 0;
    Milliseconds m_StartedAt = 0;
    Milliseconds m_Deadline = 0;
};

} // namespace tksim

#endif
