#ifndef TKTRANSFER_PROGRAM_H
#define TKTRANSFER_PROGRAM_H

#include "link.h"
#include "tkzmodem_receive.h"
#include "tkzmodem_send.h"

#include <memory>
#include <string>

/// How a transfer ended, beside its events. Its thread writes it, others read it once that has
/// ended.
struct Outcome {
    int result = TkZModem::FAILED;
    int lastHeader = 0;
    unsigned long files = 0; // that were offered
    unsigned long bytes = 0; // of the last file
    unsigned long size = 0;
    std::string name;
    std::string place; // a receiver's last file
};

inline int runTransfer(TkZModem_Send &transfer) {
    return transfer.transferFile();
}

inline int runTransfer(TkZModem_Receive &transfer) {
    return transfer.receive();
}

/// A transfer that keeps its outcome, and tells the peer by a cancel sequence when it failed.
template <class Base>
class Transfer final : public Base {
  public:
    Transfer(const std::string &path, TransferLink &link, Outcome &outcome, const Wakeup &wakeup)
        : Base(path.c_str(), &link), m_Link(link), m_Outcome(outcome), m_Wakeup(wakeup) {}
    ~Transfer() override { this->endThread(); }

    void threadCycle() override {
        const Ring ring{m_Wakeup}; // last, when the thread is known to stop
        const typename Base::LastCycle last(*this);
        const int result = runTransfer(*this);
        const std::string name = this->fileName();
        m_Outcome = {result,
                     this->m_nHeaderType,
                     this->m_nCurrentFile,
                     this->m_nBytesTransferred,
                     this->m_nTotalSize,
                     name,
                     this->m_FilePath + name};
        const bool byPeer = result == TkZModem::CANCELLED && !this->isCancelled();
        if (result != TkZModem::SESSION_ENDED && !byPeer && !m_Link.hasSentCancel()) {
            this->sendCancelPacket();
        }
    }

  private:
    struct Ring {
        const Wakeup &wakeup;
        ~Ring() { wakeup.ring(); }
    };

    TransferLink &m_Link;
    Outcome &m_Outcome;
    const Wakeup &m_Wakeup;
};

/// What the two programs differ in.
struct Program {
    const char *name;
    const char *description;
    const char *argument; // what it is about
    const char *argumentHelp;
    bool sends;

    /// Why nothing can be done with the argument; empty when it can.
    std::string (*complaint)(const std::string &path);

    std::unique_ptr<TkZModem> (*make)(const std::string &path, TransferLink &link, Outcome &outcome,
                                      const Wakeup &wakeup);

    /// Why a transfer failed, where that isn't the same for both; empty otherwise.
    std::string (*reason)(const std::string &path, const Outcome &outcome);

    /// Whether the files are through although the transfer was cancelled.
    bool (*isThrough)(const Outcome &outcome);
};

/// The whole of a program: its exit code.
int runProgram(const Program &program, int argc, char **argv);

#endif
