#include "tkbinaryinterface.h"

#include "tk.h"

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

void TkBinaryInterface::copyState(const TkBinaryInterface &other) {
    m_nCommand = other.m_nCommand;
    m_nReadLength = other.m_nReadLength;
    m_nWriteLength = other.m_nWriteLength;
    for (std::size_t i = 0; i < m_nFlags; ++i) {
        setFlag(other.isFlagSet(i), i);
    }
}
