#pragma once

#include <pthread.h>

#include <memory>
#include <string>

namespace Threading {

class MutexGuard;

// One POSIX mutex (error-checking, robust on request) with a name for its log lines.
//
// The mutex object itself is never locked: a MutexGuard takes it by value and locks its own copy. So two guards of one
// Mutex never wait for each other, and no data may rely on a guard; see Synchronized.
class Mutex {
  public:
    // The same as Mutex(name, true, true).
    explicit Mutex(std::string name);

    // With `initializeNow` calls Initialize(robust) and logs how it went.
    Mutex(std::string name, bool initializeNow, bool robust);

    // Calls Destroy().
    ~Mutex();

    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // Creates the POSIX mutex; true when it exists afterwards, so also when it existed before. A failure is logged
    // with its reason.
    bool Initialize(bool robust);

    // Destroys the mutex and its attributes, with a line for each. False when either could not be destroyed, so also
    // when there is none: never initialised, or destroyed before.
    bool Destroy();

    // The mutex object by value.
    pthread_mutex_t GetMutex() const;

    std::string GetName() const;

    // A guard of this mutex, not locked; like MutexGuard(GetMutex(), GetName(), false, 0), but it shares the name: a
    // loop that takes a guard a thousand times a second must not allocate for it.
    MutexGuard NewGuard() const;

  private:
    bool InitializeAttributes(bool robust);
    bool CreateMutex();

    const std::shared_ptr<const std::string> name_;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutexattr_t attributes_ = {};
    bool initialized_ = false;
};

}  // namespace Threading
