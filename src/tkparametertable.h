#ifndef TKPARAMETERTABLE_H
#define TKPARAMETERTABLE_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

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

    /// Stores a value. False for a key that isn't declared.
    bool store(int key, int value);

    /// Stores a value and tells through `before` what stood there. False as above.
    bool exchange(int key, int value, int &before);

    /// Makes every value unknown.
    void forget();

    /// A wait for a key's next value.
    struct Expectation {
        int key;
        unsigned long stored; // how many known values the entry had had
    };

    /// Makes the value of a declared key unknown. What is stored from then on ends await().
    Expectation expect(int key);

    /// Blocks until a known value has been stored, be it gone again, or `limit` ms have passed,
    /// which gives false.
    bool await(const Expectation &expectation, unsigned long limit);

  private:
    struct Entry {
        int key = 0;
        std::atomic<int> value{0};
        unsigned long stored = 0; // guarded by m_Mutex
    };

    Entry *find(int key) const;

    std::size_t m_nEntries;
    std::unique_ptr<Entry[]> m_pEntries; // in the order of their keys
    std::mutex m_Mutex;                  // guards the writing of entries and all below; a leaf
    std::condition_variable m_Stored;
    int m_nWaiting = 0;
};

#endif
