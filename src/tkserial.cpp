#include "tkserial.h"

#include "platform/platform.h"

#include <algorithm>
#include <climits>
#include <utility>

using tkplatform::ModemLine;
using tkplatform::SerialAccess;
using tkplatform::SerialDevice;
using tkplatform::SerialParity;
using tkplatform::SerialSettings;

namespace {

constexpr std::array<const char *, 10> commNames = {"COM1", "COM2", "COM3", "COM4", "COM5",
                                                    "COM6", "COM7", "COM8", "COM9", "COM10"};

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
    case TkSerial::PARITY_EVEN:
        return SerialParity::even;
    case TkSerial::PARITY_ODD:
        return SerialParity::odd;
    case TkSerial::PARITY_MARK:
        return SerialParity::mark;
    case TkSerial::PARITY_SPACE:
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

TkSerial::TkSerial(const char *device, MODE_FLAGS mode)
    : m_name(device ? device : ""), m_mode(mode) {
    if (open(m_name.c_str()))
        initialize();
}

TkSerial::~TkSerial() {
    close();
}

bool TkSerial::open(const char *device) {
    close();
    if (device)
        m_device = SerialDevice::open(device, accessOf(m_mode));
    return m_device != nullptr;
}

bool TkSerial::initialize() {
    return m_device && m_device->initialize(settings());
}

void TkSerial::close() {
    m_device.reset();
    m_receivedNext = m_receivedCount = 0;
}

const char *TkSerial::getCommName(COM_PORTS port) {
    return port >= COM1 && port <= COM10 ? commNames[static_cast<std::size_t>(port)] : nullptr;
}

const char *TkSerial::getCommName(int number) {
    return number >= 1 && number <= 10 ? commNames[static_cast<std::size_t>(number - 1)] : nullptr;
}

const char *TkSerial::getDevice() const {
    return m_name.c_str();
}

bool TkSerial::isOpen() {
    return m_device != nullptr;
}

// --- Traffic ------------------------------------------------------------------------------------

int TkSerial::read_ch(char *byte) {
    if (!m_device || !byte)
        return -1;
    if (m_receivedNext == m_receivedCount) {
        const int count = m_device->read(m_received.data(), m_received.size());
        if (count <= 0)
            return count;
        m_receivedNext = 0;
        m_receivedCount = static_cast<std::size_t>(count);
    }
    *byte = m_received[m_receivedNext++];
    return 1;
}

int TkSerial::write_ch(char byte) {
    return write_str(&byte, 1);
}

int TkSerial::write_str(char *bytes, unsigned int length) {
    if (!bytes || length == 0)
        return 0;
    if (!m_device || length > static_cast<unsigned int>(INT_MAX))
        return -1;
    return m_device->write(bytes, length);
}

bool TkSerial::enableBlocking(bool enable) {
    m_blocking = enable;
    return true;
}

unsigned long TkSerial::timeoutPeriod() {
    return 750;
}

bool TkSerial::isTransmitBufferEmpty() {
    return m_device && m_device->transmitQueue() == 0;
}

bool TkSerial::isReceiveBufferEmpty() {
    return m_device && m_receivedNext == m_receivedCount && m_device->receiveQueue() == 0;
}

void TkSerial::finishTransmitting() {
    if (m_device)
        m_device->drain();
}

// --- Line settings ------------------------------------------------------------------------------

int TkSerial::getBaudRate() const {
    return m_baudRate;
}

TkSerial::PARITY_FLAGS TkSerial::getParity() const {
    return m_parity;
}

unsigned char TkSerial::getCharSize() const {
    return m_charSize;
}

unsigned char TkSerial::getStopBits() const {
    return m_stopBits;
}

bool TkSerial::getFlowControl() const {
    return m_flowControl;
}

SerialSettings TkSerial::settings() const {
    SerialSettings settings;
    settings.baudRate = m_baudRate;
    settings.parity = parityOf(m_parity);
    settings.dataBits = m_charSize;
    settings.stopBits = m_stopBits;
    settings.ctsFlowControl = m_flowControl;
    return settings;
}

template <class Field>
bool TkSerial::change(Field &field, Field value) {
    const Field before = std::exchange(field, value);
    if (m_device && m_device->apply(settings()))
        return true;
    field = before;
    return false;
}

bool TkSerial::setBaudRate(int rate) {
    const bool known = std::find(baudRates.begin(), baudRates.end(), rate) != baudRates.end();
    return known && change(m_baudRate, rate);
}

bool TkSerial::setParity(PARITY_FLAGS parity) {
    return parity >= PARITY_NONE && parity <= PARITY_SPACE && change(m_parity, parity);
}

bool TkSerial::setStopBits(unsigned char bits) {
    return (bits == 1 || bits == 2) && change(m_stopBits, bits);
}

bool TkSerial::setCharSize(unsigned char bits) {
    return change(m_charSize, bits);
}

bool TkSerial::setFlowControl(bool enable) {
    return change(m_flowControl, enable);
}

bool TkSerial::setXONXOFF(bool enable) {
    m_xonXoff = enable;
    return true;
}

// --- Modem lines --------------------------------------------------------------------------------

bool TkSerial::setFlag(SERIAL_FLAGS line) {
    return m_device && m_device->setLine(modemLine(line), true);
}

bool TkSerial::clrFlag(SERIAL_FLAGS line) {
    return m_device && m_device->setLine(modemLine(line), false);
}

int TkSerial::getFlag(SERIAL_FLAGS line) {
    return m_device ? m_device->readLine(modemLine(line)) : -1;
}
