#ifndef TKGEN_TESTS_LINK_H
#define TKGEN_TESTS_LINK_H

#include "support/wire.h"
#include "tkcomms.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A link in memory: the test says what arrives and sees what was written. Safe on any thread.
class MemoryLink : public TkComms {
  public:
    /// What the far end says to a frame that was written.
    using Answers = std::function<std::string(const std::string &written)>;

    explicit MemoryLink(Answers answers = nullptr) : m_Answers(std::move(answers)) {}

    void arrive(const std::string &bytes) {
        const std::lock_guard<std::mutex> lock(m_Lock);
        m_Arrived.insert(m_Arrived.end(), bytes.begin(), bytes.end());
    }

    /// The blocks written since the last call.
    std::vector<std::string> written() {
        const std::lock_guard<std::mutex> lock(m_Lock);
        return std::exchange(m_Written, {});
    }

    bool drained() {
        const std::lock_guard<std::mutex> lock(m_Lock);
        return m_Arrived.empty();
    }

    int read_ch(char *byte) override {
        const std::lock_guard<std::mutex> lock(m_Lock);
        if (m_Arrived.empty()) {
            return 0;
        }
        *byte = m_Arrived.front();
        m_Arrived.pop_front();
        return 1;
    }
    int write_ch(char byte) override { return write_str(&byte, 1); }
    int write_str(char *bytes, unsigned int length) override {
        const std::lock_guard<std::mutex> lock(m_Lock);
        m_Written.emplace_back(bytes, length);
        if (m_Answers) {
            const std::string answer = m_Answers(m_Written.back());
            m_Arrived.insert(m_Arrived.end(), answer.begin(), answer.end());
        }
        return static_cast<int>(length);
    }
    bool enableBlocking(bool) override { return true; }
    unsigned long timeoutPeriod() override { return 750; }
    bool isOpen() override { return true; }

  private:
    std::mutex m_Lock;
    const Answers m_Answers;
    std::deque<char> m_Arrived;
    std::vector<std::string> m_Written;
};

/// A generator's answers in short: a query gives the value of the same three letters or fewer, in
/// three digits; everything else is echoed.
inline std::string echo(const std::string &written) {
    const std::string item = written.substr(0, written.size() - 2);
    return item.back() == '?' ? frame(item.substr(0, item.size() - 1) + "070") : written;
}

#endif
