#include "tkserial.h"

#include "platform/platform.h"
#include "platform/portnames.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

using tkplatform::ModemLine;
using tkplatform::portNames;
using tkplatform::SerialAccess;
using tkplatform::SerialDevice;
using tkplatform::SerialParity;
using tkplatform::SerialSettings;

namespace {

constexpr std::array<int, 11> baudRates = {110,  300,   600,   1200,  2400,  4800,
                                           9600, 19200, 38400, 57600, 115200};

SerialAccess accessOf(TkSerial::MODE_FLAGS mode) {
    switch (mode) {
    case TkSerial::MODE_READ:
        return SerialAccess::read;
    case TkSerial::MODE_WRITE:
        return SerialAccess::write;
    default:
        return SerialAccess::both;
    }
}

SerialParity parityOf(TkSerial::PARITY_FLAGS parity) {
    switch (parity) {
    case TkSerial::EVEN_PARITY:
        return SerialParity::even;
    case TkSerial::ODD_PARITY:
        return SerialParity::odd;
    case TkSerial::MARK_PARITY:
        return SerialParity::mark;
    case TkSerial::SPACE_PARITY:
        return SerialParity::space;
    default:
        return SerialParity::none;
    }
}

// The two enumerations name the same lines in the same order; a number beyond them is no line to
// the device either.
static_assert(static_cast<int>(ModemLine::dtr) == TkSerial::FLAG_DTR &&
              static_cast<int>(ModemLine::rts) == TkSerial::FLAG_RTS &&
              static_cast<int>(ModemLine::cts) == TkSerial::FLAG_CTS &&
              static_cast<int>(ModemLine::ring) == TkSerial::FLAG_RING &&
              static_cast<int>(ModemLine::dsr) == TkSerial::FLAG_DSR);

ModemLine modemLine(TkSerial::SERIAL_FLAGS line) {
    return static_cast<ModemLine>(line);
}

} // namespace

// --- Lifecycle ----------------------------------------------------------------------------------

TkSerial::TkSerial(const char *device, MODE_FLAGS mode) : m_Mode(mode) {
    try {
        m_Name = device ? device : "";
    } catch (const std::bad_alloc &) {
        return;
    }
    if (open(m_Name.c_str())) {
        initialize();
    }
}

TkSerial::~TkSerial() {
    close();
}

bool TkSerial::open(const char *device) {
    close();
    if (device) {
        m_pDevice = SerialDevice::open(device, accessOf(m_Mode));
    }
    return m_pDevice != nullptr;
}

bool TkSerial::initialize() {
    return m_pDevice && m_pDevice->initialize(settings());
}

void TkSerial::close() {
    m_pDevice.reset();
    m_nReceivedNext = m_nReceivedCount = 0;
}

const char *TkSerial::getCommName(COM_PORTS port) {
    return port >= COM1 && port <= COM10 ? portNames[static_cast<std::size_t>(port)] : nullptr;
}

const char *TkSerial::getCommName(int number) {
    return number >= 1 && number <= 10 ? portNames[static_cast<std::size_t>(number - 1)] : nullptr;
}

const char *TkSerial::getDevice() const {
    return m_Name.c_str();
}

bool TkSerial::isOpen() {
    return m_pDevice != nullptr;
}

// --- Traffic ------------------------------------------------------------------------------------

int TkSerial::read_ch(char *byte) {
    if (!m_pDevice || !byte) {
        return -1;
    }
    if (m_nReceivedNext == m_nReceivedCount) {
        const int count = m_pDevice->read(m_Received.data(), m_Received.size());
        if (count <= 0) {
            return count;
        }
        m_nReceivedNext = 0;
        m_nReceivedCount = static_cast<std::size_t>(count);
    }
    *byte = m_Received[m_nReceivedNext++];
    return 1;
}

int TkSerial::write_ch(char byte) {
    return send(&byte, 1);
}

int TkSerial::write_str(char *bytes, unsigned int length) {
    return bytes && length > 0 ? send(bytes, length) : 0;
}

/// Apart from the two, so that a derived class may build either of them on the other.
int TkSerial::send(const char *bytes, unsigned int length) {
    if (!m_pDevice || length > static_cast<unsigned int>(INT_MAX)) {
        return -1;
    }
    return m_pDevice->write(bytes, length);
}

bool TkSerial::enableBlocking(bool enable) {
    m_bBlocking = enable;
    return true;
}

unsigned long TkSerial::timeoutPeriod() {
    return 750;
}

bool TkSerial::isTransmitBufferEmpty() {
    return m_pDevice && m_pDevice->transmitQueue() == 0;
}

bool TkSerial::isReceiveBufferEmpty() {
    return m_pDevice && m_nReceivedNext == m_nReceivedCount && m_pDevice->receiveQueue() == 0;
}

void TkSerial::finishTransmitting() {
    if (m_pDevice) {
        m_pDevice->drain();
    }
}

// --- Line settings ------------------------------------------------------------------------------

int TkSerial::getBaudRate() const {
    return m_nBaudRate;
}

TkSerial::PARITY_FLAGS TkSerial::getParity() const {
    return m_Parity;
}

unsigned char TkSerial::getCharSize() const {
    return m_nCharSize;
}

unsigned char TkSerial::getStopBits() const {
    return m_nStopBits;
}

bool TkSerial::getFlowControl() const {
    return m_bFlowControl;
}

SerialSettings TkSerial::settings() const {
    SerialSettings settings;
    settings.baudRate = m_nBaudRate;
    settings.parity = parityOf(m_Parity);
    settings.dataBits = m_nCharSize;
    settings.stopBits = m_nStopBits;
    settings.ctsFlowControl = m_bFlowControl;
    return settings;
}

template <class Field>
bool TkSerial::change(Field &field, Field value) {
    const Field before = std::exchange(field, value);
    if (m_pDevice && m_pDevice->apply(settings())) {
        return true;
    }
    field = before;
    return false;
}

bool TkSerial::setBaudRate(int rate) {
    const bool known = std::find(baudRates.begin(), baudRates.end(), rate) != baudRates.end();
    return known && change(m_nBaudRate, rate);
}

bool TkSerial::setParity(PARITY_FLAGS parity) {
    return parity >= NO_PARITY && parity <= SPACE_PARITY && change(m_Parity, parity);
}

bool TkSerial::setStopBits(unsigned char bits) {
    return (bits == 1 || bits == 2) && change(m_nStopBits, bits);
}

bool TkSerial::setCharSize(unsigned char bits) {
    return change(m_nCharSize, bits);
}

bool TkSerial::setFlowControl(bool enable) {
    return change(m_bFlowControl, enable);
}

bool TkSerial::setXONXOFF(bool enable) {
    m_bXonXoff = enable;
    return true;
}

// --- Modem lines --------------------------------------------------------------------------------

bool TkSerial::setFlag(SERIAL_FLAGS line) {
    return m_pDevice && m_pDevice->setLine(modemLine(line), true);
}

bool TkSerial::clrFlag(SERIAL_FLAGS line) {
    return m_pDevice && m_pDevice->setLine(modemLine(line), false);
}

int TkSerial::getFlag(SERIAL_FLAGS line) {
    return m_pDevice ? m_pDevice->readLine(modemLine(line)) : -1;
}
