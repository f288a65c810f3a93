#ifndef TKPARAMETERTABLE_H
#define TKPARAMETERTABLE_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

/// A wait for the value of a key. It begins with expect(); who asks the far end calls asked() when
/// the question goes out.
struct TkExpectation {
    int key;
    bool asked;             // the two below, and this, are guarded by the table's lock
    unsigned long told;     // how many known values the far end had told
    unsigned long assigned; // and the application had assigned
};

/// The parameters of a far end, by key. The keys are declared once; a value that isn't known is
/// Tk::VALUE_UNKNOWN.
///
/// Reading takes no lock, so that nobody waits behind a dispatcher that is running. Who waits for a
/// value sleeps until one is stored.
class TkParameterTable {
  public:
    explicit TkParameterTable(const std::vector<int> &keys);

    bool declares(int key) const { return find(key) != nullptr; }

    /// The value of a key, unknown for one that isn't declared.
    int value(int key) const;

    /// Stores a value that the application assigns. False for a key that isn't declared.
    bool assign(int key, int value);

    /// Stores a value that the far end tells, and gives through `before` what stood there. False as
    /// above.
    bool exchange(int key, int value, int &before);

    /// Makes every value unknown.
    void forget();

    /// Keeps the value of a key while the dispatchers are told of it: who expects another one
    /// meanwhile leaves it to them. One at a time.
    class Telling {
      public:
        Telling(TkParameterTable &table, int key) : m_Table(table) { m_Table.m_nTold = key; }
        ~Telling() { m_Table.m_nTold = NONE; }
        Telling(const Telling &) = delete;
        Telling &operator=(const Telling &) = delete;

      private:
        TkParameterTable &m_Table;
    };

    /// Begins a wait for the value of a declared key, which becomes unknown, unless it is just
    /// being told.
    void expect(int key, TkExpectation &expectation);

    /// The question goes out: what the far end has told until now answered older ones. Makes the
    /// value unknown again.
    void asked(TkExpectation &expectation);

    /// Blocks until a known value has been told after asked(), or assigned after expect(), be it
    /// gone again, or `limit` ms have passed, which gives false.
    bool await(const TkExpectation &expectation, unsigned long limit);

  private:
    struct Entry {
        int key = 0;
        std::atomic<int> value{0};
        // How many known values were stored; guarded by m_Mutex
        unsigned long told = 0;
        unsigned long assigned = 0;
    };

    static constexpr int NONE = 0;

    Entry *find(int key) const;
    bool store(int key, int value, unsigned long Entry::*count, int &before);

    std::size_t m_nEntries;
    std::unique_ptr<Entry[]> m_pEntries; // in the order of their keys
    std::mutex m_Mutex;                  // guards the writing of entries and all below; a leaf
    std::condition_variable m_Stored;
    int m_nWaiting = 0;
    std::atomic<int> m_nTold{NONE}; // the key of which dispatchers are being told
};

#endif
