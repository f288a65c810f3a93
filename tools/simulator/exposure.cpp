#include "exposure.h"

#include <algorithm>
#include <cmath>

namespace tksim {

namespace {

constexpr double bearableHeatUnits = 300000;
constexpr double coolingPerSecond = 1000;
constexpr Milliseconds longestExposure = 10000;

int rounded(double value) {
    return static_cast<int>(std::lround(value));
}

} // namespace

void TubeLoad::cool(Milliseconds now) {
    const double seconds = static_cast<double>(now - m_cooledAt) / 1000;
    m_heatUnits = std::max(0.0, m_heatUnits - seconds * coolingPerSecond);
    m_cooledAt = now;
}

void TubeLoad::add(int kv, double mas, Milliseconds now) {
    cool(now);
    m_heatUnits = std::min(bearableHeatUnits, m_heatUnits + kv * mas);
    m_dose = std::min(9999999.0, m_dose + kv * kv * mas / 1000);
}

void TubeLoad::refresh(Milliseconds now) {
    cool(now);
    const int percent = rounded(100 * m_heatUnits / bearableHeatUnits);
    m_parameters.put("HE", percent);
    m_parameters.put("HH", percent / 2);
    m_parameters.put("DA", rounded(m_dose));
}

Radiography::Radiography(Parameters &parameters, TubeLoad &load, Output &output, double timeScale)
    : m_parameters(parameters), m_load(load), m_output(output), m_timeScale(timeScale) {}

void Radiography::tell(std::string_view mnemonic, int value) {
    m_parameters.put(mnemonic, value);
    m_output.send(m_parameters.item(mnemonic));
}

bool Radiography::prep(Milliseconds now) {
    if (m_state != State::idle)
        return false;
    m_output.send("PR1");
    m_state = State::prepAsked;
    m_deadline = now + answerLimit;
    return true;
}

bool Radiography::expose(Milliseconds now) {
    if (m_state != State::prepped)
        return false;
    m_output.send("XR1");
    m_state = State::exposureAsked;
    m_deadline = now + answerLimit;
    return true;
}

bool Radiography::release(Milliseconds now) {
    if (m_state == State::idle)
        return false;
    if (m_state == State::exposing)
        endExposure(now);
    else
        endPrep();
    return true;
}

void Radiography::heard(std::string_view mnemonic, int value, Milliseconds now) {
    if (mnemonic == "PR" && m_state == State::prepAsked)
        prepAnswered(value == 1);
    else if (mnemonic == "XR" && m_state == State::exposureAsked)
        exposureAnswered(value == 1, now);
    else if (value == 0 && m_state == State::exposing)
        endExposure(now);
    else if (value == 0 && mnemonic == "PR" && m_state != State::idle)
        endPrep();
}

void Radiography::prepAnswered(bool accepted) {
    m_state = accepted ? State::prepped : State::idle;
    m_parameters.put("PR", accepted ? 1 : 0);
    m_output.print(accepted ? "prep accepted" : "prep refused");
}

void Radiography::exposureAnswered(bool accepted, Milliseconds now) {
    if (!accepted) {
        m_state = State::prepped;
        m_output.print("exposure refused");
        return;
    }
    m_state = State::exposing;
    m_startedAt = now;
    m_deadline = now + realLength();
    m_parameters.put("XR", 1);
    m_output.print("exposure on");
}

Milliseconds Radiography::realLength() const {
    const double length = m_parameters.value("MS") * m_timeScale;
    return std::clamp<Milliseconds>(static_cast<Milliseconds>(length), 1, longestExposure);
}

void Radiography::advance(Milliseconds now) {
    if (!deadline() || now < m_deadline)
        return;
    if (m_state == State::exposing) {
        endExposure(now);
    } else if (m_state == State::prepAsked) {
        m_state = State::idle;
        m_output.print("prep unanswered");
    } else {
        m_state = State::prepped;
        m_output.print("exposure unanswered");
    }
}

std::optional<Milliseconds> Radiography::deadline() const {
    if (m_state == State::idle || m_state == State::prepped)
        return std::nullopt;
    return m_deadline;
}

void Radiography::endPrep() {
    m_state = State::idle;
    tell("PR", 0);
    m_output.print("prep off");
}

void Radiography::endExposure(Milliseconds now) {
    const int kv = m_parameters.value("KV");
    const int ma = m_parameters.value("MA");
    int ms = m_parameters.value("MS");
    if (now < m_deadline)
        ms = rounded(ms * static_cast<double>(now - m_startedAt) /
                     static_cast<double>(m_deadline - m_startedAt));
    const double mas = ma * ms / 1000.0;
    m_load.add(kv, mas, now);
    tell("XR", 0);
    m_parameters.put("AP", rounded(mas));
    m_parameters.put("AT", ms);
    m_output.send(m_parameters.item("AP") + " " + m_parameters.item("AT"));
    m_output.print("exposure off " + std::to_string(kv) + " kV " + std::to_string(ma) + " mA " +
                   std::to_string(ms) + " ms");
    endPrep();
}

void Fluoroscopy::tell(std::string_view mnemonic, int value) {
    m_parameters.put(mnemonic, value);
    m_output.send(m_parameters.item(mnemonic));
}

bool Fluoroscopy::start(Milliseconds now) {
    if (m_state != State::idle)
        return false;
    m_output.send("FLP1");
    m_state = State::prepAsked;
    m_deadline = now + answerLimit;
    return true;
}

bool Fluoroscopy::stop(Milliseconds now) {
    if (m_state == State::idle)
        return false;
    if (m_state == State::exposing) {
        refresh(now);
        const int length = seconds(now);
        m_secondsBefore += length;
        m_load.add(m_parameters.value("FLK"), m_parameters.value("FLM") * length / 10.0, now);
        tell("FLX", 0);
        m_output.print("fluoro off");
    }
    endPrep();
    return true;
}

void Fluoroscopy::endPrep() {
    m_state = State::idle;
    tell("FLP", 0);
    m_output.print("fluoro prep off");
}

void Fluoroscopy::heard(std::string_view mnemonic, int value, Milliseconds now) {
    const bool asked = (mnemonic == "FLP" && m_state == State::prepAsked) ||
                       (mnemonic == "FLX" && m_state == State::exposureAsked);
    if (asked)
        answered(value == 1 ? "accepted" : "refused", now);
    else if (value == 0 && m_state != State::prepAsked)
        stop(now);
}

/// The answer to the stage that was asked for: "accepted", "refused" or "unanswered".
void Fluoroscopy::answered(const char *answer, Milliseconds now) {
    const bool accepted = std::string_view(answer) == "accepted";
    if (m_state == State::prepAsked) {
        m_output.print(std::string("fluoro prep ") + answer);
        m_state = accepted ? State::exposureAsked : State::idle;
        if (!accepted)
            return;
        m_parameters.put("FLP", 1);
        m_output.send("FLX1");
        m_deadline = now + answerLimit;
        return;
    }
    m_output.print(accepted ? "fluoro on" : std::string("fluoro ") + answer);
    if (!accepted) {
        endPrep();
        return;
    }
    m_state = State::exposing;
    m_startedAt = now;
    m_parameters.put("FLX", 1);
}

void Fluoroscopy::advance(Milliseconds now) {
    if (deadline() && now >= m_deadline)
        answered("unanswered", now);
}

std::optional<Milliseconds> Fluoroscopy::deadline() const {
    if (m_state == State::idle || m_state == State::exposing)
        return std::nullopt;
    return m_deadline;
}

int Fluoroscopy::seconds(Milliseconds now) const {
    return static_cast<int>((now - m_startedAt) / 1000);
}

void Fluoroscopy::refresh(Milliseconds now) {
    if (m_state != State::exposing)
        return;
    m_parameters.put("FLI", seconds(now));
    m_parameters.put("FLT", m_secondsBefore + seconds(now));
}

} // namespace tksim
