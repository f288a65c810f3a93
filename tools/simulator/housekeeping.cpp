#include "housekeeping.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace tksim {

namespace {

constexpr std::size_t dateToTheMinute = 6;
constexpr std::size_t entrySize = 19;
constexpr std::size_t mostEntries = 255;

constexpr std::size_t hoursGroup = 2;
constexpr std::size_t generatorGroup = 3;
constexpr Milliseconds hour = 3600000;

/// Errors of the past: how many seconds ago, and with which technique. That is kV, codes of mA, mAs
/// and time, density, receptor, technique, focus, film screen, fields, kV and mA of fluoroscopy.
struct Past {
    std::int64_t ago;
    int code;
    Bytes technique;
};

const std::vector<Past> &pastErrors() {
    static const std::vector<Past> errors{
        {2592000, 12, {70, 0, 3, 7, 0, 0, 0, 0, 0, 2, 70, 20}},
        {260000, 204, {110, 10, 18, 15, 1, 1, 1, 1, 1, 5, 70, 20}},
        {72000, 46, {81, 5, 12, 12, 0xFE, 3, 0, 0, 1, 2, 95, 35}},
    };
    return errors;
}

} // namespace

Bytes Clock::date(Milliseconds now) const {
    const auto passed = static_cast<std::int64_t>((now - m_SetAt) / 1000);
    const std::time_t seconds = m_SetTo + passed;
    std::tm date{};
    gmtime_r(&seconds, &date);
    const int year = date.tm_year + 1900;
    Bytes bytes;
    for (const int value :
         {year >> 8, year, date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec}) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

bool Clock::set(const Bytes &date, Milliseconds now) {
    std::tm wanted{};
    wanted.tm_year = (date[0] << 8) + date[1] - 1900;
    wanted.tm_mon = date[2] - 1;
    wanted.tm_mday = date[3];
    wanted.tm_hour = date[4];
    wanted.tm_min = date[5];
    wanted.tm_sec = date[6];
    const std::time_t seconds = timegm(&wanted);
    // What no calendar has was taken for a later date.
    if (Clock(seconds).date(0) != date) {
        return false;
    }
    m_SetTo = seconds;
    m_SetAt = now;
    return true;
}

ErrorLog::ErrorLog(std::int64_t utc) {
    for (const Past &past : pastErrors()) {
        add(past.code, Clock(utc - past.ago).date(0), past.technique);
    }
}

void ErrorLog::add(int code, const Bytes &date, const Bytes &technique) {
    Bytes entry{static_cast<std::uint8_t>(code)};
    entry.insert(entry.end(), date.begin(), date.begin() + dateToTheMinute);
    entry.insert(entry.end(), technique.begin(), technique.end());
    m_Entries.push_front(std::move(entry));
    m_Entries.resize(std::min(m_Entries.size(), mostEntries));
    m_Number += m_Number > 0;
}

Bytes ErrorLog::turn(bool toNewest) {
    m_Number = toNewest ? 1 : std::min(m_Number, m_Entries.size()) + 1;
    return tell();
}

Bytes ErrorLog::tell() const {
    const bool there = m_Number > 0 && m_Number <= m_Entries.size();
    Bytes data{static_cast<std::uint8_t>(m_Entries.size()),
               static_cast<std::uint8_t>(there ? m_Number : 0)};
    const Bytes entry = there ? m_Entries[m_Number - 1] : Bytes(entrySize);
    data.insert(data.end(), entry.begin(), entry.end());
    return data;
}

void Statistics::exposed(int tube) {
    add(static_cast<std::size_t>(tube - 1), 1);
    add(generatorGroup, 1);
}

void Statistics::fluoroscopied(Milliseconds length) {
    m_Fluoroscopy += length;
    add(hoursGroup, static_cast<std::uint32_t>(m_Fluoroscopy / hour));
    m_Fluoroscopy %= hour;
}

bool Statistics::reset(int counter) {
    if (counter < 1 || counter > static_cast<int>(generatorGroup)) {
        return false;
    }
    put(static_cast<std::size_t>(counter - 1), 0);
    return true;
}

void Statistics::add(std::size_t group, std::uint32_t count) {
    const std::uint8_t *bytes = &m_Data[group * 4];
    put(group, (std::uint32_t{bytes[1]} << 16) + (std::uint32_t{bytes[2]} << 8) + bytes[3] + count);
}

void Statistics::put(std::size_t group, std::uint32_t count) {
    for (std::size_t i = 3; i > 0; --i, count >>= 8) {
        m_Data[group * 4 + i] = static_cast<std::uint8_t>(count);
    }
}

} // namespace tksim
