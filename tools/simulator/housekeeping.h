#ifndef TKSIM_HOUSEKEEPING_H
#define TKSIM_HOUSEKEEPING_H

#include "frame.h"

#include <deque>

/// What the generator keeps of its own accord and tells in records: the time, errors and counts.
namespace tksim {

/// The calendar, which runs on from where it was set.
class Clock {
  public:
    /// `utc` is in seconds since 1970, at time 0.
    explicit Clock(std::int64_t utc) : m_SetTo(utc) {}

    /// The year in two bytes, month, day, hour, minute, second.
    Bytes date(Milliseconds now) const;

    /// False for a date that no calendar has.
    bool set(const Bytes &date, Milliseconds now);

  private:
    std::int64_t m_SetTo;
    Milliseconds m_SetAt = 0;
};

/// The last 255 errors, newest first, each with its date and the technique that was in force.
class ErrorLog {
  public:
    /// Begins with some errors of the days before `utc`.
    explicit ErrorLog(std::int64_t utc);

    /// The technique is in the twelve bytes of a record's end.
    void add(int code, const Bytes &date, const Bytes &technique);

    /// Turns to the newest entry, or to the next, and tells it. An error that comes in between
    /// moves no entry past the reader.
    Bytes turn(bool toNewest);

    /// The record of the entry turned to: none at the start, nor past the oldest.
    Bytes tell() const;

  private:
    std::deque<Bytes> m_Entries; ///< code, date to the minute, technique
    std::size_t m_Number = 0;    ///< of the entry turned to, from 1
};

/// Counters of exposures and of hours of fluoroscopy, kept in a record: four groups of a byte that
/// stands for nothing and 24 bits.
class Statistics {
  public:
    explicit Statistics(Bytes &data) : m_Data(data) {}

    void exposed(int tube);
    void fluoroscopied(Milliseconds length);

    /// Sets a counter back: 1 and 2 the tubes' exposures, 3 the hours. There is no other.
    bool reset(int counter);

  private:
    void add(std::size_t group, std::uint32_t count);
    void put(std::size_t group, std::uint32_t count);

    Bytes &m_Data;
    Milliseconds m_Fluoroscopy = 0; ///< short of an hour
};

} // namespace tksim

#endif
