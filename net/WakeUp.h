#pragma once

namespace Brenk::Net {

// Ends the wait of one thread for descriptors: the thread waits for this one to become readable as well.
//
// Without a descriptor, when the process had none left, nobody is woken; whoever waits must look by itself now and
// then.
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
