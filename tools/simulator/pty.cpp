#include "pty.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace tksim {

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void closeOne(int &descriptor) {
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

void makeRaw(int terminal) {
    termios settings{};
    if (tcgetattr(terminal, &settings) != 0)
        fail("terminal settings");
    cfmakeraw(&settings);
    settings.c_cflag = (settings.c_cflag & ~static_cast<tcflag_t>(CSIZE)) | CS8 | CLOCAL | CREAD;
    if (tcsetattr(terminal, TCSANOW, &settings) != 0)
        fail("terminal settings");
}

} // namespace

Pty::Pty(const std::string &link) : m_link(link) {
    try {
        open();
        if (!m_link.empty())
            makeLink();
    } catch (...) {
        closeAll();
        throw;
    }
}

Pty::~Pty() {
    std::array<char, 256> target{};
    const auto length =
        m_link.empty() ? -1 : readlink(m_link.c_str(), target.data(), target.size());
    if (length > 0 && m_path == std::string(target.data(), static_cast<std::size_t>(length)))
        unlink(m_link.c_str());
    closeAll();
}

void Pty::open() {
    m_master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    std::array<char, 128> name{};
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0 ||
        ptsname_r(m_master, name.data(), name.size()) != 0)
        fail("pseudo terminal");
    m_path = name.data();
    m_slave = ::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0)
        fail(m_path);
    makeRaw(m_slave);
    m_watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_watch < 0 || inotify_add_watch(m_watch, m_path.c_str(), IN_OPEN | IN_CLOSE) < 0)
        fail("watch on " + m_path);
}

void Pty::makeLink() {
    struct stat present {};
    if (lstat(m_link.c_str(), &present) == 0) {
        if (!S_ISLNK(present.st_mode)) {
            errno = EEXIST;
            fail(m_link);
        }
        unlink(m_link.c_str());
    }
    if (symlink(m_path.c_str(), m_link.c_str()) != 0)
        fail(m_link);
}

void Pty::closeAll() {
    closeOne(m_watch);
    closeOne(m_slave);
    closeOne(m_master);
}

Bytes Pty::read() {
    Bytes bytes(4096);
    const ssize_t count = ::read(m_master, bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

void Pty::write(const Bytes &bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(m_master, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        written += static_cast<std::size_t>(count);
    }
}

Pty::Console Pty::watch() {
    alignas(inotify_event) std::array<char, 4096> events{};
    const int before = m_consoles;
    ssize_t count = 0;
    while ((count = ::read(m_watch, events.data(), events.size())) > 0) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            inotify_event event{};
            std::memcpy(&event, events.data() + at, sizeof event);
            m_consoles += (event.mask & IN_OPEN) != 0 ? 1 : (event.mask & IN_CLOSE) != 0 ? -1 : 0;
            at += sizeof event + event.len;
        }
    }
    if (before == 0 && m_consoles > 0)
        return Console::opened;
    if (before == 0 || m_consoles > 0)
        return Console::unchanged;
    ioctl(m_slave, TIOCNXCL);
    tcflush(m_slave, TCIFLUSH);
    return Console::closed;
}

} // namespace tksim
