#ifndef TKTRANSFER_MODES_H
#define TKTRANSFER_MODES_H

#include <mutex>
#include <vector>

#include <termios.h>

/// The modes that descriptors are in for a transfer: they don't block, and terminals are raw. What
/// they were in before belongs to others, who find it again.
class Modes {
  public:
    Modes() = default;
    ~Modes() { restore(); }
    Modes(const Modes &) = delete;
    Modes &operator=(const Modes &) = delete;

    /// Throws std::system_error when a descriptor can't be put into them.
    void enter(int descriptor);

    /// Drops what a terminal's far end still sends, which a shell would take for commands. Does
    /// nothing the second time. From any thread.
    void restore();

  private:
    struct Kept {
        int descriptor;
        int flags;
        bool isTerminal;
        termios terminal;
    };

    std::mutex m_Mutex; // guards the list
    std::vector<Kept> m_Kept;
};

#endif
