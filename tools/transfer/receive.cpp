#include "program.h"
#include "shown.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

namespace {

std::string complaint(const std::string &path) {
    struct stat facts {};
    if (::stat(path.c_str(), &facts) != 0) {
        return "can't use " + shownText(path) + ": " + std::generic_category().message(errno);
    }
    return S_ISDIR(facts.st_mode) ? "" : shownText(path) + " is no directory";
}

std::unique_ptr<TkZModem> make(const std::string &path, TransferLink &link, Outcome &outcome,
                               const Wakeup &wakeup) {
    const std::string directory = path.back() == '/' ? path : path + '/';
    return std::make_unique<Transfer<TkZModem_Receive>>(directory, link, outcome, wakeup);
}

/// Whether the last file is as it was received.
bool isOnDisk(const Outcome &outcome) {
    struct stat facts {};
    return ::stat(outcome.place.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) &&
           static_cast<unsigned long>(facts.st_size) == outcome.bytes;
}

std::string reason(const std::string & /*path*/, const Outcome &outcome) {
    const bool isUnwritten =
        outcome.result == TkZModem::FAILED && !outcome.name.empty() && !isOnDisk(outcome);
    return isUnwritten ? "can't write " + shownText(outcome.place) : "";
}

/// A sender that has said good-bye and gone without waiting for ours.
bool isThrough(const Outcome &outcome) {
    return outcome.result == TkZModem::CANCELLED && outcome.lastHeader == TkZModem::ZFIN;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram({"tkgen-receive", "Receives files by ZMODEM, and overwrites those there are.",
                       "DIR", "The directory to put them in", false, complaint, make, reason,
                       isThrough},
                      argc, argv);
}
