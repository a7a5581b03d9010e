#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "Board.h"
#include "ScopedFolder.h"

/// The register accesses that `body` makes on the board, as "0007 W 0x24 0x00090004"; reads are left out.
template <class Body>
std::vector<std::string> WritesOf(sim::Board& board, const Body& body) {
    const ScopedFolder folder;
    board.StartTrace(folder / "trace");
    body();
    board.StopTrace();
    std::ifstream trace(folder / "trace");
    std::vector<std::string> writes;
    for (std::string line; std::getline(trace, line);) {
        line.erase(0, line.find(' ') + 1);
        if (line.find(" W ") != std::string::npos) {
            writes.push_back(line);
        }
    }
    return writes;
}
