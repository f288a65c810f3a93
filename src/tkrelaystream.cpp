#include "tkrelaystream.h"

#include <algorithm>
#include <cstring>
#include <utility>

std::size_t TkRelayStream::take(const char *bytes, std::size_t size, Sink &sink) {
    std::size_t taken = 0;
    while (taken < size && !isCmdReady()) {
        const char *const rest = bytes + taken;
        const std::size_t left = size - taken;
        if (m_bSynced) {
            taken += collect(rest, left);
        } else if (m_nCount > 0) {
            taken += 1;
            match(*rest, sink);
        } else {
            // Most of a stream is data: on to the next byte that could begin the marker.
            const void *const start = std::memchr(rest, MARKER[0], left);
            const std::size_t plain =
                start ? static_cast<std::size_t>(static_cast<const char *>(start) - rest) : left;
            if (plain > 0) {
                sink.data(rest, plain);
            } else {
                match(*rest, sink);
            }
            taken += std::max<std::size_t>(plain, 1);
        }
    }
    return taken;
}

void TkRelayStream::match(char byte, Sink &sink) {
    const bool fits = byte == MARKER[m_nCount];
    m_Frame[m_nCount++] = byte;
    if (!fits) {
        handOn(sink);
        return;
    }
    m_bSynced = m_nCount == MARKER.size();
    m_HeldTimer.reset();
}

void TkRelayStream::handOn(Sink &sink) {
    const std::size_t first = std::exchange(m_nDisowned, 0);
    const std::size_t count = std::exchange(m_nCount, 0);
    if (count > first) {
        sink.data(m_Frame.data() + first, count - first);
    }
}

/// Up to the end of the frame. One that is too long is dropped up to there.
std::size_t TkRelayStream::collect(const char *bytes, std::size_t size) {
    const void *const end = std::memchr(bytes, END, size);
    const std::size_t length =
        end ? static_cast<std::size_t>(static_cast<const char *>(end) - bytes) + 1 : size;
    m_bTooLong = m_bTooLong || length > m_Frame.size() - m_nCount;
    if (!m_bTooLong) {
        std::memcpy(m_Frame.data() + m_nCount, bytes, length);
        m_nCount += length;
    } else if (end) {
        clear();
    }
    return length;
}

bool TkRelayStream::isCmdReady() const {
    return m_bSynced && !m_bTooLong && m_nCount > MARKER.size() && m_Frame[m_nCount - 1] == END;
}

std::string_view TkRelayStream::command() const {
    return isCmdReady()
               ? std::string_view(m_Frame.data() + MARKER.size(), m_nCount - MARKER.size() - 1)
               : std::string_view();
}

void TkRelayStream::takeCommand(char *buffer, int *length) {
    if (!isCmdReady()) {
        return;
    }
    const std::string_view text = command();
    const std::size_t room = static_cast<std::size_t>(std::max(*length, 0));
    *length = static_cast<int>(text.copy(buffer, room));
    clear();
}

void TkRelayStream::clear() {
    m_nCount = 0;
    m_nDisowned = 0;
    m_bSynced = false;
    m_bTooLong = false;
}

bool TkRelayStream::isHolding() const {
    return !m_bSynced && m_nCount > 0;
}

void TkRelayStream::disownHeld() {
    m_nDisowned = isHolding() ? m_nCount : 0;
}

void TkRelayStream::releaseHeld(Sink &sink) {
    if (isHolding() && m_HeldTimer.timedOut()) {
        handOn(sink);
    }
}

std::string TkRelayStream::frameOf(std::string_view command) {
    std::string frame;
    frame.reserve(MARKER.size() + command.size() + 1);
    frame += MARKER;
    frame += command;
    frame += END;
    return frame;
}
