#include "input.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// No command is nearly as long.
constexpr std::size_t longestLine = 4096;

/// As much of a longer line is shown.
constexpr std::size_t shownOfLongLine = 40;

} // namespace

Input::~Input() {
    if (m_Fd > 0) {
        ::close(m_Fd);
    }
}

bool Input::open(const std::string &path) {
    m_Fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return m_Fd >= 0;
}

void Input::read() {
    char bytes[1024];
    const ssize_t count = ::read(m_Fd, bytes, sizeof bytes);
    if (count > 0) {
        m_Buffer.append(bytes, static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        m_Ended = true;
        m_Failed = count < 0;
    }
}

void Input::skipRest() {
    const std::size_t end = m_Buffer.find('\n');
    m_Skipping = end == std::string::npos;
    m_Buffer.erase(0, m_Skipping ? end : end + 1);
}

std::optional<std::string> Input::nextLine() {
    if (m_Skipping) {
        skipRest();
    }
    const std::size_t end = m_Buffer.find('\n');
    if (end == std::string::npos && m_Buffer.size() >= longestLine) {
        m_Skipping = true;
        return m_Buffer.substr(0, shownOfLongLine) + "...";
    }
    if (end == std::string::npos && !m_Ended) {
        return std::nullopt;
    }
    if (end == std::string::npos) {
        return m_Buffer.empty() ? std::nullopt : std::make_optional(std::exchange(m_Buffer, {}));
    }
    std::string line = m_Buffer.substr(0, end);
    m_Buffer.erase(0, end + 1);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}
