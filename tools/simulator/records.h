#ifndef TKSIM_RECORDS_H
#define TKSIM_RECORDS_H

#include "record_table.h"

namespace tksim {

/// What the generator holds in its records, in every form of the table by itself, and its answers
/// to reads and writes. The revision is handed in, as the panel can change it.
class Records {
  public:
    explicit Records(Family family);

    /// Answers a sound binary frame: a read by the record's reply, a write by an ACK, and what the
    /// table doesn't have, in code, revision, length, direction byte or instance, by a NAK.
    Bytes answer(const Bytes &frame, int revision);

    /// The data of an instance of a form, for the panel to see and change; null where there is
    /// none.
    Bytes *find(const RecordRow &row, std::size_t instance);

    /// Replies lack so many bytes at the end of their data, and say so.
    void shorten(std::size_t bytes) { m_Missing = bytes; }

    /// Replies carry the code of another record.
    void misfile(bool on) { m_Misfiled = on; }

  private:
    Bytes reply(const RecordRow &row, int revision, Bytes data) const;

    std::vector<std::vector<Bytes>> m_Data; ///< instances of each row of the table
    std::size_t m_Turn = 0;
    std::size_t m_Missing = 0;
    bool m_Misfiled = false;
};

} // namespace tksim

#endif
