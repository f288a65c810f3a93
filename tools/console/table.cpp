#include "table.h"

#include "words.h"

#include "tkgeneratorstatus.h"

#include <utility>

namespace {

constexpr std::chrono::milliseconds betweenLooks{500};

} // namespace

std::string exposureIn(TkGeneratorControl &engine) {
    const TkGeneratorStatus status(&engine);
    if (!status.isExposureActive()) {
        return "no exposure";
    }
    return status.isRadExposureActive() ? "radiographic exposure" : "fluoroscopic exposure";
}

bool Table::Row::operator==(const Row &other) const {
    return parameter == other.parameter && value == other.value && changeable == other.changeable;
}

std::string Table::head() const {
    if (m_Engine.connected()) {
        return "connected, " + exposureIn(m_Engine) + "; * may be changed";
    }
    return std::string("not connected, ") + (m_Engine.refreshEnabled() ? "polling" : "no polling");
}

Table::State Table::present() const {
    const TkGeneratorStatus status(&m_Engine);
    State state{head(), {}};
    for (const Words &words : generatorWords()) {
        const auto parameter = static_cast<Tk::TextCommands>(words.parameter);
        if (status.displayableParam(parameter)) {
            state.rows.push_back(
                {parameter, m_Engine.getGenParam(parameter), status.controllableParam(parameter)});
        }
    }
    return state;
}

void Table::print(const State &state) {
    m_Display.line(Kind::table, state.head);
    for (const Row &row : state.rows) {
        m_Display.row(row.parameter, row.value, row.changeable);
    }
}

void Table::show() {
    m_Shown = present();
    m_NextLook = Clock::now() + betweenLooks;
    print(m_Shown);
}

void Table::follow(bool on) {
    m_Followed = on;
    if (on) {
        show();
    }
}

Deadline Table::nextLook() const {
    return m_Followed ? Deadline(m_NextLook) : std::nullopt;
}

void Table::look() {
    if (!m_Followed || Clock::now() < m_NextLook) {
        return;
    }
    m_NextLook = Clock::now() + betweenLooks;
    State state = present();
    if (state.head == m_Shown.head && state.rows == m_Shown.rows) {
        return;
    }
    m_Shown = std::move(state);
    print(m_Shown);
}
