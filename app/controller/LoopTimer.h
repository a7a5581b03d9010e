#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>

namespace TalvoBrindlet {

/// Has `handler(error)` called on the event loop when `timer` expires after `period` or is armed anew or
/// cancelled before. Not once its owner has let go of the timer: the object that the handler speaks of may be
/// gone then.
template <class Handler>
void ArmTimer(const std::shared_ptr<boost::asio::steady_timer>& timer, std::chrono::milliseconds period,
              Handler handler) {
    timer->expires_after(period);
    timer->async_wait([owned = std::weak_ptr<boost::asio::steady_timer>(timer), handler](const auto& error) {
        if (!owned.expired()) {
            handler(error);
        }
    });
}

}  // namespace TalvoBrindlet
