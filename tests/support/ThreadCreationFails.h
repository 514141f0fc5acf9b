#pragma once

namespace Testing {

// While it lives, threads can no longer be created after the next `allowed` ones. One at a time. The test program is
// linked so that the program's own calls come here first (--wrap=pthread_create); those of the C++ library do not.
class ThreadCreationFails {
  public:
    explicit ThreadCreationFails(int allowed);
    ~ThreadCreationFails();
    ThreadCreationFails(const ThreadCreationFails&) = delete;
    ThreadCreationFails& operator=(const ThreadCreationFails&) = delete;
};

}  // namespace Testing
