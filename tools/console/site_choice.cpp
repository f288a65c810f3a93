#include "site_choice.h"

#include <algorithm>
#include <optional>

namespace {

using Site = RelayLine::Site;

const Site *siteAt(const std::vector<Site> &sites, const std::string &address) {
    const auto found = std::find_if(sites.begin(), sites.end(),
                                    [&](const Site &each) { return each.address == address; });
    return found == sites.end() ? nullptr : &*found;
}

std::string wordsOf(const Site &site) {
    return site.description.empty() ? site.address : site.address + "  " + site.description;
}

std::string typedLine(Input &input, Display &display, const Wakeup &wakeup) {
    for (;;) {
        if (const auto line = input.nextLine()) {
            display.promptUsed();
            return *line;
        }
        if (wakeup.interrupted() || input.atEnd()) {
            throw NoLine("no site was chosen");
        }
        display.showPrompt();
        if (wakeup.wait(input.fd(), -1, std::nullopt)) {
            input.read();
        }
    }
}

const Site &typedChoice(const std::vector<Site> &sites, Input &input, Display &display,
                        const Wakeup &wakeup) {
    display.line(Kind::note, "which one? type its address");
    for (;;) {
        const std::string address = typedLine(input, display, wakeup);
        if (const Site *const site = siteAt(sites, address)) {
            return *site;
        }
        display.line(Kind::failed, address + ": no such site");
    }
}

} // namespace

std::string connectToSite(RelayLine &line, const std::string &address, bool typed, Input &input,
                          Display &display, const Wakeup &wakeup) {
    const std::vector<Site> sites = line.sites();
    for (const Site &each : sites) {
        display.line(Kind::note, "site " + wordsOf(each));
    }
    const Site *site = siteAt(sites, address);
    if (address.empty() && sites.size() == 1) {
        site = &sites.front();
    } else if (address.empty() && typed && !sites.empty()) {
        site = &typedChoice(sites, input, display, wakeup);
    }
    if (!site) {
        throw NoLine(!address.empty() ? "the relay knows no site " + address
                     : sites.empty()  ? "the relay knows no site"
                                      : "the relay knows several sites, --site tells which");
    }
    line.connect(site->address);
    return wordsOf(*site);
}
