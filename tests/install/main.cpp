// A program of somebody else's: all that it knows of the library is what was installed.
#include "tkgen.h"
#include "tkversion.h"

#include <atomic>
#include <cstdio>

extern "C" int windowWorks(void);

class Counter : public TkThread {
  public:
    ~Counter() override { stopControl(); }
    std::atomic<int> m_nCycles{0};

  protected:
    void threadCycle() override { ++m_nCycles; }
};

int main() {
    Counter counter;
    TkTimer limit(10000);
    counter.startControl();
    while (counter.m_nCycles < 2 && !limit.timedOut())
        TkThread::tksleep(1);
#if defined(TKGEN_STATIC)
    std::puts(TKGEN_VERSION " static");
#else
    std::puts(TKGEN_VERSION " shared");
#endif
    return counter.m_nCycles >= 2 && windowWorks() ? 0 : 1;
}
