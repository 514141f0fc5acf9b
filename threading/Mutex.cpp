#include "threading/Mutex.h"

#include <cerrno>
#include <utility>

#include "diagnostics/Log.h"
#include "threading/MutexGuard.h"

namespace Threading {
namespace {

struct FailureText {
    int error;
    const char* text;
};

constexpr FailureText kAttributeFailures[] = {
    {ENOMEM, "Cannot initialize mutex attributes. No memory. Mutex: "},
    {EINVAL, "Cannot initialize mutex attributes. Invalid values. Mutex: "},
};
constexpr FailureText kTypeFailures[] = {
    {ENOMEM, "Cannot set mutex type to error check. No memory. Mutex: "},
    {EINVAL, "Cannot set mutex type to error check. Invalid values. Mutex: "},
};
constexpr FailureText kRobustFailures[] = {
    {ENOMEM, "Cannot initialize mutex with robust attribute. No memory. Mutex: "},
    {EINVAL, "Cannot initialize mutex with robust attribute. Invalid value. Mutex: "},
};
constexpr FailureText kCreateFailures[] = {
    {EINVAL, "Cannot create mutex.. Invalid value. Mutex: "},
    {ENOMEM, "Cannot create mutex. No memory. Mutex: "},
    {EPERM, "Cannot create mutex. No permissions. Mutex: "},
    {EBUSY, "Cannot create mutex. No permissions. Mutex: "},
    {EAGAIN, "Cannot create mutex. No resources. Mutex already created? Mutex: "},
};

// The text of a result that counts as a failure; null for 0 and for every result that the table does not list,
// which count as success.
template <std::size_t Size>
const char* FindFailure(const FailureText (&failures)[Size], int result) {
    for (const FailureText& failure : failures) {
        if (failure.error == result) {
            return failure.text;
        }
    }
    return nullptr;
}

}  // namespace

Mutex::Mutex(std::string name) : Mutex(std::move(name), true, true) {}

Mutex::Mutex(std::string name, bool initializeNow, bool robust)
    : name_(std::make_shared<const std::string>(std::move(name))) {
    MUX_OPERATION();
    if (!initializeNow) {
        return;
    }
    if (Initialize(robust)) {
        MUX_LOG(plog::info) << "Mutex initialized in .ctor";
    } else {
        MUX_LOG(plog::error) << "Cannot initialize mutex in .ctor";
    }
}

Mutex::~Mutex() {
    Destroy();
}

bool Mutex::Initialize(bool robust) {
    MUX_OPERATION();
    if (initialized_) {
        return true;
    }
    initialized_ = InitializeAttributes(robust) && CreateMutex();
    return initialized_;
}

bool Mutex::InitializeAttributes(bool robust) {
    const char* failure = FindFailure(kAttributeFailures, pthread_mutexattr_init(&attributes_));
    if (failure == nullptr) {
        failure = FindFailure(kTypeFailures, pthread_mutexattr_settype(&attributes_, PTHREAD_MUTEX_ERRORCHECK));
    }
    if (failure == nullptr && robust) {
        failure = FindFailure(kRobustFailures, pthread_mutexattr_setrobust(&attributes_, PTHREAD_MUTEX_ROBUST));
    }
    if (failure != nullptr) {
        MUX_LOG(plog::error) << failure << *name_;
    }
    return failure == nullptr;
}

bool Mutex::CreateMutex() {
    const char* failure = FindFailure(kCreateFailures, pthread_mutex_init(&mutex_, &attributes_));
    if (failure != nullptr) {
        MUX_LOG(plog::error) << failure << *name_;
        return false;
    }
    MUX_LOG(plog::info) << "Mutex " << *name_ << " created.";
    return true;
}

bool Mutex::Destroy() {
    MUX_OPERATION();
    const bool mutexDestroyed = initialized_ && pthread_mutex_destroy(&mutex_) == 0;
    if (mutexDestroyed) {
        MUX_LOG(plog::info) << "Mutex " << *name_ << " destroyed.";
    } else {
        MUX_LOG(plog::error) << "Error destroying mutex " << *name_;
    }
    const bool attributesDestroyed = initialized_ && pthread_mutexattr_destroy(&attributes_) == 0;
    if (attributesDestroyed) {
        MUX_LOG(plog::info) << "Mutex attribute structure for " << *name_ << " destroyed.";
    } else {
        MUX_LOG(plog::error) << "Error destroying mutex attributes for " << *name_;
    }
    initialized_ = false;
    return mutexDestroyed && attributesDestroyed;
}

pthread_mutex_t Mutex::GetMutex() const {
    return mutex_;
}

std::string Mutex::GetName() const {
    return *name_;
}

MutexGuard Mutex::NewGuard() const {
    return MutexGuard(mutex_, name_);
}

}  // namespace Threading
