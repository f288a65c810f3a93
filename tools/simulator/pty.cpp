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
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    descriptor = -1;
}

void makeRaw(int terminal) {
    termios settings{};
    if (tcgetattr(terminal, &settings) != 0) {
        fail("terminal settings");
    }
    cfmakeraw(&settings);
    settings.c_cflag = (settings.c_cflag & ~static_cast<tcflag_t>(CSIZE)) | CS8 | CLOCAL | CREAD;
    if (tcsetattr(terminal, TCSANOW, &settings) != 0) {
        fail("terminal settings");
    }
}

} // namespace

Pty::Pty(const std::string &link) : m_Link(link) {
    try {
        open();
        if (!m_Link.empty()) {
            makeLink();
        }
    } catch (...) {
        closeAll();
        throw;
    }
}

Pty::~Pty() {
    std::array<char, 256> target{};
    const auto length =
        m_Link.empty() ? -1 : readlink(m_Link.c_str(), target.data(), target.size());
    if (length > 0 && m_Path == std::string(target.data(), static_cast<std::size_t>(length))) {
        unlink(m_Link.c_str());
    }
    closeAll();
}

void Pty::open() {
    m_Master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    std::array<char, 128> name{};
    if (m_Master < 0 || grantpt(m_Master) != 0 || unlockpt(m_Master) != 0 ||
        ptsname_r(m_Master, name.data(), name.size()) != 0) {
        fail("pseudo terminal");
    }
    m_Path = name.data();
    m_Slave = ::open(m_Path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_Slave < 0) {
        fail(m_Path);
    }
    makeRaw(m_Slave);
    m_Watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_Watch < 0 || inotify_add_watch(m_Watch, m_Path.c_str(), IN_OPEN | IN_CLOSE) < 0) {
        fail("watch on " + m_Path);
    }
}

void Pty::makeLink() {
    struct stat present {};
    if (lstat(m_Link.c_str(), &present) == 0) {
        if (!S_ISLNK(present.st_mode)) {
            errno = EEXIST;
            fail(m_Link);
        }
        unlink(m_Link.c_str());
    }
    if (symlink(m_Path.c_str(), m_Link.c_str()) != 0) {
        fail(m_Link);
    }
}

void Pty::closeAll() {
    closeOne(m_Watch);
    closeOne(m_Slave);
    closeOne(m_Master);
}

Bytes Pty::read() {
    Bytes bytes(4096);
    const ssize_t count = ::read(m_Master, bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

void Pty::write(const Bytes &bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(m_Master, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

Pty::Console Pty::watch() {
    alignas(inotify_event) std::array<char, 4096> events{};
    const int before = m_Consoles;
    ssize_t count = 0;
    while ((count = ::read(m_Watch, events.data(), events.size())) > 0) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            inotify_event event{};
            std::memcpy(&event, events.data() + at, sizeof event);
            m_Consoles += (event.mask & IN_OPEN) != 0 ? 1 : (event.mask & IN_CLOSE) != 0 ? -1 : 0;
            at += sizeof event + event.len;
        }
    }
    if (before == 0 && m_Consoles > 0) {
        return Console::opened;
    }
    if (before == 0 || m_Consoles > 0) {
        return Console::unchanged;
    }
    ioctl(m_Slave, TIOCNXCL);
    tcflush(m_Slave, TCIFLUSH);
    return Console::closed;
}

} // namespace tksim
