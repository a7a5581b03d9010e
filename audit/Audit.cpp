#include "Audit.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <utility>

#include "FeatureNames.h"

namespace {

static_assert(kFeatureCount == Audit::kMaxDebugLevels);

/// Assert, Invalid, Fault, Information, MemoryDebug, SyncDebug, RouterIoManager.
constexpr unsigned kOnByDefault[] = {0, 1, 2, 3, 46, 66, 68};

/// The features that would drown the rest of the log.
constexpr unsigned kVerbose[] = {29,  58,  61,  65,  67,  82,  86,  89,  104, 105, 108,
                                 110, 120, 121, 133, 135, 141, 145, 152, 154, 158, 170,
                                 179, 182, 186, 187, 191, 192, 193, 195, 199, 201, 203};

/// The one lock of the making of the default instance.
std::mutex& CreationMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Keeps standard output to this thread, so that what it prints in several calls stays together.
class StdoutLock {
  public:
    StdoutLock() { flockfile(stdout); }
    ~StdoutLock() { funlockfile(stdout); }
    StdoutLock(const StdoutLock&) = delete;
    StdoutLock& operator=(const StdoutLock&) = delete;
};

}  // namespace

std::atomic<Audit*> Audit::sInstance{nullptr};

Audit& Audit::CreateInstance() {
    const std::lock_guard lock(CreationMutex());
    Audit* instance = sInstance.load(std::memory_order_acquire);
    if (instance == nullptr) {
        instance = new Audit;
        sInstance.store(instance, std::memory_order_release);
    }
    return *instance;
}

void Audit::SetInstance(std::unique_ptr<Audit> audit) {
    if (audit == nullptr) {
        audit = std::make_unique<Audit>();
    }
    const std::unique_ptr<Audit> previous(sInstance.exchange(audit.release()));
}

void Audit::DestroyInstance() {
    const std::unique_ptr<Audit> previous(sInstance.exchange(nullptr));
}

Audit::Audit() {
    ResetToDefaultLevels();
}

Audit::~Audit() = default;

void Audit::SetLevel(unsigned id, std::uint8_t level) {
    if (id < kMaxDebugLevels) {
        mLevels[id].store(level, std::memory_order_relaxed);
    }
}

void Audit::SetAllLevels(std::uint8_t level) {
    for (unsigned id = 0; id < kMaxDebugLevels; ++id) {
        SetLevel(id, level);
    }
}

void Audit::ResetToDefaultLevels() {
    SetAllLevels(0);
    for (const unsigned id : kOnByDefault) {
        SetLevel(id, 1);
    }
}

void Audit::EnableAllButVerbose() {
    SetAllLevels(1);
    for (const unsigned id : kVerbose) {
        SetLevel(id, 0);
    }
}

void Audit::GetLevels(LevelBytes& out) const {
    std::transform(mLevels.begin(), mLevels.end(), out.begin(),
                   [](const auto& level) { return level.load(std::memory_order_relaxed); });
}

void Audit::SetLevels(const LevelBytes& levels) {
    for (unsigned id = 0; id < kMaxDebugLevels; ++id) {
        SetLevel(id, levels[id]);
    }
}

const char* Audit::FeatureName(unsigned id) {
    return kFeatureNames[std::min(id, kMaxDebugLevels)];
}

int Audit::FeatureId(const std::string& name) {
    const auto end = kFeatureNames.begin() + kMaxDebugLevels;
    const auto found = std::find(kFeatureNames.begin(), end, name);
    return found == end ? -1 : static_cast<int>(found - kFeatureNames.begin());
}

void Audit::Output(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    OutputV(format, arguments);
    va_end(arguments);
}

void Audit::OutputTagged(std::uint32_t tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    OutputTaggedV(tag, format, arguments);
    va_end(arguments);
}

void Audit::OutputFlagged(unsigned flags, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    OutputFlaggedV(flags, format, arguments);
    va_end(arguments);
}

void Audit::OutputFlaggedTagged(unsigned flags, std::uint32_t tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    OutputFlaggedTaggedV(flags, tag, format, arguments);
    va_end(arguments);
}

void Audit::LogOnly(unsigned flags, std::uint32_t tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    LogOnlyV(flags, tag, format, arguments);
    va_end(arguments);
}

void Audit::OutputLong(Feature feature, const std::string& text) {
    if (IsEnabled(feature)) {
        OutputLongV(kTimeStamp, text);
    }
}

void Audit::Flush() {
    std::fflush(stdout);
}

void Audit::OutputV(const char* format, std::va_list arguments) {
    std::vfprintf(stdout, format, arguments);
}

void Audit::OutputTaggedV(std::uint32_t /*tag*/, const char* format, std::va_list arguments) {
    OutputV(format, arguments);
}

void Audit::OutputFlaggedV(unsigned flags, const char* format, std::va_list arguments) {
    const std::string stamp = TimeStamp(flags);
    const StdoutLock lock;
    std::fputs(stamp.c_str(), stdout);
    std::vfprintf(stdout, format, arguments);
}

void Audit::OutputFlaggedTaggedV(unsigned flags, std::uint32_t /*tag*/, const char* format,
                                 std::va_list arguments) {
    OutputFlaggedV(flags, format, arguments);
}

void Audit::LogOnlyV(unsigned flags, std::uint32_t /*tag*/, const char* format, std::va_list arguments) {
    OutputFlaggedV(flags, format, arguments);
}

void Audit::OutputLongV(unsigned flags, const std::string& text) {
    const std::string whole = TimeStamp(flags) + text;
    std::fwrite(whole.data(), 1, whole.size(), stdout);
}

std::string Audit::TimeStamp(unsigned flags) const {
    if ((flags & kTimeStamp) == 0) {
        return {};
    }
    const std::time_t now = std::time(nullptr) + mTimeOffset;
    std::tm utc{};
    gmtime_r(&now, &utc);
    const int year = utc.tm_year > 99 ? utc.tm_year - 100 : utc.tm_year;
    std::array<char, 96> stamp{};
    std::snprintf(stamp.data(), stamp.size(), "[%-2.2d/%-2.2d/%-2.2d %-2.2d:%-2.2d:%-2.2d]", utc.tm_mday,
                  utc.tm_mon + 1, year, utc.tm_hour, utc.tm_min, utc.tm_sec);
    return stamp.data();
}
