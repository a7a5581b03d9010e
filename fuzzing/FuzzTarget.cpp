#include "FuzzTarget.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Audit.h"

namespace {

/// Formats every message, so that a wrong argument shows, and keeps none.
class DroppingLog : public Audit {
  public:
    DroppingLog() { SetAllLevels(1); }

  protected:
    void OutputV(const char* format, std::va_list arguments) override __attribute__((format(printf, 2, 0))) {
        std::array<char, 4096> text;
        std::vsnprintf(text.data(), text.size(), format, arguments);
    }
    void OutputFlaggedV(unsigned /*flags*/, const char* format, std::va_list arguments) override
        __attribute__((format(printf, 3, 0))) {
        OutputV(format, arguments);
    }
    void OutputLongV(unsigned /*flags*/, const std::string& /*text*/) override {}
};

}  // namespace

void Require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "Doesn't hold: %s\n", property);
        std::abort();
    }
}

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    Audit::SetInstance(std::make_unique<DroppingLog>());
    return 0;
}
