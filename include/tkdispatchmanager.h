#ifndef TKDISPATCHMANAGER_H
#define TKDISPATCHMANAGER_H

#include "tkexport.h"

#include <memory>
#include <mutex>
#include <vector>

class TkBaseDispatcher;
class TkGEHLDispatcher;
class TkGenDispatcher;
class TkInfimedDispatcher;
template <class Dispatcher>
class TkEvent;

/// Turns events into calls on the registered dispatchers. The process has one manager,
/// Tk::m_DispatchManager; an application registers through Tk::addDispatcher.
///
/// Producers name an event by its class, which is the rtti() of the interface that receives it, and
/// a command number; which operation that is, the manager alone knows. Delivery is synchronous, on
/// the producer's thread, in the order of registration. Nothing is queued: an event without a
/// dispatcher is lost. A class or command without an operation calls nothing.
///
/// All operations may be called from any thread, callbacks included. No lock is held while a
/// dispatcher runs: a dispatcher added meanwhile isn't called for that event any more, and one
/// removed isn't either.
class TKGEN_EXPORT TkDispatchManager {
  public:
    constexpr TkDispatchManager() = default;

    /// Gives the registrations up. Dispatchers are never deleted here.
    ~TkDispatchManager();
    TkDispatchManager(const TkDispatchManager &) = delete;
    TkDispatchManager &operator=(const TkDispatchManager &) = delete;

    /// See Tk::addDispatcher and Tk::removeDispatcher.
    void addDispatcher(TkBaseDispatcher *dispatcher);
    bool removeDispatcher(TkBaseDispatcher *dispatcher);

    /// Delivers one event and returns true when all dispatchers have returned. `data` is handed to
    /// the operations that take an argument.
    bool dispatchMsg(int eventClass, int command, void *data);

    /// Tells the dispatchers of a class that the link is lost, or back. Classes 2 and 4 have no
    /// such operation.
    void lostComms(int eventClass);
    void CommsReEstablished(int eventClass);

  private:
    struct Tables;
    struct Registration;
    using Registrations = std::vector<std::shared_ptr<Registration>>;

    std::shared_ptr<Registrations> copyOfList() const;
    std::shared_ptr<const Registrations> snapshot();
    template <class Dispatcher>
    void deliver(int eventClass, const TkEvent<Dispatcher> &event, void *data);
    void deliverOfLink(int eventClass, TkEvent<TkGenDispatcher> generator,
                       TkEvent<TkInfimedDispatcher> infimed, TkEvent<TkGEHLDispatcher> gehl);

    std::mutex m_Mutex; // guards the pointer; a leaf. The list behind it is never changed.
    std::shared_ptr<const Registrations> m_pRegistrations;
};

#endif
