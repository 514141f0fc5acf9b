#pragma once

#include <sys/resource.h>

namespace Testing {

// The limit of this process for one resource, which is at the end of the object what it was before.
class ResourceLimit {
  public:
    // For RLIMIT_NOFILE and the like.
    explicit ResourceLimit(int resource) : resource_(resource) { getrlimit(resource_, &before_); }
    ~ResourceLimit() { setrlimit(resource_, &before_); }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

    // Sets the soft limit; false when this machine does not allow that much.
    bool Set(rlim_t soft) {
        const rlimit limit = {soft, before_.rlim_max};
        return setrlimit(resource_, &limit) == 0;
    }

    rlim_t Hard() const { return before_.rlim_max; }

  private:
    const int resource_;
    rlimit before_ = {};
};

}  // namespace Testing
