#ifndef TKCONSOLE_TABLE_H
#define TKCONSOLE_TABLE_H

#include "display.h"
#include "wakeup.h"

#include "tkgeneratorcontrol.h"

#include <string>
#include <vector>

/// What a generator's console has on its screen: the parameters that are to be shown for the
/// receptor in use, and a mark where the operator may change one. It can be followed: then it is
/// printed anew when anything in it has changed, twice a second at the most. Main thread only.
class Table {
  public:
    Table(Display &display, TkGeneratorControl &engine) : m_Display(display), m_Engine(engine) {}

    /// Prints it as it is now.
    void show();

    /// With `on` prints it, and from now on whenever it has changed.
    void follow(bool on);

    /// To be called now and then: prints it if it is followed, has changed, and the time has come.
    void look();

    /// When to look again, if ever.
    Deadline nextLook() const;

  private:
    struct Row {
        Tk::TextCommands parameter;
        int value;
        bool changeable;

        bool operator==(const Row &other) const;
    };

    struct State {
        std::string head;
        std::vector<Row> rows;
    };

    State present() const;
    std::string head() const;
    void print(const State &state);

    Display &m_Display;
    TkGeneratorControl &m_Engine;
    bool m_Followed = false;
    State m_Shown;
    Clock::time_point m_NextLook;
};

/// The kinds of exposure that are going on, in words.
std::string exposureIn(TkGeneratorControl &engine);

#endif
