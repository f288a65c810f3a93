#include "tkzmodem.h"

#include "tk.h"
#include "tkcomms.h"
#include "tkdispatchers.h"
#include "tkdispatchmanager.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace {

/// CANFDX, CANOVIO and CANFC32 in the last byte, and no limit to the receive buffer.
constexpr std::uint32_t STREAMING = 0x23000000;

/// The last rates, from which the time left is estimated.
class RateWindow {
  public:
    /// Appends a rate, to an empty window at the start of a transfer, and returns the mean.
    std::uint64_t meanWith(std::uint32_t rate, bool start) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (start) {
            m_nCount = 0;
        }
        m_Rates[m_nCount++ % m_Rates.size()] = rate;
        const std::size_t held = std::min(m_nCount, m_Rates.size());
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < held; ++i) {
            sum += m_Rates[i];
        }
        return sum / held;
    }

  private:
    std::mutex m_Mutex; // guards both below; a leaf
    std::array<std::uint32_t, 10> m_Rates{};
    std::size_t m_nCount = 0;
};

RateWindow rateWindow; // one for all transfers

} // namespace

TkZModem::TkZModem(TkComms *device)
    : m_pDevice(device), m_nReceiverFlags(STREAMING), m_nRequestValue(STREAMING),
      m_nFileHeaderValue(0), m_RateTimer(0) {
    constexpr std::size_t largestSubpacket = 2 * TRANSFER_BLOCK_SIZE + 6;
    m_Out.reserve(largestSubpacket);
}

TkZModem::~TkZModem() {
    endThread();
    closeFile();
}

void TkZModem::start() {
    startControl();
}

void TkZModem::threadCycle() {
    stopThread();
}

void TkZModem::stopThread() {
    endAfterCycle();
}

TkZModem::LastCycle::~LastCycle() {
    m_Transfer.closeFile();
    m_Transfer.stopThread();
}

bool TkZModem::isTransferComplete() {
    return isThreadActive();
}

void TkZModem::cancelTransfer(bool cancel) {
    m_bCancel = cancel;
}

bool TkZModem::closeFile() {
    std::FILE *const file = m_pFile;
    m_pFile = nullptr;
    return file && std::fclose(file) == 0;
}

void TkZModem::fire(EVENTS event) {
    Tk::m_DispatchManager.dispatchMsg(TkZModemDispatcher::CLASS, event, nullptr);
}

// --- Counters ------------------------------------------------------------------------------------

unsigned long TkZModem::getTotalTransferSize() const {
    return m_nTotalSize;
}

unsigned long TkZModem::getTotalBytesTransfered() const {
    return m_nBytesTransferred;
}

unsigned long TkZModem::getTotalBlocksTransfered() const {
    return m_nBlocksTransferred;
}

unsigned long TkZModem::getCurrentFile() const {
    return m_nCurrentFile;
}

unsigned long TkZModem::getNumFiles() const {
    return m_nNumFiles;
}

unsigned long TkZModem::getCPS() const {
    return m_nCPS;
}

unsigned long TkZModem::getSecondsRemaining() const {
    return m_nSecondsRemaining;
}

char const *TkZModem::getCurrentFileName() const {
    // The thread's own copy: the next file may begin while the caller still reads this one's.
    thread_local std::string name;
    name = fileName();
    return name.c_str();
}

void TkZModem::setFileName(const std::string &name) {
    const std::lock_guard<std::mutex> lock(m_NameMutex);
    m_FileName = name;
}

std::string TkZModem::fileName() const {
    const std::lock_guard<std::mutex> lock(m_NameMutex);
    return m_FileName;
}

unsigned long TkZModem::updateCPS() {
    const std::uint64_t time = m_RateTimer.elapsedTime();
    const std::uint64_t bytes = m_nBytesTransferred - m_nMeasureStart;
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    m_nCPS = time == 0 ? 0 : static_cast<std::uint32_t>(std::min(bytes * 1000 / time, most));
    return m_nCPS;
}

unsigned long TkZModem::updateSecondsRemaining() {
    const std::uint64_t mean = rateWindow.meanWith(m_nCPS, m_nBlocksTransferred == 0);
    const std::uint32_t total = m_nTotalSize;
    const std::uint32_t done = m_nBytesTransferred;
    const bool known = m_nCPS != 0 && mean != 0 && total > done; // the peer may say anything
    m_nSecondsRemaining = known ? static_cast<std::uint32_t>((total - done) / mean) : 0;
    return m_nSecondsRemaining;
}
