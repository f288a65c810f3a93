#include "tkbinaryinterface.h"

#include "tk.h"
#include "tkrecordwalk.h"

#include <algorithm>
#include <numeric>

TkBinaryInterface::TkBinaryInterface(std::size_t flags)
    : m_nFlags(flags), m_pValidity(new std::atomic<bool>[flags]) {
    clearFlags();
}

unsigned char TkBinaryInterface::calculateCheckSum(const std::vector<unsigned char> *bytes) const {
    return static_cast<unsigned char>(std::accumulate(bytes->begin(), bytes->end(), 0U) & 0xFF);
}

int TkBinaryInterface::revision() {
    return Tk::m_nGeneratorRevision;
}

void TkBinaryInterface::setForm(const Form &form) {
    m_nCommand = form.command;
    m_nReadLength = form.readLength;
    m_nWriteLength = form.writeLength;
}

/// Who sees a flag set sees the fields that the reply brought.
bool TkBinaryInterface::isFlagSet(std::size_t flag) const {
    return flag < m_nFlags && m_pValidity[flag].load(std::memory_order_acquire);
}

void TkBinaryInterface::setFlag(bool valid, std::size_t flag) {
    if (flag < m_nFlags) {
        m_pValidity[flag].store(valid, std::memory_order_release);
    }
}

void TkBinaryInterface::clearFlags() {
    for (std::size_t i = 0; i < m_nFlags; ++i) {
        setFlag(false, i);
    }
}

std::size_t TkBinaryInterface::lengthOf(const char *text, std::size_t most) {
    return static_cast<std::size_t>(std::find(text, text + most, '\0') - text);
}

std::vector<unsigned char> TkBinaryInterface::head(int length) const {
    std::vector<unsigned char> frame;
    frame.reserve(tkrecord::HEAD + static_cast<std::size_t>(length) + tkrecord::UNCOUNTED);
    for (const int byte : {int{tkrecord::START}, int{m_nCommand}, length >> CHAR_BIT, length}) {
        frame.push_back(static_cast<unsigned char>(byte & 0xFF));
    }
    return frame;
}

std::vector<unsigned char> TkBinaryInterface::encodeNothing() {
    setFlag(false, currentFlag());
    return {0};
}

void TkBinaryInterface::copyState(const TkBinaryInterface &other) {
    m_nCommand = other.m_nCommand;
    m_nReadLength = other.m_nReadLength;
    m_nWriteLength = other.m_nWriteLength;
    turnTo(other.currentFlag());
    for (std::size_t i = 0; i < m_nFlags; ++i) {
        setFlag(other.isFlagSet(i), i);
    }
}
