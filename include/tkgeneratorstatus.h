#ifndef TKGENERATORSTATUS_H
#define TKGENERATORSTATUS_H

#include "tkbinary_aec.h"
#include "tkbinary_dorvatable.h"
#include "tkbinary_receptors.h"
#include "tkexport.h"

#include <optional>

class TkGeneratorControl;
class TkRecordTraffic;
struct TkStation;

/// What a console has to know before it draws a screen: which parameters to show for the receptor
/// in use, which of them the operator may change, and what the key for the next setting selects.
/// The answers follow from what the engine knows; nothing is sent. They can change with every
/// event, so a console asks again then.
///
/// An object is a pointer to its engine, cheap to make and to copy; the engine must outlive it. All
/// operations may be called from any thread, callbacks included, and never wait for a dispatcher.
/// While the engine isn't connected they answer false, 0 or -999 (Tk::VALUE_UNKNOWN), as told.
/// Stations, which "WS" counts, go from 1 to 6; the receptor records from 0 to 5.
class TKGEN_EXPORT TkGeneratorStatus {
  public:
    /// A null engine is as good as one that isn't connected.
    explicit TkGeneratorStatus(TkGeneratorControl *engine) : m_pEngine(engine) {}

    /// Whether a parameter, by its Tk::TextCommands number, is to be shown now. False for what is
    /// never shown, for a number that is no parameter, and until the station in use and the records
    /// of all receptors and AEC channels are known.
    bool displayableParam(int command) const;

    /// Whether the operator may change the parameter now. False as above.
    bool controllableParam(int command) const;

    /// The "ET" value that the technique key selects: mA/ms (0), mAs (1), AEC (2) and round again,
    /// without AEC on a receptor that has none. -999 when it can't be told.
    int nextTechnique() const;

    /// The "FO" value that the focus key selects, or -999.
    int nextFocus() const;

    /// The "FS" value that the film screen key selects: the next, in the circle 0, 1, 2, that the
    /// AEC channel of the receptor in use has, or the present one when it has no other. -999 when
    /// it can't be told, as on a receptor without AEC channel.
    int nextFilmScreen() const;

    /// What ends an AEC exposure at the latest on the receptor in use: 1 mAs, 2 ms. -999 when it
    /// can't be told.
    int aecBackupMode() const;

    /// The field Functional, or Interface, of a receptor record, 0 to 5, or of the receptor in use.
    /// -999 when it isn't known, and for any other number.
    int getFunctionalOptions() const;
    int getFunctionalOptions(int receptor) const;
    int getInterfaceOptions() const;
    int getInterfaceOptions(int receptor) const;

    /// The software revision that the generator told; 0 when not connected.
    int getGeneratorVersion() const;

    /// Whether a station, 1 to 6, has a tube.
    bool receptorEnabled(int station) const;

    /// Whether the generator has an interface for a dose area product meter.
    bool isDapAvailable() const;

    /// Whether an exposure is going on; these don't ask whether the engine is connected.
    bool isExposureActive() const;
    bool isRadExposureActive() const;
    bool isFluoroExposureActive() const;

    /// Copies a receptor record, 0 to 5, the setup of an AEC channel, 1 to 4, or the position of
    /// the table. The copy is of one reply, and its isValid() tells whether one has come; not so
    /// while the record is being read anew, as the table is again and again. False, and nothing
    /// copied, when not connected, for any other number, without `out`, and without memory.
    bool getBinaryReceptorData(int receptor, TkBinary_Receptors *out) const;
    bool getBinaryAecData(int channel, TkBinary_AECSetup *out) const;
    bool getBinaryDorvaData(TkBinary_DorvaTable *out) const;

  private:
    TkRecordTraffic *records() const;
    std::optional<TkStation> stationInUse() const;

    TkGeneratorControl *m_pEngine;
};

#endif
