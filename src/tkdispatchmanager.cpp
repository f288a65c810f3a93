#include "tkdispatchmanager.h"

#include "tkconsolevocabulary.h"
#include "tkdispatchers.h"
#include "tkevent.h"
#include "tkvocabulary.h"
#include "tkwaits.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <new>

namespace {

/// Events whose numbers run in step with their operations, from `first` on.
template <class Dispatcher, std::size_t N>
struct Range {
    int first;
    std::array<TkEvent<Dispatcher>, N> events;

    constexpr TkEvent<Dispatcher> event(int command) const {
        const bool holds = command >= first && command < first + static_cast<int>(N);
        return holds ? events[static_cast<std::size_t>(command - first)] : TkEvent<Dispatcher>();
    }
};

/// Events that stand in a vocabulary.
template <class Table>
auto eventOf(int command) -> decltype(Table::find(command)->event) {
    const auto *const row = Table::find(command);
    return row ? row->event : decltype(row->event)();
}

} // namespace

/// Which operation an event is, class by class. Those of the generator and the consoles stand in
/// their vocabularies.
struct TkDispatchManager::Tables {
    using R = TkTCPIPDispatcher;
    using Z = TkZModemDispatcher;

    static constexpr Range<R, 13> server{
        100,
        {{&R::tcpip_Server_Failed, &R::tcpip_Server_Create, &R::tcpip_Server_Ready,
          &R::tcpip_Server_Wait_For_Connection, &R::tcpip_Server_Accept, &R::tcpip_Server_Shutdown,
          &R::tcpip_Server_Client, &R::tcpip_Server_Control, &R::tcpip_Server_Description,
          &R::tcpip_Server_Enumerate, &R::tcpip_Server_Connect, &R::tcpip_Server_Disconnect,
          &R::tcpip_Server_Logoff}}};

    static constexpr Range<R, 14> client{
        200,
        {{&R::tcpip_Client_Failed, &R::tcpip_Client_Create, &R::tcpip_Client_Logging,
          &R::tcpip_Client_Logon, &R::tcpip_Client_Description, &R::tcpip_Client_Enumerating,
          &R::tcpip_Client_Addr_Ready, &R::tcpip_Client_Data_Ready, &R::tcpip_Client_Connect,
          &R::tcpip_Client_Disconnect, &R::tcpip_Client_Message, &R::tcpip_Client_Shutdown,
          &R::tcpip_Client_Site_Down, &R::tcpip_Client_Server_Down}}};

    static constexpr Range<R, 16> control{
        300,
        {{&R::tcpip_Control_Failed, &R::tcpip_Control_Create, &R::tcpip_Control_Logging,
          &R::tcpip_Control_Logon, &R::tcpip_Control_Description, &R::tcpip_Control_Enumerating,
          &R::tcpip_Control_Addr_Ready, &R::tcpip_Control_Data_Ready, &R::tcpip_Control_Connecting,
          &R::tcpip_Control_Connected, &R::tcpip_Control_Rejected, &R::tcpip_Control_Disconnect,
          &R::tcpip_Control_Message, &R::tcpip_Control_Shutdown, &R::tcpip_Control_Site_Down,
          &R::tcpip_Control_Server_Down}}};

    static constexpr Range<Z, 5> transfer{
        0,
        {{&Z::establishing_comms, &Z::transfer_started, &Z::progress_changed,
          &Z::transfer_cancelled, &Z::transfer_complete}}};

    static TkEvent<R> relay(int command) {
        return command < client.first    ? server.event(command)
               : command < control.first ? client.event(command)
                                         : control.event(command);
    }
};

struct TkDispatchManager::Registration {
    TkBaseDispatcher *dispatcher;
    int eventClass;
    std::atomic<bool> removed{false};

    Registration(TkBaseDispatcher *d, int c) : dispatcher(d), eventClass(c) {}
};

TkDispatchManager::~TkDispatchManager() = default;

/// The registrations that still hold, with room for one more.
std::shared_ptr<TkDispatchManager::Registrations> TkDispatchManager::copyOfList() const {
    auto list = std::make_shared<Registrations>();
    if (m_pRegistrations) {
        list->reserve(m_pRegistrations->size() + 1);
        std::copy_if(m_pRegistrations->begin(), m_pRegistrations->end(), std::back_inserter(*list),
                     [](const auto &one) { return !one->removed; });
    }
    return list;
}

void TkDispatchManager::addDispatcher(TkBaseDispatcher *dispatcher) {
    if (dispatcher == nullptr) {
        return;
    }
    const auto added = std::make_shared<Registration>(dispatcher, dispatcher->rtti());
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const std::shared_ptr<Registrations> list = copyOfList();
    list->push_back(added);
    m_pRegistrations = list;
}

bool TkDispatchManager::removeDispatcher(TkBaseDispatcher *dispatcher) {
    const auto isIts = [=](const auto &one) {
        return one->dispatcher == dispatcher && !one->removed;
    };
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (!m_pRegistrations) {
            return false;
        }
        const Registrations &all = *m_pRegistrations;
        const auto found = std::find_if(all.begin(), all.end(), isIts);
        if (found == all.end()) {
            return false;
        }
        (*found)->removed = true;
        const bool registeredStill = std::any_of(found, all.end(), isIts);
        try {
            m_pRegistrations = copyOfList();
        } catch (const std::bad_alloc &) {
            // The mark does; the entry goes with the next change.
        }
        if (registeredStill) {
            return true;
        }
    }
    // A walk that has the dispatcher in its snapshot is inside it by now, or will see that it was
    // removed and not touch it.
    tkwaits::untilLeft(dispatcher, tkwaits::now(), tkwaits::Circle::giveWay);
    return true;
}

std::shared_ptr<const TkDispatchManager::Registrations> TkDispatchManager::snapshot() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_pRegistrations;
}

template <class Dispatcher>
void TkDispatchManager::deliver(int eventClass, const TkEvent<Dispatcher> &event, void *data) {
    const std::shared_ptr<const Registrations> list = event ? snapshot() : nullptr;
    if (!list) {
        return;
    }
    for (const std::shared_ptr<Registration> &one : *list) {
        if (one->eventClass != eventClass) {
            continue;
        }
        const tkwaits::Visit visit(one->dispatcher);
        if (one->removed) {
            continue;
        }
        try {
            event.fire(static_cast<Dispatcher &>(*one->dispatcher), data);
        } catch (...) {
            // The application's own failure; the producer and the other dispatchers go on.
        }
    }
}

bool TkDispatchManager::dispatchMsg(int eventClass, int command, void *data) {
    switch (eventClass) {
    case TkGenDispatcher::CLASS:
        deliver(eventClass, eventOf<TkCommandTable>(command), data);
        break;
    case TkTCPIPDispatcher::CLASS:
        deliver(eventClass, Tables::relay(command), data);
        break;
    case TkInfimedDispatcher::CLASS:
        deliver(eventClass, eventOf<TkInfimedCommandTable>(command), data);
        break;
    case TkZModemDispatcher::CLASS:
        deliver(eventClass, Tables::transfer.event(command), data);
        break;
    case TkGEHLDispatcher::CLASS:
        deliver(eventClass, eventOf<TkGEHLCommandTable>(command), data);
        break;
    default:
        break;
    }
    return true;
}

/// Delivers an event that three of the classes have under the same name.
void TkDispatchManager::deliverOfLink(int eventClass, TkEvent<TkGenDispatcher> generator,
                                      TkEvent<TkInfimedDispatcher> infimed,
                                      TkEvent<TkGEHLDispatcher> gehl) {
    if (eventClass == TkGenDispatcher::CLASS) {
        deliver(eventClass, generator, nullptr);
    } else if (eventClass == TkInfimedDispatcher::CLASS) {
        deliver(eventClass, infimed, nullptr);
    } else if (eventClass == TkGEHLDispatcher::CLASS) {
        deliver(eventClass, gehl, nullptr);
    }
}

void TkDispatchManager::lostComms(int eventClass) {
    deliverOfLink(eventClass, &TkGenDispatcher::lostComms, &TkInfimedDispatcher::lostComms,
                  &TkGEHLDispatcher::lostComms);
}

void TkDispatchManager::CommsReEstablished(int eventClass) {
    deliverOfLink(eventClass, &TkGenDispatcher::CommsReEstablished,
                  &TkInfimedDispatcher::CommsReEstablished, &TkGEHLDispatcher::CommsReEstablished);
}
