#ifndef TKPROGRAMS_LOG_H
#define TKPROGRAMS_LOG_H

#include <mutex>
#include <string>

/// Lines with date and time on standard output, at once. From any thread.
class Log {
  public:
    void line(const std::string &text);

  private:
    std::mutex m_Mutex; // keeps a line in one piece; a leaf
};

#endif
