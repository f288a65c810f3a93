#include "program.h"
#include "shown.h"

#include <cerrno>
#include <limits>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string complaint(const std::string &path) {
    const std::string shown = shownText(path);
    struct stat facts {};
    const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    const int error = errno;
    if (file >= 0) {
        ::fstat(file, &facts);
        ::close(file);
    } else {
        return "can't read " + shown + ": " + std::generic_category().message(error);
    }
    if (!S_ISREG(facts.st_mode)) {
        return shown + " is no regular file";
    }
    if (facts.st_size == 0) {
        return shown + " is empty, which can't be sent";
    }
    if (facts.st_size > std::numeric_limits<std::uint32_t>::max()) {
        return shown + " has 4 GiB or more, which can't be sent";
    }
    return "";
}

std::unique_ptr<TkZModem> make(const std::string &path, TransferLink &link, Outcome &outcome,
                               const Wakeup &wakeup) {
    return std::make_unique<Transfer<TkZModem_Send>>(path, link, outcome, wakeup);
}

std::string reason(const std::string &path, const Outcome &outcome) {
    switch (outcome.result) {
    case TkZModem::SESSION_ENDED:
        return "the far end doesn't want the file";
    case TkZModem::CANCELLED:
        return outcome.lastHeader == TkZModem::ZRPOS && outcome.bytes == outcome.size
                   ? "the far end asked for what is behind the end of the file"
                   : "";
    case TkZModem::FAILED:
        return complaint(path);
    default:
        return "";
    }
}

/// The events have told.
bool isThrough(const Outcome & /*outcome*/) {
    return false;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram({"tkgen-send", "Sends a file by ZMODEM.", "FILE",
                       "The file, of 1 byte to 4 GiB; the far end is told its name", true,
                       complaint, make, reason, isThrough},
                      argc, argv);
}
