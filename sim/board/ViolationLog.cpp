#include "ViolationLog.h"

#include <cstdio>
#include <utility>

namespace sim {

void ViolationLog::Report(std::string text) {
    if (mFull) {
        return;
    }
    if (mReports.size() == kMaxKept) {
        mFull = true;
        std::fputs("virtual board: further wrong accesses are not reported\n", stderr);
        return;
    }
    std::fprintf(stderr, "virtual board: %s\n", text.c_str());
    mReports.push_back(std::move(text));
}

}  // namespace sim
