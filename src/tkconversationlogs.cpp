#include "tkcommslog.h"
#include "tkconversation.h"

#include <new>

namespace {

bool isPrintable(unsigned char byte) {
    return byte >= 0x20 && byte < 0x7F;
}

/// Prefix, printable bytes as they are and others by their number, as in KV070<3>;
std::string logLine(const char *prefix, const unsigned char *frame, std::size_t length) {
    std::string line = prefix;
    for (std::size_t i = 0; i < length; ++i) {
        if (isPrintable(frame[i])) {
            line += static_cast<char>(frame[i]);
        } else {
            line += '<' + std::to_string(frame[i]) + '>';
        }
    }
    return line + '\n';
}

} // namespace

void TkConversation::bufferRawComms(bool enable) {
    m_pRawRx->enable(enable);
    m_pRawTx->enable(enable);
}

bool TkConversation::isRawCommsBuffered() const {
    return m_pRawRx->enabled();
}

int TkConversation::readRawComms(char *buffer, unsigned int size, int direction) {
    return (direction == 0 ? m_pRawRx : m_pRawTx)->read(buffer, size);
}

void TkConversation::bufferParsedComms(bool enable) {
    m_pParsed->enable(enable);
}

bool TkConversation::isParsedCommsBuffered() const {
    return m_pParsed->enabled();
}

int TkConversation::readParsedComms(char *buffer, unsigned int size) {
    return m_pParsed->read(buffer, size);
}

void TkConversation::addParsedComms(const char *prefix, const unsigned char *frame,
                                    std::size_t length) {
    if (!m_pParsed->enabled()) {
        return;
    }
    try {
        const std::string tick =
            m_FarEnd.logsTicks ? std::to_string(TkTimer::time()) + " ms -- " : "";
        const std::string line = tick + logLine(prefix, frame, length);
        m_pParsed->append(line.data(), line.size());
    } catch (const std::bad_alloc &) {
        // Without memory for the log the conversation goes on.
    }
}

void TkConversation::logRefused(const char *why) {
    const std::string prefix =
        std::string("RECEIVED:     ") + why + " message received from " + m_FarEnd.name + "... -> ";
    addParsedComms(prefix.c_str(), m_Frame.data(), m_Frame.size());
}
