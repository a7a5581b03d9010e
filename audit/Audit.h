#pragma once

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

/// The features that this system logs under. Each is a switch of its own, not a step of a scale; the rest of
/// the 207 belong to the other equipment of the audio network and are known by number and name only.
enum class Feature : unsigned {
    Assert = 0,
    Invalid = 1,
    Fault = 2,
    Information = 3,
    DisplayDebug = 4,
    CmdDebug = 8,
    CommsDebug = 60,
    CommsVerboseDebug = 61,
    RouterConnectionDebug = 85,
    SyncSelectorDebug = 97,
    KLVCommandWriteSetDebug = 120,
    KLVCommandReadSetDebug = 121,
    TimingStatsDebug = 144,
    TalvoIoBox = 178,
    TalvoIoBoxVerbose = 179,
    PowerMonitoringDebug = 180,
};

/// The process's log: one on/off byte a feature, and printf-style messages to standard output. Derived
/// classes send them elsewhere too. There is one instance, which `Audit` owns.
///
/// Call it through AUDIT below, from any thread. A line ends where its format ends it; nothing is added.
class Audit {
  public:
    static constexpr unsigned kMaxDebugLevels = 207;
    static constexpr unsigned kTimeStamp = 1;  ///< flag: the time stamp stands before the message

    using LevelBytes = std::array<std::uint8_t, kMaxDebugLevels>;

    /// The log in use; made, plain and with the default switches, where none has been installed.
    static Audit& Instance() {
        Audit* const instance = sInstance.load(std::memory_order_acquire);
        return __builtin_expect(instance != nullptr, true) != 0 ? *instance : CreateInstance();
    }

    /// Installs `audit` in place of the present instance, which is destroyed; null installs a plain one. Only
    /// while no other thread logs: at start-up and in tests.
    static void SetInstance(std::unique_ptr<Audit> audit);

    /// Destroys the instance; a later message makes a plain one. Only while no other thread logs.
    static void DestroyInstance();

    Audit();
    virtual ~Audit();
    Audit(const Audit&) = delete;
    Audit& operator=(const Audit&) = delete;

    /// Whether the feature is on; false above 206.
    bool IsEnabled(unsigned id) const {
        return id < kMaxDebugLevels && mLevels[id].load(std::memory_order_relaxed) != 0;
    }
    bool IsEnabled(Feature feature) const { return IsEnabled(static_cast<unsigned>(feature)); }

    /// Switches a feature; ignored above 206.
    void SetLevel(unsigned id, std::uint8_t level);
    void SetLevel(Feature feature, bool on) { SetLevel(static_cast<unsigned>(feature), on ? 1 : 0); }
    void SetAllLevels(std::uint8_t level);
    void ResetToDefaultLevels();
    void EnableAllButVerbose();
    void GetLevels(LevelBytes& out) const;
    void SetLevels(const LevelBytes& levels);

    /// The name of a feature; "MaxDebugLevels" above 206.
    static const char* FeatureName(unsigned id);

    /// The feature of exactly this name, or -1.
    static int FeatureId(const std::string& name);

    /// The message alone: a continuation of the line before, or a line without a time stamp.
    void Output(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void OutputTagged(std::uint32_t tag, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void OutputFlagged(unsigned flags, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void OutputFlaggedTagged(unsigned flags, std::uint32_t tag, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
    /// To the log file only, where there is one.
    void LogOnly(unsigned flags, std::uint32_t tag, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

    /// A text of any length, zero bytes included, whole and behind one time stamp, while `feature` is on.
    /// Lines of other threads come before or after it. For replies, which may be longer than a line has room
    /// for.
    void OutputLong(Feature feature, const std::string& text);

    virtual void Flush();

  protected:
    virtual void OutputV(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
    virtual void OutputTaggedV(std::uint32_t tag, const char* format, std::va_list arguments)
        __attribute__((format(printf, 3, 0)));
    virtual void OutputFlaggedV(unsigned flags, const char* format, std::va_list arguments)
        __attribute__((format(printf, 3, 0)));
    virtual void OutputFlaggedTaggedV(unsigned flags, std::uint32_t tag, const char* format,
                                      std::va_list arguments) __attribute__((format(printf, 4, 0)));
    virtual void LogOnlyV(unsigned flags, std::uint32_t tag, const char* format, std::va_list arguments)
        __attribute__((format(printf, 4, 0)));
    virtual void OutputLongV(unsigned flags, const std::string& text);

    /// The present time in UTC, "[day/month/year hour:minute:second]", two digits each; empty unless `flags`
    /// ask for it.
    std::string TimeStamp(unsigned flags) const;

  private:
    static Audit& CreateInstance();

    static std::atomic<Audit*> sInstance;

    std::int32_t mTimeOffset = 0;  ///< seconds added to the wall clock in time stamps; 0 on this device
    std::array<std::atomic<std::uint8_t>, kMaxDebugLevels> mLevels;
};

/// Logs one time-stamped message under a feature. The arguments are evaluated only while the feature is on;
/// the compiler is told to keep the call out of the caller's way, for most features are off.
#define AUDIT(feature, ...)                                                       \
    do {                                                                          \
        if (__builtin_expect(Audit::Instance().IsEnabled(feature), false) != 0) { \
            Audit::Instance().OutputFlagged(Audit::kTimeStamp, __VA_ARGS__);      \
        }                                                                         \
    } while (false)

/// The tag of assertion reports.
constexpr std::uint32_t kAssertTag = 0x40000002;

/// The pair that reports a broken assumption and carries on: with the condition's text, or with the place
/// alone. Nothing is reported where `condition` holds.
#define AUDIT_ASSERT(condition) AUDIT_ASSERT_TEXT(condition, #condition)
#define AUDIT_ASSERT_PLACE(condition)                                                                  \
    do {                                                                                               \
        if (!(condition)) {                                                                            \
            Audit::Instance().OutputFlaggedTagged(Audit::kTimeStamp, kAssertTag,                       \
                                                  "Assert failed in file %s at line %d\r\n", __FILE__, \
                                                  __LINE__);                                           \
        }                                                                                              \
    } while (false)

/// As AUDIT_ASSERT, for a condition whose text in the report is another.
#define AUDIT_ASSERT_TEXT(condition, text)                                                                  \
    do {                                                                                                    \
        if (!(condition)) {                                                                                 \
            Audit::Instance().OutputFlaggedTagged(Audit::kTimeStamp, kAssertTag,                            \
                                                  "Assert failed in file %s at line %d - %s\r\n", __FILE__, \
                                                  __LINE__, text);                                          \
        }                                                                                                   \
    } while (false)
