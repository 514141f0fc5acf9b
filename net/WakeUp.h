#pragma once

namespace Brenk::Net {

// Wakes a thread that waits for descriptors: it also waits for this one to become readable.
//
// Without a descriptor, because the process had none left, Wake() has no effect and the thread must check regularly.
class WakeUp {
  public:
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    // -1 when there is none.
    int Descriptor() const { return descriptor_; }

    // Never blocks. Any thread.
    void Wake() const;

    // Back to not being readable. The thread that waits.
    void Clear() const;

  private:
    const int descriptor_;
};

}  // namespace Brenk::Net
