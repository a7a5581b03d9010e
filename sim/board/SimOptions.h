#pragma once

#include <string>
#include <vector>

#include "Board.h"
#include "LineServer.h"

namespace sim {

/// What the command line of the virtual box asks for.
struct SimOptions {
    std::string mRoot = "brindlet-root";
    std::string mTrace;  ///< empty for none
    LineEndpoint mBench{"127.0.0.1", 55560};
    BoardSettings mBoard;
    bool mHelp = false;
    std::vector<char*>
        mApplication;  ///< the application's own arguments: the program's name, what follows "--", null
};

/// Reads the command line. Throws BadText with one clear line where an option is wrong.
SimOptions ParseSimOptions(int argc, char* argv[]);

/// What `--help` prints.
std::string SimOptionsHelp();

}  // namespace sim
