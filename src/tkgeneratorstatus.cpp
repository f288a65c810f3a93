#include "tkgeneratorstatus.h"

#include "tkgeneratorcontrol.h"
#include "tkrecordtraffic.h"
#include "tkstatusrules.h"

#include <cstddef>
#include <new>

namespace {

constexpr int UNKNOWN = Tk::VALUE_UNKNOWN;

/// From this revision on a receptor's tube can have a third focus.
constexpr int THIRD_FOCUS = 300;
constexpr int MOST_TUBES = 2;

constexpr int FILM_SCREENS = 3;

/// The record with a number, where the first one's is `first`; null for any other number.
template <class Records>
auto *numbered(Records &records, int number, int first) {
    const bool exists = number >= first && number - first < static_cast<int>(records.size());
    return exists ? &records[static_cast<std::size_t>(number - first)] : nullptr;
}

/// All under one lock, so that a station isn't half of one reply and half of another. False when
/// the receptors aren't known yet, or there is no such station.
bool readStation(TkRecordTraffic &traffic, int number, TkStation &station) {
    return traffic.read([&](TkRecordTraffic &records) {
        TkBinary_Receptors *const receptor = numbered(records.m_pReceptors, number, 1);
        if (receptor == nullptr || !records.receptorsValid()) {
            return false;
        }
        station.tube = receptor->Tube;
        station.tomo = receptor->Tomo;
        station.fluoro = receptor->Fluoro;
        station.serial = receptor->Serial;
        station.aecChannel = receptor->AECChannel;
        station.receptorInterface = receptor->Interface;
        station.functional = receptor->Functional;
        station.aecBackupMode = receptor->AECBackupMODE;
        station.aecKnown = records.aecSetupsValid();
        const TkBinary_AECSetup *const aec = numbered(records.m_pAecSetups, station.aecChannel, 1);
        station.hasAec = aec != nullptr;
        if (station.hasAec) {
            station.media = aec->Media;
            station.filmScreens = aec->Filmscreen;
        }
        return true;
    });
}

/// A field of a receptor record, 0 to 5, once all are known.
template <class Field>
int receptorField(TkRecordTraffic *traffic, int number, Field field) {
    if (traffic == nullptr) {
        return UNKNOWN;
    }
    return traffic->read([&](TkRecordTraffic &records) -> int {
        TkBinary_Receptors *const receptor = numbered(records.m_pReceptors, number, 0);
        return receptor != nullptr && records.receptorsValid() ? receptor->*field : UNKNOWN;
    });
}

/// Copies what `find` chooses, under the lock under which replies are filled in. `out` is left as
/// it is when there is nothing to copy.
template <class Record, class Find>
bool copyRecord(TkRecordTraffic *traffic, Record *out, Find find) {
    if (traffic == nullptr || out == nullptr) {
        return false;
    }
    try {
        return traffic->read([&](TkRecordTraffic &records) {
            const Record *const record = find(records);
            if (record != nullptr) {
                *out = *record;
            }
            return record != nullptr;
        });
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace

/// Null while the engine isn't connected.
TkRecordTraffic *TkGeneratorStatus::records() const {
    return m_pEngine != nullptr && m_pEngine->connected() ? m_pEngine->m_pRecords.get() : nullptr;
}

std::optional<TkStation> TkGeneratorStatus::stationInUse() const {
    TkRecordTraffic *const traffic = records();
    if (traffic == nullptr) {
        return std::nullopt;
    }
    TkStation station{m_pEngine, m_pEngine->getGenParam(Tk::ET),
                      TkGeneratorControl::m_nGeneratorRevision, m_pEngine->m_bDapPresent};
    if (!readStation(*traffic, m_pEngine->getGenParam(Tk::WS), station)) {
        return std::nullopt;
    }
    return station;
}

// --- What to show -------------------------------------------------------------------------------

bool TkGeneratorStatus::displayableParam(int command) const {
    const std::optional<TkStation> station = stationInUse();
    return station && station->aecKnown && TkStatusRules::displayable(command, *station);
}

bool TkGeneratorStatus::controllableParam(int command) const {
    const std::optional<TkStation> station = stationInUse();
    return station && station->aecKnown && TkStatusRules::controllable(command, *station);
}

// --- What the next setting is -------------------------------------------------------------------

int TkGeneratorStatus::nextTechnique() const {
    enum Techniques { MA_MS = 0, MAS = 1, AEC = 2 };
    const std::optional<TkStation> station = stationInUse();
    if (!station) {
        return UNKNOWN;
    }
    switch (station->technique) {
    case MA_MS:
        return MAS;
    case MAS:
        return station->aecChannel != 0 ? AEC : MA_MS;
    case AEC:
        return MA_MS;
    default:
        return UNKNOWN;
    }
}

int TkGeneratorStatus::nextFocus() const {
    TkRecordTraffic *const traffic = records();
    if (traffic == nullptr || !traffic->receptorsValid()) {
        return UNKNOWN;
    }
    const bool hasThird = TkGeneratorControl::m_nGeneratorRevision >= THIRD_FOCUS;
    if (hasThird) {
        const std::optional<TkStation> station = stationInUse();
        if (!station || station->tube > MOST_TUBES) {
            return UNKNOWN;
        }
    }
    const int focus = m_pEngine->getGenParam(Tk::FO);
    if (focus == 0) {
        return 1;
    }
    return focus == 1 || (focus == 2 && hasThird) ? 0 : UNKNOWN;
}

int TkGeneratorStatus::nextFilmScreen() const {
    const std::optional<TkStation> station = stationInUse();
    if (!station || !station->aecKnown || !station->hasAec) {
        return UNKNOWN;
    }
    const int present = m_pEngine->getGenParam(Tk::FS);
    if (present < 0 || present >= FILM_SCREENS) {
        return UNKNOWN;
    }
    for (int i = 1; i < FILM_SCREENS; ++i) {
        const int next = (present + i) % FILM_SCREENS;
        if ((station->filmScreens >> next & 1) != 0) {
            return next;
        }
    }
    return present;
}

// --- What is known ------------------------------------------------------------------------------

int TkGeneratorStatus::aecBackupMode() const {
    const std::optional<TkStation> station = stationInUse();
    return station ? station->aecBackupMode : UNKNOWN;
}

int TkGeneratorStatus::getFunctionalOptions() const {
    const std::optional<TkStation> station = stationInUse();
    return station ? station->functional : UNKNOWN;
}

int TkGeneratorStatus::getFunctionalOptions(int receptor) const {
    return receptorField(records(), receptor, &TkBinary_Receptors::Functional);
}

int TkGeneratorStatus::getInterfaceOptions() const {
    const std::optional<TkStation> station = stationInUse();
    return station ? station->receptorInterface : UNKNOWN;
}

int TkGeneratorStatus::getInterfaceOptions(int receptor) const {
    return receptorField(records(), receptor, &TkBinary_Receptors::Interface);
}

int TkGeneratorStatus::getGeneratorVersion() const {
    return records() != nullptr ? TkGeneratorControl::m_nGeneratorRevision.load() : 0;
}

bool TkGeneratorStatus::receptorEnabled(int station) const {
    return station >= 1 && receptorField(records(), station - 1, &TkBinary_Receptors::Tube) > 0;
}

bool TkGeneratorStatus::isDapAvailable() const {
    return records() != nullptr && m_pEngine->getGenParam(Tk::DS) == 1;
}

bool TkGeneratorStatus::isExposureActive() const {
    return isRadExposureActive() || isFluoroExposureActive();
}

bool TkGeneratorStatus::isRadExposureActive() const {
    return m_pEngine != nullptr && m_pEngine->m_bRadExposure;
}

bool TkGeneratorStatus::isFluoroExposureActive() const {
    return m_pEngine != nullptr && m_pEngine->m_bFluoroExposure;
}

// --- The records --------------------------------------------------------------------------------

bool TkGeneratorStatus::getBinaryReceptorData(int receptor, TkBinary_Receptors *out) const {
    return copyRecord(records(), out, [receptor](TkRecordTraffic &all) {
        return numbered(all.m_pReceptors, receptor, 0);
    });
}

bool TkGeneratorStatus::getBinaryAecData(int channel, TkBinary_AECSetup *out) const {
    return copyRecord(records(), out, [channel](TkRecordTraffic &all) {
        return numbered(all.m_pAecSetups, channel, 1);
    });
}

bool TkGeneratorStatus::getBinaryDorvaData(TkBinary_DorvaTable *out) const {
    return copyRecord(records(), out, [](TkRecordTraffic &all) { return &all.m_pDorvaTable; });
}
