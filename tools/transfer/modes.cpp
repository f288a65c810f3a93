#include "modes.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

void Modes::enter(int descriptor) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    Kept kept{descriptor, ::fcntl(descriptor, F_GETFL), false, {}};
    kept.isTerminal = ::tcgetattr(descriptor, &kept.terminal) == 0;
    m_Kept.push_back(kept);
    termios raw = kept.terminal;
    ::cfmakeraw(&raw);
    raw.c_cc[VMIN] = 1; // an empty read is told from a hung-up line
    raw.c_cc[VTIME] = 0;
    if (kept.flags < 0 || ::fcntl(descriptor, F_SETFL, kept.flags | O_NONBLOCK) != 0 ||
        (kept.isTerminal && ::tcsetattr(descriptor, TCSANOW, &raw) != 0)) {
        throw std::system_error(errno, std::generic_category(), "standard input and output");
    }
}

void Modes::restore() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    // In reverse: two descriptors of one open file share its modes.
    for (; !m_Kept.empty(); m_Kept.pop_back()) {
        const Kept &kept = m_Kept.back();
        if (kept.isTerminal) {
            ::tcflush(kept.descriptor, TCIFLUSH);
            ::tcsetattr(kept.descriptor, TCSANOW, &kept.terminal);
        }
        ::fcntl(kept.descriptor, F_SETFL, kept.flags);
    }
}
