#include "link.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <poll.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

constexpr char CAN = 0x18;

/// As many end a transfer.
constexpr std::size_t cancelSequence = 5;

/// A far end that takes nothing for so long has failed.
constexpr milliseconds patience(10000);
constexpr milliseconds patienceOnceCancelled(1000);

/// A write that stands still looks so often whether it has been cancelled.
constexpr milliseconds lookPeriod(50);

std::size_t cansAtEnd(const char *bytes, std::size_t size) {
    std::size_t cans = 0;
    while (cans < size && bytes[size - 1 - cans] == CAN) {
        ++cans;
    }
    return cans;
}

} // namespace

// --- What the links share ------------------------------------------------------------------------

bool TransferLink::hasSentCancel() const {
    return m_Cans >= cancelSequence;
}

int TransferLink::write_str(char *bytes, unsigned int length) {
    if (m_SendFailed || state() != State::good || !send(bytes, length)) {
        return -1;
    }
    const std::size_t cans = cansAtEnd(bytes, length);
    m_Cans = cans == length ? m_Cans + cans : cans;
    return static_cast<int>(length);
}

void TransferLink::fail(State state) {
    State good = State::good;
    if (m_State.compare_exchange_strong(good, state)) {
        m_Wakeup.ring();
    }
}

// --- Descriptors ---------------------------------------------------------------------------------

unsigned long DescriptorLink::timeoutPeriod() {
    return static_cast<unsigned long>(patience.count());
}

int DescriptorLink::read_ch(char *byte) {
    if (m_Next == m_Count && !fill()) {
        return state() == State::gone ? -1 : 0;
    }
    *byte = m_Received[m_Next++];
    return 1;
}

/// Fetches what has come. False when there is nothing, and at the end.
bool DescriptorLink::fill() {
    const ssize_t count = ::read(m_Input, m_Received.data(), m_Received.size());
    if (count > 0) {
        m_Count = static_cast<std::size_t>(count);
        m_Next = 0;
        return true;
    }
    const bool isEmpty = count < 0 && (errno == EAGAIN || errno == EINTR);
    if (!isEmpty || m_SendFailed) {
        fail(State::gone);
    }
    return false;
}

bool DescriptorLink::send(char *bytes, std::size_t size) {
    const bool late = isCancelled();
    const milliseconds limit = late ? patienceOnceCancelled : patience;
    auto moved = Clock::now();
    while (size > 0) {
        const ssize_t count = ::write(m_Output, bytes, size);
        if (count > 0) {
            bytes += count;
            size -= static_cast<std::size_t>(count);
            moved = Clock::now();
            continue;
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            m_SendFailed = true; // whoever has gone may have said why before
            return false;
        }
        if (isCancelled() && !late) {
            return false;
        }
        if (Clock::now() - moved >= limit) {
            fail(State::stalled);
            return false;
        }
        pollfd room = {m_Output, POLLOUT, 0};
        ::poll(&room, 1, static_cast<int>(lookPeriod.count()));
    }
    return true;
}

// --- A serial device -----------------------------------------------------------------------------

bool SerialLink::prepare(int baudRate) {
    if (!m_Serial.setBaudRate(baudRate)) {
        return false;
    }
    m_Serial.setFlag(TkSerial::FLAG_DTR); // a port without these lines needs none
    m_Serial.setFlag(TkSerial::FLAG_RTS);
    return true;
}

int SerialLink::read_ch(char *byte) {
    const int result = m_Serial.read_ch(byte);
    if (result < 0) {
        fail(State::gone);
    } else if (result == 0 && m_SendFailed) {
        fail(State::stalled);
    }
    return result;
}

/// In pieces of a quarter of a second, between which a cancel is seen.
bool SerialLink::send(char *bytes, std::size_t size) {
    constexpr int bitsOfQuarter = 10 * 4;
    const auto piece =
        static_cast<std::size_t>(std::max(m_Serial.getBaudRate() / bitsOfQuarter, 1));
    const bool late = isCancelled();
    while (size > 0 && (late || !isCancelled())) {
        const std::size_t count = std::min(size, piece);
        if (m_Serial.write_str(bytes, static_cast<unsigned int>(count)) < 0) {
            m_SendFailed = true;
            return false;
        }
        bytes += count;
        size -= count;
    }
    return size == 0;
}
