#pragma once

#include <boost/asio/io_service.hpp>
#include <chrono>

/// Runs the event loop on this thread until `done` holds; false where it doesn't within ten seconds.
template <class Predicate>
bool RunUntil(boost::asio::io_service& io, const Predicate& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        io.restart();
        io.run_one_for(std::chrono::milliseconds(5));
    }
    return true;
}
