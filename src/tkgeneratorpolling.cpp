#include "tkgeneratorcontrol.h"

#include "tkparametertable.h"
#include "tkrecordtraffic.h"
#include "tkrecordwalk.h"
#include "tkvocabulary.h"

#include <array>
#include <cstddef>

namespace {

enum class Asks {
    always,
    ifUnknown,
    untilKnown, // and the sequence stays until the answer has come
    receptors,  // the receptor records, until all are valid
    aecSetups,  // the AEC setup records, until all are valid
    cine,       // always; also the cine run time, if the station in use has cine
    table       // always; also the record of the table's position
};

enum class Families { both, arkona };

enum class EndsTick { no, ifRun, always };

/// What a step does to the tick and the sequence.
enum class Then { passOn, endTick, stay };

constexpr int NO_FEATURE = 0;
constexpr int CINE = 2; // functional state of a receptor

/// One step of the sequence, and what it depends on.
struct PollStep {
    Asks asks;
    std::array<int, 2> queries; // commands; 0: none
    Families families;
    int fromRevision;
    int feature;
    bool meter; // only once a meter has been found
    EndsTick endsTick;
};

constexpr int DAP_VERSION = TkGeneratorControl::DAP_VERSION;

// clang-format off
/// What the generator is asked for, in this order. The first step runs once after every start; from
/// the last the sequence goes back to the second. Until the generator has told its revision, its
/// records, and whether it has a meter, nothing behind them is asked.
constexpr std::array<PollStep, 19> SEQUENCE = {{
    // asks             queries               families          from   feature                        meter  ends tick
    {Asks::always,     {Tk::ST},           Families::both,   0,     NO_FEATURE,                     false, EndsTick::ifRun},
    {Asks::untilKnown, {Tk::GR},           Families::arkona, 0,     NO_FEATURE,                     false, EndsTick::no},
    {Asks::receptors,  {},                 Families::both,   0,     NO_FEATURE,                     false, EndsTick::no},
    {Asks::aecSetups,  {},                 Families::both,   0,     NO_FEATURE,                     false, EndsTick::no},
    {Asks::untilKnown, {Tk::DS},           Families::both,   DAP_VERSION, NO_FEATURE,               false, EndsTick::no},
    {Asks::always,     {Tk::AL},           Families::arkona, 301,   NO_FEATURE,                     false, EndsTick::no},
    {Asks::cine,       {Tk::FLO, Tk::FLC}, Families::arkona, 301,   NO_FEATURE,                     false, EndsTick::no},
    {Asks::always,     {Tk::RR},           Families::both,   0,     NO_FEATURE,                     false, EndsTick::ifRun},
    {Asks::always,     {Tk::RF},           Families::arkona, 0,     NO_FEATURE,                     false, EndsTick::always},
    {Asks::always,     {Tk::RS},           Families::both,   0,     NO_FEATURE,                     false, EndsTick::ifRun},
    {Asks::always,     {Tk::AI},           Families::arkona, 0,     Tk::FEATURE_APR_CODE,               false, EndsTick::ifRun},
    {Asks::always,     {Tk::ATP},          Families::arkona, 0,     Tk::FEATURE_AUTO_POSITIONER,        false, EndsTick::ifRun},
    {Asks::always,     {Tk::ATA, Tk::ATC}, Families::arkona, 0,     Tk::FEATURE_TOMOGRAPHY,             false, EndsTick::ifRun},
    {Asks::table,      {Tk::COL, Tk::FIL}, Families::arkona, 0,     Tk::FEATURE_DORVA_TABLE,            false, EndsTick::ifRun},
    {Asks::ifUnknown,  {Tk::BCP},          Families::arkona, 0,     Tk::FEATURE_BOLUS_CHASE,            false, EndsTick::ifRun},
    {Asks::ifUnknown,  {Tk::RAP},          Families::arkona, 0,     Tk::FEATURE_ROTATIONAL_ANGIOGRAPHY, false, EndsTick::ifRun},
    {Asks::always,     {Tk::FP},           Families::both,   0,     Tk::FEATURE_ROTATION_SELECTION,     false, EndsTick::no},
    {Asks::always,     {Tk::DA, Tk::DR},   Families::both,   0,     NO_FEATURE,                     true,  EndsTick::ifRun},
    {Asks::always,     {Tk::ST},           Families::both,   0,     NO_FEATURE,                     false, EndsTick::ifRun},
}};
// clang-format on

} // namespace

/// Takes one engine through the sequence.
class TkGeneratorPolling {
  public:
    explicit TkGeneratorPolling(TkGeneratorControl &engine) : m_Engine(engine) {}

    void tick(int &position);

  private:
    bool runs(const PollStep &step) const;
    Then run(const PollStep &step);
    Then ask(const PollStep &step);
    Then askUntilKnown(const PollStep &step);
    template <class Records, class Index>
    Then readInvalid(Records &records, Index index);
    bool stationHasCine() const;

    TkGeneratorControl &m_Engine;
};

/// Goes through steps until one ends the tick. Several always do, so that it comes to an end.
void TkGeneratorPolling::tick(int &position) {
    const int last = static_cast<int>(SEQUENCE.size()) - 1;
    Then then = Then::passOn;
    while (then == Then::passOn) {
        then = run(SEQUENCE[static_cast<std::size_t>(position)]);
        if (then != Then::stay) {
            position = position == last ? 1 : position + 1;
        }
    }
}

bool TkGeneratorPolling::runs(const PollStep &step) const {
    const bool family =
        step.families == Families::both || m_Engine.getGeneratorType() != Tk::GENERATOR_BRN450;
    const bool feature = step.feature == NO_FEATURE ||
                         m_Engine.isFeatureEnabled(static_cast<Tk::Features>(step.feature));
    return family && feature && TkGeneratorControl::m_nGeneratorRevision >= step.fromRevision &&
           (!step.meter || m_Engine.m_bDapPresent);
}

Then TkGeneratorPolling::run(const PollStep &step) {
    if (!runs(step)) {
        return step.endsTick == EndsTick::always ? Then::endTick : Then::passOn;
    }
    switch (step.asks) {
    case Asks::untilKnown:
        return askUntilKnown(step);
    case Asks::receptors:
        return readInvalid(m_Engine.m_pRecords->m_pReceptors, &TkBinary_Receptors::Receptor);
    case Asks::aecSetups:
        return readInvalid(m_Engine.m_pRecords->m_pAecSetups, &TkBinary_AECSetup::Channel);
    default:
        return ask(step);
    }
}

Then TkGeneratorPolling::ask(const PollStep &step) {
    if (step.asks == Asks::table) {
        m_Engine.transmitBinaryMsg(&m_Engine.m_pRecords->m_pDorvaTable, tkrecord::READ, false);
    }
    for (const int command : step.queries) {
        const bool wanted = step.asks != Asks::ifUnknown || !m_Engine.isKnown(command);
        if (command != 0 && wanted) {
            m_Engine.query(command);
        }
    }
    if (step.asks == Asks::cine && stationHasCine()) {
        m_Engine.query(Tk::CN);
    }
    return step.endsTick == EndsTick::no ? Then::passOn : Then::endTick;
}

Then TkGeneratorPolling::askUntilKnown(const PollStep &step) {
    const int command = step.queries.front();
    if (m_Engine.isKnown(command)) {
        return Then::passOn;
    }
    m_Engine.query(command);
    return Then::stay;
}

/// One record is awaited at a time, so that a tick asks for one. A reply that was meant for another
/// record leaves that one's index, so the index is set for each request.
template <class Records, class Index>
Then TkGeneratorPolling::readInvalid(Records &records, Index index) {
    Then then = Then::passOn;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (records[i].isValid()) {
            continue;
        }
        then = Then::endTick;
        m_Engine.m_pRecords->read([&](TkRecordTraffic & /*locked*/) {
            records[i].*index = static_cast<unsigned char>(i);
        });
        if (!m_Engine.transmitBinaryMsg(&records[i], tkrecord::READ, false)) {
            return Then::stay;
        }
    }
    return then;
}

bool TkGeneratorPolling::stationHasCine() const {
    const int station = m_Engine.getGenParam(Tk::WS);
    if (station < 1 || station > TkBinary_Receptors::RECEPTORS) {
        return false;
    }
    return m_Engine.m_pRecords->read([station](TkRecordTraffic &records) {
        return records.m_pReceptors[static_cast<std::size_t>(station - 1)].Functional == CINE;
    });
}

void TkGeneratorControl::poll(int &step) {
    TkGeneratorPolling(*this).tick(step);
}

/// Connected: what a console needs to show the station in use.
bool TkGeneratorControl::allKnown() const {
    const bool told =
        getGeneratorType() == GENERATOR_BRN450 || (isKnown(GR) && isKnown(FLF) && isKnown(FLK));
    return told && isKnown(KV) && isKnown(WS) && isKnown(TU) && m_pRecords->receptorsValid() &&
           m_pRecords->aecSetupsValid();
}

// --- The search for a dose area product meter ----------------------------------------------------

namespace {

/// What a meter answers to "DT".
enum MeterStatus { NO_METER = 0, METER_FOUND = 1, METER_STARTING = 2 };

/// So many answers that there is none end the search.
constexpr int MOST_METER_TRIES = 4;

} // namespace

void TkGeneratorControl::supervise(int step) {
    m_pRecords->expire();
    if (m_nGeneratorRevision < DAP_VERSION) {
        m_bDapPresent = false;
    } else if (connected()) {
        checkForDap(step);
    }
}

/// The generator says by "DS" whether it has an interface for a meter, and by "DT" whether one
/// answers there, which can take a while after switching on. "DT" goes out once in a step of
/// polling at the most.
///
/// What is looked at and what follows from it is one thing: a loss comes before or behind it.
void TkGeneratorControl::checkForDap(int step) {
    if (m_nDapRestart.exchange(0) != 0) {
        m_nDapTries = 0;
    }
    if (m_bDapPresent || step == m_nLastDapStep) {
        return;
    }
    const Turn turn(*this);
    const int meterInterface = getGenParam(DS);
    if (!turn || !connected() || meterInterface == VALUE_UNKNOWN || meterInterface == 0) {
        return;
    }
    const int status = getGenParam(DT);
    if (status == METER_FOUND) {
        m_pParameters->assign(TK_METER_FOUND, 1);
        m_bDapPresent = m_nDapRestart == 0;
    } else if (status == VALUE_UNKNOWN || status == METER_STARTING ||
               (status == NO_METER && m_nDapTries < MOST_METER_TRIES)) {
        query(DT);
        m_nLastDapStep = step;
    }
}
