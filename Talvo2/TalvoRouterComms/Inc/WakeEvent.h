#pragma once

/// Wakes a thread that waits with `poll`. Any thread may signal.
class WakeEvent {
  public:
    /// Throws std::system_error where the system has no descriptor for it.
    WakeEvent();
    ~WakeEvent();
    WakeEvent(const WakeEvent&) = delete;
    WakeEvent& operator=(const WakeEvent&) = delete;

    /// Readable from the first Signal on.
    int Descriptor() const { return mDescriptor; }
    void Signal() const;

  private:
    int mDescriptor;
};
