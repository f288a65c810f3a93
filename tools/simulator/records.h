#ifndef TKSIM_RECORDS_H
#define TKSIM_RECORDS_H

#include "housekeeping.h"
#include "record_table.h"

namespace tksim {

/// What the generator holds in its records, in every form of the table by itself, and its answers
/// to reads and writes. The revision is handed in, as the panel can change it.
class Records {
  public:
    /// `utc` is in seconds since 1970, at time 0.
    Records(Family family, std::int64_t utc);

    // The statistics refer to the data.
    Records(const Records &) = delete;
    Records &operator=(const Records &) = delete;

    /// Answers a sound binary frame: a read by the record's reply, a write by an ACK, and what the
    /// table doesn't have, in code, revision, length, direction byte or instance, by a NAK.
    Bytes answer(const Bytes &frame, int revision, Milliseconds now);

    /// The data of an instance of a form, for the panel to see; null where there is none.
    const Bytes *find(const RecordRow &row, std::size_t instance, Milliseconds now);

    /// Changes one byte of such data. False when the clock would tell no date.
    bool change(const RecordRow &row, std::size_t instance, std::size_t offset, std::uint8_t value,
                Milliseconds now);

    /// An error was raised while that technique was in force.
    void logError(int code, const Bytes &technique, Milliseconds now);

    Statistics &statistics() { return m_Statistics; }

    /// Replies lack so many bytes at the end of their data, and say so.
    void shorten(std::size_t bytes) { m_Missing = bytes; }

    /// Replies carry the code of another record.
    void misfile(bool on) { m_Misfiled = on; }

  private:
    Bytes &dataOf(Form form);
    Bytes *dataAt(const RecordRow &row, std::size_t instance, Milliseconds now);
    bool write(const RecordRow &row, Bytes &data, const Bytes &content, Milliseconds now);
    bool take(const RecordRow &row, Bytes &data, Bytes wanted, Milliseconds now);
    Bytes reply(const RecordRow &row, int revision, Bytes data) const;

    std::vector<std::vector<Bytes>> m_Data; ///< instances of each row of the table
    Clock m_Clock;
    ErrorLog m_Log;
    Statistics m_Statistics;
    std::size_t m_Turn = 0;
    std::size_t m_Missing = 0;
    bool m_Misfiled = false;
};

} // namespace tksim

#endif
