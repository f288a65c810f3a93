#include "tkbinary_custom.h"

#include "tkrecordwalk.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr std::size_t MOST = 0xFFFF - 1; // bytes of variables that a length tells, with a parameter

/// In the order of the variant's alternatives.
constexpr const char *TYPES[] = {"CHAR", "UNSIGNED CHAR", "SHORT", "UNSIGNED SHORT",
                                 "INT",  "UNSIGNED INT",  "STRING"};

// Bytes on the wire, address for the application, and the way to the wire and from it.

template <class Number>
std::size_t sizeOf(const Number &number) {
    return sizeof number;
}
template <class Number>
void *addressOf(Number &number) {
    return &number;
}
template <class Number>
void send(tkrecord::Writer &writer, const Number &number) {
    writer.fields(number);
}
template <class Number>
void take(tkrecord::Reader &reader, Number &number) {
    reader.fields(number);
}

using Text = std::vector<char>;

std::size_t sizeOf(const Text &text) {
    return text.size() - 1;
}
void *addressOf(Text &text) {
    return text.data();
}
/// What stands behind the text's end doesn't go out.
void send(tkrecord::Writer &writer, const Text &text) {
    const std::size_t size = sizeOf(text);
    const auto end = std::find(text.begin(), text.end() - 1, '\0');
    const auto length = static_cast<std::size_t>(end - text.begin());
    writer.text(text.data(), length);
    writer.reserved(size - length);
}
void take(tkrecord::Reader &reader, Text &text) {
    reader.text(text.data(), sizeOf(text));
}

} // namespace

TkBinary_Custom::TkBinary_Custom() : TkBinaryInterface(0) {}

TkBinary_Custom::~TkBinary_Custom() = default;

TkBinary_Custom::TkBinary_Custom(const TkBinary_Custom &other) : TkBinary_Custom() {
    *this = other;
}

TkBinary_Custom &TkBinary_Custom::operator=(const TkBinary_Custom &other) {
    if (this != &other) {
        m_Variables = std::deque<Variable>(other.m_Variables); // whole, or nothing has changed
        copyState(other);
        m_bParam = other.m_bParam;
        m_nReadParam = other.m_nReadParam;
        m_nWriteParam = other.m_nWriteParam;
        m_nSize = other.m_nSize;
    }
    return *this;
}

void TkBinary_Custom::setCommand(unsigned char command) {
    setForm({command, 0, 0}); // the lengths are those of the variables
}

void TkBinary_Custom::setReadParam(unsigned char param) {
    m_nReadParam = param;
}

void TkBinary_Custom::setWriteParam(unsigned char param) {
    m_nWriteParam = param;
}

void TkBinary_Custom::enableTransmitReadWriteParam(bool enable) {
    m_bParam = enable;
}

// --- Variables ----------------------------------------------------------------------------------

void TkBinary_Custom::add(Value value, bool inRead, bool inWrite) {
    const std::size_t size = std::visit([](const auto &held) { return sizeOf(held); }, value);
    if (size > MOST - m_nSize) {
        return;
    }
    try {
        m_Variables.push_back({std::move(value), inRead, inWrite});
        m_nSize += size;
    } catch (const std::bad_alloc &) {
        return; // count() tells
    }
}

void TkBinary_Custom::addVariable(char value, bool inRead, bool inWrite) {
    add(value, inRead, inWrite);
}

void TkBinary_Custom::addVariable(unsigned char value, bool inRead, bool inWrite) {
    add(value, inRead, inWrite);
}

void TkBinary_Custom::addVariable(short int value, bool inRead, bool inWrite) {
    add(value, inRead, inWrite);
}

void TkBinary_Custom::addVariable(unsigned short int value, bool inRead, bool inWrite) {
    add(value, inRead, inWrite);
}

void TkBinary_Custom::addVariable(int value, bool inRead, bool inWrite) {
    add(value, inRead, inWrite);
}

void TkBinary_Custom::addVariable(unsigned int value, bool inRead, bool inWrite) {
    add(value, inRead, inWrite);
}

void TkBinary_Custom::addVariable(const char *text, int size, bool inRead, bool inWrite) {
    if (size < 0 || static_cast<std::size_t>(size) > MOST) {
        return;
    }
    const auto most = static_cast<std::size_t>(size);
    try {
        Text held(most + 1);
        if (text != nullptr) {
            std::copy_n(text, lengthOf(text, most), held.begin());
        }
        add(std::move(held), inRead, inWrite);
    } catch (const std::bad_alloc &) {
        return;
    }
}

unsigned int TkBinary_Custom::count() const {
    return static_cast<unsigned int>(m_Variables.size());
}

bool TkBinary_Custom::has(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < m_Variables.size();
}

const char *TkBinary_Custom::getType(int index) const {
    return has(index) ? TYPES[m_Variables[static_cast<std::size_t>(index)].value.index()] : nullptr;
}

void *TkBinary_Custom::getValue(int index) {
    return has(index) ? std::visit([](auto &held) { return addressOf(held); },
                                   m_Variables[static_cast<std::size_t>(index)].value)
                      : nullptr;
}

void TkBinary_Custom::clear() {
    m_Variables.clear();
    m_nSize = 0;
}

// --- Frames -------------------------------------------------------------------------------------

int TkBinary_Custom::sizeWith(bool Variable::*sent) const {
    std::size_t size = m_bParam ? 1 : 0;
    for (const Variable &each : m_Variables) {
        if (each.*sent) {
            size += std::visit([](const auto &held) { return sizeOf(held); }, each.value);
        }
    }
    return static_cast<int>(size);
}

int TkBinary_Custom::calculateReadCmdSize() const {
    return sizeWith(&Variable::inRead);
}

int TkBinary_Custom::calculateWriteCmdSize() const {
    return sizeWith(&Variable::inWrite);
}

std::vector<unsigned char> TkBinary_Custom::generateCommand(int mode) {
    const bool reads = tkrecord::kindOf(mode) == tkrecord::Kind::request;
    bool Variable::*const sent = reads ? &Variable::inRead : &Variable::inWrite;
    std::vector<unsigned char> frame = head(sizeWith(sent));
    tkrecord::Writer writer(frame, tkrecord::Kind::write, 0); // puts whatever it is given
    if (m_bParam) {
        writer.inPlaceOfDirection(reads ? m_nReadParam : m_nWriteParam);
    }
    for (const Variable &each : m_Variables) {
        if (each.*sent) {
            std::visit([&](const auto &held) { send(writer, held); }, each.value);
        }
    }
    frame.push_back(calculateCheckSum(&frame));
    return frame;
}

bool TkBinary_Custom::receiveMsg(std::vector<unsigned char> *frame) {
    if (frame == nullptr) {
        return false;
    }
    tkrecord::Reader reader(tkrecord::dataOf(*frame), 0);
    for (Variable &each : m_Variables) {
        std::visit([&](auto &held) { take(reader, held); }, each.value);
    }
    return true;
}

bool TkBinary_Custom::isValid() {
    return true;
}

void TkBinary_Custom::clearValid() {}
