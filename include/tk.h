#ifndef TK_H
#define TK_H

#include "tkexport.h"

#include <atomic>

class TkBaseDispatcher;
class TkDispatchManager;

/// What all control engines share: the generator's vocabulary as numbers, and the one place where
/// dispatchers are registered. It holds no data of its own.
class TKGEN_EXPORT Tk {
  public:
    /// The parameters and commands of the generator's text protocol. A number is the ASCII of the
    /// mnemonic, first letter in the highest used byte: it is the parameter's key, its event
    /// number, and the wParam of its window message. A comment names a unit only where the
    /// generator's numbers have one of their own; all other values are in the generator's units.
    enum TextCommands : int {
        KV = 0x4B56,    ///< radiographic tube voltage, kV
        MA = 0x4D41,    ///< radiographic tube current, the generator's own unit
        MS = 0x4D53,    ///< exposure time, the generator's own unit
        MX = 0x4D58,    ///< current-time product, the generator's own unit
        RR = 0x5252,    ///< read of the radiographic set; answered by KV and others
        ET = 0x4554,    ///< technique: 0 mA/ms, 1 mAs, 2 AEC
        PR = 0x5052,    ///< prep: 1 requested or accepted, 0 ended or refused
        XR = 0x5852,    ///< radiographic exposure: 1 on, 0 off
        FS = 0x4653,    ///< film screen: 0, 1 or 2
        FI = 0x4649,    ///< AEC measuring fields
        FN = 0x464E,    ///< density step, signed
        AP = 0x4150,    ///< mAs of the last exposure
        AT = 0x4154,    ///< time of the last exposure
        SA = 0x5341,    ///< first word of a program line; has no value
        AI = 0x4149,    ///< anatomical program code
        FLK = 0x464C4B, ///< fluoroscopic tube voltage, kV
        FLM = 0x464C4D, ///< fluoroscopic tube current, the generator's own unit
        FLI = 0x464C49, ///< interval timer
        FLT = 0x464C54, ///< accumulated timer
        FLS = 0x464C53, ///< pulse rate
        FLF = 0x464C46, ///< fluoroscopic mode
        FLP = 0x464C50, ///< fluoroscopic prep: 1 requested or accepted, 0 ended or refused
        FLA = 0x464C41, ///< automatic brightness: 0 off
        FLZ = 0x464C5A, ///< magnification
        FLD = 0x464C44, ///< dose level
        FLX = 0x464C58, ///< fluoroscopic exposure: 1 on, 0 off
        FLR = 0x464C52, ///< stored only
        RF = 0x5246,    ///< read of the fluoroscopic set; answered by FLK and others
        FLC = 0x464C43, ///< curve from fluoroscopy to radiography
        FLO = 0x464C4F, ///< automatic brightness curve
        ATA = 0x415441, ///< tomography angle
        ATC = 0x415443, ///< tomography cut line, signed
        DA = 0x4441,    ///< accumulated dose-area product
        DR = 0x4452,    ///< dose-area product rate
        DZ = 0x445A,    ///< reset of the meter; has no value
        DT = 0x4454,    ///< meter test: 0, 1 or 2
        DS = 0x4453,    ///< meter status: 1 a meter is available
        DV = 0x4456,    ///< stored only
        ST = 0x5354,    ///< status; also the probe of a lost link
        WS = 0x5753,    ///< workstation, counted from 1
        FO = 0x464F,    ///< focal spot
        RS = 0x5253,    ///< read of the status set; answered by TU and others
        KW = 0x4B57,    ///< stored only
        BU = 0x4255,    ///< bucky
        TO = 0x544F,    ///< stored only
        TU = 0x5455,    ///< tube, as the generator tells it
        TB = 0x5442,    ///< tube
        MC = 0x4D43,    ///< mA calibration
        FC = 0x4643,    ///< filament calibration
        GR = 0x4752,    ///< software revision of the generator
        ER = 0x4552,    ///< error; see getError
        EL = 0x454C,    ///< latched error; see getLatchedError
        GM = 0x474D,    ///< stored only
        CA = 0x4341,    ///< stored only
        TR = 0x5452,    ///< remote tomography
        AL = 0x414C,    ///< AEC lock
        CN = 0x434E,    ///< cine run time
        PS = 0x5053,    ///< patient size
        CD = 0x4344,    ///< read with an argument; answered by CWS and others
        GC = 0x4743,    ///< stored only
        CWS = 0x435753, ///< answer to CD: workstation
        CBU = 0x434255, ///< answer to CD
        CTO = 0x43544F, ///< answer to CD
        CFL = 0x43464C, ///< answer to CD
        CSR = 0x435352, ///< answer to CD
        CAE = 0x434145, ///< answer to CD
        CFI = 0x434649, ///< answer to CD
        CFS = 0x434653, ///< answer to CD
        WB = 0x5742,    ///< stored only
        WI = 0x5749,    ///< stored only
        WF = 0x5746,    ///< stored only
        HE = 0x4845,    ///< heat units of the tube
        HO = 0x484F,    ///< stored only
        HH = 0x4848,    ///< stored only
        ATP = 0x415450, ///< position of the auto positioner
        COL = 0x434F4C, ///< collimator
        FIL = 0x46494C, ///< filter
        FP = 0x4650,    ///< rotation selection
        BCP = 0x424350, ///< bolus chase: phase
        BCI = 0x424349, ///< bolus chase: interval
        BCF = 0x424346, ///< bolus chase: frame rate
        RAP = 0x524150, ///< rotational angiography: phase
        RAA = 0x524141, ///< rotational angiography: angle
        RAF = 0x524146, ///< rotational angiography: frame rate
    };

    /// Values with a meaning beside the plain numbers. A request value is sent as the characters
    /// shown, where the command has request forms; what a step does is the generator's affair.
    enum SpecialValues : int {
        VALUE_UNKNOWN = -999,  ///< the value of a parameter isn't known
        REQUEST_QUERY = 65535, ///< "?": ask for the current value
        REQUEST_UP = 65534,    ///< "+": one step up
        REQUEST_DOWN = 65533,  ///< "-": one step down
        REQUEST_UP_2 = 65532,  ///< "++": a large step up
        REQUEST_DOWN_2 = 65531 ///< "--": a large step down
    };

    /// What the room has, as bits. All start cleared; the application declares them.
    enum Features : int {
        FEATURE_AUTO_POSITIONER = 0x01,
        FEATURE_TOMOGRAPHY = 0x02,
        FEATURE_APR_CODE = 0x04,
        FEATURE_DORVA_TABLE = 0x08,
        FEATURE_ROTATION_SELECTION = 0x10,
        FEATURE_BOLUS_CHASE = 0x20,
        FEATURE_ROTATIONAL_ANGIOGRAPHY = 0x40
    };

    /// The generator family. It decides what is asked of the generator and whose error texts hold.
    enum GeneratorTypes : int { GENERATOR_ARKONA = 0, GENERATOR_BRN450 = 1 };

    /// Registers a dispatcher for the events of its class, behind those already registered; a null
    /// pointer is ignored, and one registered twice is called twice. From any thread, callbacks
    /// included: an event that is being delivered doesn't reach it any more. Doesn't block.
    static void addDispatcher(TkBaseDispatcher *dispatcher);

    /// Removes the earliest registration of a dispatcher. False when it isn't registered. It
    /// returns when no other thread is inside one of its operations, so that it can be destroyed
    /// right after; until then it blocks. From one of the dispatcher's own operations it returns
    /// at once, and so it does from a callback that the other thread waits for in its turn: then
    /// the dispatcher must outlive the operation that is still running.
    static bool removeDispatcher(TkBaseDispatcher *dispatcher);

  protected:
    friend class TkBinaryInterface; // a record's form depends on the revision
    friend class TkRelaySession;    // an endpoint of the relay has events
    friend class TkServerImp;       // the relay itself has events too
    friend class TkZModem;          // a transfer is no conversation, but has events

    /// The value of the last "GR" item that any generator sent; 0 before the first. A lost link
    /// doesn't clear it.
    static std::atomic<int> m_nGeneratorRevision;

    /// The one event manager of the process. It exists before any static object and is never
    /// destroyed.
    static TkDispatchManager &m_DispatchManager;
};

#endif
