#include "exposure.h"

#include <algorithm>
#include <cmath>

namespace tksim {

namespace {

constexpr double bearableHeatUnits = 300000;
constexpr double coolingPerSecond = 1000;
constexpr Milliseconds longestExposure = 10000;
constexpr int answersOfSlowMeter = 5;

int rounded(double value) {
    return static_cast<int>(std::lround(value));
}

/// A value that changes is told at once.
void tell(Parameters &parameters, GeneratorOutput &output, std::string_view mnemonic, int value) {
    parameters.put(mnemonic, value);
    output.send(parameters.item(mnemonic));
}

} // namespace

void TubeLoad::cool(Milliseconds now) {
    const double seconds = static_cast<double>(now - m_CooledAt) / 1000;
    m_HeatUnits = std::max(0.0, m_HeatUnits - seconds * coolingPerSecond);
    m_CooledAt = now;
}

void TubeLoad::add(int kv, double mas, Milliseconds now) {
    cool(now);
    m_HeatUnits = std::min(bearableHeatUnits, m_HeatUnits + kv * mas);
    if (metering()) {
        m_Dose = std::min(9999999.0, m_Dose + kv * kv * mas / 1000);
    }
}

void TubeLoad::setMeter(Meter meter) {
    m_Parameters.put("DS", meter == Meter::none ? 0 : 1);
    m_Parameters.put("DT", meter == Meter::present ? 1 : meter == Meter::slow ? 2 : 0);
    m_SlowAnswers = meter == Meter::slow ? answersOfSlowMeter : 0;
}

void TubeLoad::meterAsked() {
    if (m_SlowAnswers > 0 && --m_SlowAnswers == 0) {
        m_Parameters.put("DT", 1);
    }
}

void TubeLoad::refresh(Milliseconds now) {
    cool(now);
    const int percent = rounded(100 * m_HeatUnits / bearableHeatUnits);
    m_Parameters.put("HE", percent);
    m_Parameters.put("HH", percent / 2);
    m_Parameters.put("DA", rounded(m_Dose));
}

Radiography::Radiography(Parameters &parameters, TubeLoad &load, Statistics &statistics,
                         GeneratorOutput &output, double timeScale)
    : m_Parameters(parameters), m_Load(load), m_Statistics(statistics), m_Output(output),
      m_TimeScale(timeScale) {}

bool Radiography::prep(Milliseconds now) {
    if (m_State != State::idle) {
        return false;
    }
    m_Output.send("PR1");
    m_State = State::prepAsked;
    m_Deadline = now + answerLimit;
    return true;
}

bool Radiography::expose(Milliseconds now) {
    if (m_State != State::prepped) {
        return false;
    }
    m_Output.send("XR1");
    m_State = State::exposureAsked;
    m_Deadline = now + answerLimit;
    return true;
}

bool Radiography::release(Milliseconds now) {
    if (m_State == State::idle) {
        return false;
    }
    if (m_State == State::exposing) {
        endExposure(now);
    } else {
        endPrep();
    }
    return true;
}

void Radiography::heard(std::string_view mnemonic, int value, Milliseconds now) {
    if (mnemonic == "PR" && m_State == State::prepAsked) {
        prepAnswered(value == 1);
    } else if (mnemonic == "XR" && m_State == State::exposureAsked) {
        exposureAnswered(value == 1, now);
    } else if (value == 0 && m_State == State::exposing) {
        endExposure(now);
    } else if (value == 0 && mnemonic == "PR" && m_State != State::idle) {
        endPrep();
    }
}

void Radiography::prepAnswered(bool accepted) {
    m_State = accepted ? State::prepped : State::idle;
    m_Parameters.put("PR", accepted ? 1 : 0);
    m_Output.print(accepted ? "prep accepted" : "prep refused");
}

void Radiography::exposureAnswered(bool accepted, Milliseconds now) {
    if (!accepted) {
        m_State = State::prepped;
        m_Output.print("exposure refused");
        return;
    }
    m_State = State::exposing;
    m_StartedAt = now;
    m_Deadline = now + realLength();
    m_Parameters.put("XR", 1);
    m_Output.print("exposure on");
}

Milliseconds Radiography::realLength() const {
    const double length = m_Parameters.value("MS") * m_TimeScale;
    return std::clamp<Milliseconds>(static_cast<Milliseconds>(length), 1, longestExposure);
}

void Radiography::advance(Milliseconds now) {
    if (!deadline() || now < m_Deadline) {
        return;
    }
    if (m_State == State::exposing) {
        endExposure(now);
    } else if (m_State == State::prepAsked) {
        m_State = State::idle;
        m_Output.print("prep unanswered");
    } else {
        m_State = State::prepped;
        m_Output.print("exposure unanswered");
    }
}

std::optional<Milliseconds> Radiography::deadline() const {
    if (m_State == State::idle || m_State == State::prepped) {
        return std::nullopt;
    }
    return m_Deadline;
}

void Radiography::endPrep() {
    m_State = State::idle;
    tell(m_Parameters, m_Output, "PR", 0);
    m_Output.print("prep off");
}

void Radiography::endExposure(Milliseconds now) {
    const int kv = m_Parameters.value("KV");
    const int ma = m_Parameters.value("MA");
    int ms = m_Parameters.value("MS");
    if (now < m_Deadline) {
        ms = rounded(ms * static_cast<double>(now - m_StartedAt) /
                     static_cast<double>(m_Deadline - m_StartedAt));
    }
    const double mas = ma * ms / 1000.0;
    m_Load.add(kv, mas, now);
    m_Statistics.exposed(m_Parameters.value("TU"));
    tell(m_Parameters, m_Output, "XR", 0);
    m_Parameters.put("AP", rounded(mas));
    m_Parameters.put("AT", ms);
    m_Output.send(m_Parameters.item("AP") + " " + m_Parameters.item("AT"));
    m_Output.print("exposure off " + std::to_string(kv) + " kV " + std::to_string(ma) + " mA " +
                   std::to_string(ms) + " ms");
    endPrep();
}

bool Fluoroscopy::start(Milliseconds now) {
    if (m_State != State::idle) {
        return false;
    }
    m_Output.send("FLP1");
    m_State = State::prepAsked;
    m_Deadline = now + answerLimit;
    return true;
}

bool Fluoroscopy::stop(Milliseconds now) {
    if (m_State == State::idle) {
        return false;
    }
    if (m_State == State::exposing) {
        refresh(now);
        const int length = seconds(now);
        m_SecondsBefore += length;
        m_Load.add(m_Parameters.value("FLK"), m_Parameters.value("FLM") * length / 10.0, now);
        m_Statistics.fluoroscopied(now - m_StartedAt);
        tell(m_Parameters, m_Output, "FLX", 0);
        m_Output.print("fluoro off");
    }
    endPrep();
    return true;
}

void Fluoroscopy::endPrep() {
    m_State = State::idle;
    tell(m_Parameters, m_Output, "FLP", 0);
    m_Output.print("fluoro prep off");
}

void Fluoroscopy::heard(std::string_view mnemonic, int value, Milliseconds now) {
    const bool asked = (mnemonic == "FLP" && m_State == State::prepAsked) ||
                       (mnemonic == "FLX" && m_State == State::exposureAsked);
    if (asked) {
        answered(value == 1 ? "accepted" : "refused", now);
    } else if (value == 0 && m_State != State::prepAsked) {
        stop(now);
    }
}

/// The answer to the stage that was asked for: "accepted", "refused" or "unanswered".
void Fluoroscopy::answered(const char *answer, Milliseconds now) {
    const bool accepted = std::string_view(answer) == "accepted";
    if (m_State == State::prepAsked) {
        m_Output.print(std::string("fluoro prep ") + answer);
        m_State = accepted ? State::exposureAsked : State::idle;
        if (!accepted) {
            return;
        }
        m_Parameters.put("FLP", 1);
        m_Output.send("FLX1");
        m_Deadline = now + answerLimit;
        return;
    }
    m_Output.print(accepted ? "fluoro on" : std::string("fluoro ") + answer);
    if (!accepted) {
        endPrep();
        return;
    }
    m_State = State::exposing;
    m_StartedAt = now;
    m_Parameters.put("FLX", 1);
}

void Fluoroscopy::advance(Milliseconds now) {
    if (deadline() && now >= m_Deadline) {
        answered("unanswered", now);
    }
}

std::optional<Milliseconds> Fluoroscopy::deadline() const {
    if (m_State == State::idle || m_State == State::exposing) {
        return std::nullopt;
    }
    return m_Deadline;
}

int Fluoroscopy::seconds(Milliseconds now) const {
    return static_cast<int>((now - m_StartedAt) / 1000);
}

void Fluoroscopy::refresh(Milliseconds now) {
    if (m_State != State::exposing) {
        return;
    }
    m_Parameters.put("FLI", seconds(now));
    m_Parameters.put("FLT", m_SecondsBefore + seconds(now));
}

} // namespace tksim
