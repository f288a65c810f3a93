#include "tkparametertable.h"

#include "tk.h"
#include "tktimedwait.h"

#include <algorithm>

TkParameterTable::TkParameterTable(const std::vector<int> &keys)
    : m_nEntries(keys.size()), m_pEntries(new Entry[keys.size()]) {
    std::vector<int> sorted(keys);
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < m_nEntries; ++i) {
        m_pEntries[i].key = sorted[i];
        m_pEntries[i].value = Tk::VALUE_UNKNOWN;
    }
}

TkParameterTable::Entry *TkParameterTable::find(int key) const {
    Entry *const end = m_pEntries.get() + m_nEntries;
    Entry *const entry = std::lower_bound(
        m_pEntries.get(), end, key, [](const Entry &one, int wanted) { return one.key < wanted; });
    return entry != end && entry->key == key ? entry : nullptr;
}

int TkParameterTable::value(int key) const {
    const Entry *const entry = find(key);
    return entry == nullptr ? Tk::VALUE_UNKNOWN : entry->value.load(std::memory_order_acquire);
}

bool TkParameterTable::assign(int key, int value) {
    int before = 0;
    return store(key, value, &Entry::assigned, before);
}

bool TkParameterTable::exchange(int key, int value, int &before) {
    return store(key, value, &Entry::told, before);
}

bool TkParameterTable::store(int key, int value, unsigned long Entry::*count, int &before) {
    Entry *const entry = find(key);
    if (entry == nullptr) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_Mutex);
    before = entry->value.exchange(value, std::memory_order_acq_rel);
    if (value != Tk::VALUE_UNKNOWN) {
        ++(entry->*count);
        if (m_nWaiting > 0) {
            m_Stored.notify_all();
        }
    }
    return true;
}

void TkParameterTable::forget() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    for (std::size_t i = 0; i < m_nEntries; ++i) {
        m_pEntries[i].value.store(Tk::VALUE_UNKNOWN, std::memory_order_release);
    }
}

void TkParameterTable::expect(int key, TkExpectation &expectation) {
    Entry *const entry = find(key);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_nTold != key) {
        entry->value.store(Tk::VALUE_UNKNOWN, std::memory_order_release);
    }
    expectation = {key, false, 0, entry->assigned};
}

void TkParameterTable::asked(TkExpectation &expectation) {
    Entry *const entry = find(expectation.key);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    entry->value.store(Tk::VALUE_UNKNOWN, std::memory_order_release);
    expectation.asked = true;
    expectation.told = entry->told;
}

bool TkParameterTable::await(const TkExpectation &expectation, unsigned long limit) {
    const Entry *const entry = find(expectation.key);
    const auto known = [&] {
        const bool told = expectation.asked && entry->told != expectation.told;
        return told || entry->assigned != expectation.assigned;
    };
    std::unique_lock<std::mutex> lock(m_Mutex);
    ++m_nWaiting;
    const bool stored = tkTimedWait(m_Stored, lock, limit, known);
    --m_nWaiting;
    return stored;
}
