#pragma once

#include <functional>
#include <string>

#include "IFsiBus.h"

namespace boost::asio {
class io_context;
}

/// What the application stands on, and all that differs between the box and a bench.
struct Platform {
    fsi::IFsiBus& mBus;

    /// The folder before the absolute paths that the application names itself; empty on the box.
    std::string mRoot;

    /// Told of the event loop as soon as it exists, and given null before it goes; empty on the box. A bench
    /// waits by it until the loop has run what was posted.
    std::function<void(boost::asio::io_context*)> mOnEventLoop;
};
