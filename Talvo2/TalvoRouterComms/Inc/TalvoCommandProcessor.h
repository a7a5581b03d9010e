#pragma once

#include <boost/any.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/asio/post.hpp>
#include <boost/signals2/connection.hpp>
#include <boost/signals2/signal.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <typeinfo>
#include <utility>

#include "Audit.h"
#include "CommandBacklog.h"
#include "CommandNames.h"
#include "KLVCommandSets.h"
#include "iRouterKLVComms.h"

/// Takes commands off the streams on the socket thread, decodes them, and delivers them on the event loop to
/// whoever subscribed, in the order in which they came. A command of which nobody wants to know is skipped.
class TalvoCommandProcessor {
  public:
    using StreamType = iRouterKLVComms::StreamType;

    /// What a command of class T is delivered to: the command, the link and the kind of stream it came by.
    template <class T>
    using Signal = boost::signals2::signal<void(std::shared_ptr<const T>, unsigned char, StreamType)>;
    template <class T>
    using Slot = typename Signal<T>::slot_type;

    /// `service` is the event loop; it outlives this.
    explicit TalvoCommandProcessor(boost::asio::io_service& service) : mService(service) {}

    /// Subscribes to the commands of this id, which all are of class T. Any thread; an empty connection, with
    /// a log line, where the id has been registered for another class.
    template <class T>
    boost::signals2::connection Register(std::uint32_t id, const Slot<T>& slot);

    /// Reads one command and posts it; `ticket` goes with it. The socket thread.
    void Dispatch(KLVCommandReadSet& readSet, unsigned char port, StreamType type,
                  CommandBacklog::Ticket ticket = {});

  private:
    /// What one command id leads to.
    struct Dispatcher {
        boost::any mSignal;  ///< a shared pointer to the Signal of the command's class
        std::function<void(KLVCommandReadSet&, unsigned char, StreamType, CommandBacklog::Ticket)> mEmitter;

        template <class T>
        static Dispatcher Initialise(boost::asio::io_service& service);
    };

    boost::asio::io_service& mService;
    std::map<std::uint32_t, Dispatcher> mDispatchers;
    std::mutex mMutex;  ///< the map, during the decoding too
};

template <class T>
boost::signals2::connection TalvoCommandProcessor::Register(std::uint32_t id, const Slot<T>& slot) {
    const std::lock_guard lock(mMutex);
    auto found = mDispatchers.find(id);
    if (found == mDispatchers.end()) {
        found = mDispatchers.emplace(id, Dispatcher::Initialise<T>(mService)).first;
    }
    try {
        const auto signal = boost::any_cast<std::shared_ptr<Signal<T>>>(found->second.mSignal);
        AUDIT_ASSERT_PLACE(signal != nullptr);
        if (signal != nullptr) {
            return signal->connect(slot);
        }
        AUDIT(Feature::Assert, "Failed to get signal of type %s for CommandID %d\n", typeid(T).name(),
              static_cast<int>(id));
    } catch (const boost::bad_any_cast& error) {
        AUDIT_ASSERT_PLACE(false);
        AUDIT(Feature::Assert, "Failed to get signal for Command %s: %s\n", typeid(T).name(), error.what());
    }
    return {};
}

template <class T>
TalvoCommandProcessor::Dispatcher TalvoCommandProcessor::Dispatcher::Initialise(
    boost::asio::io_service& service) {
    const auto signal = std::make_shared<Signal<T>>();
    return {signal, [&service, signal](KLVCommandReadSet& readSet, unsigned char port, StreamType type,
                                       CommandBacklog::Ticket ticket) {
                const auto command = std::make_shared<T>();
                command->mCommandId = readSet.GetCommandId();
                command->Read(readSet);
                boost::asio::post(service, [signal, command, port, type, ticket = std::move(ticket)] {
                    (*signal)(command, port, type);
                });
            }};
}
