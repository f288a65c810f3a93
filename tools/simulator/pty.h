#ifndef TKSIM_PTY_H
#define TKSIM_PTY_H

#include "wire.h"

namespace tksim {

/// The far end of a pseudo terminal, raw and transparent. The device can be opened, closed
/// and opened again by consoles, one after the other.
///
/// The slave is kept open here too, so that the end of a console is no error on the master, but no
/// lock is held on it. A console takes the device exclusively, and the kernel keeps that mark when
/// a console dies with it; it is cleared when the last one has gone, with all unread bytes.
class Pty {
  public:
    /// Opens a new one, with a symbolic link to it unless `link` is empty; an old link is replaced,
    /// a file of another kind isn't. Throws std::system_error.
    explicit Pty(const std::string &link);
    ~Pty();

    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    const std::string &path() const { return m_Path; }

    /// Descriptors to wait on: for bytes, and for consoles that come and go.
    int dataFd() const { return m_Master; }
    int watchFd() const { return m_Watch; }

    /// Bytes that have come, at most 4096; empty at once when there are none.
    Bytes read();

    /// Writes what there is room for. The rest is lost, as on a line that nobody reads.
    void write(const Bytes &bytes);

    enum class Console { unchanged, opened, closed };

    /// Whether a console has come or gone since the last call.
    Console watch();

  private:
    void open();
    void makeLink();
    void closeAll();

    std::string m_Link;
    std::string m_Path;
    int m_Master = -1;
    int m_Slave = -1;
    int m_Watch = -1;
    int m_Consoles = 0;
};

} // namespace tksim

#endif
