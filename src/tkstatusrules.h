#ifndef TKSTATUSRULES_H
#define TKSTATUSRULES_H

class TkGeneratorControl;

/// What the rules see: the engine, and what was read of it at one time. Fields of records hold the
/// generator's numbers.
struct TkStation {
    const TkGeneratorControl *engine; // for features and parameters; an unknown one is -999
    int technique;                    // "ET"; a rule may ask for it twice
    int revision;
    bool meter; // a dose area product meter has been found

    // The receptor of the station in use
    int tube = 0;
    int tomo = 0;
    int fluoro = 0;
    int serial = 0;
    int aecChannel = 0;
    int receptorInterface = 0;
    int functional = 0;
    int aecBackupMode = 0;

    // The setup of its AEC channel
    bool aecKnown = false; // all setups have been read
    bool hasAec = false;   // the channel is one that the generator has
    int media = 0;
    int filmScreens = 0; // bit set
};

/// Which parameters a console shows, and which of them the operator may change. Any number may be
/// asked about: what has no rule is neither shown nor changed.
struct TkStatusRules {
    static bool displayable(int command, const TkStation &station);
    static bool controllable(int command, const TkStation &station);
};

#endif
