#pragma once

namespace Testing {

// While it lives every bind() of this process fails as for a port that is taken, so that a test can ask for a port
// that others may need. One at a time.
class RefusedBind {
  public:
    RefusedBind();
    ~RefusedBind();
    RefusedBind(const RefusedBind&) = delete;
    RefusedBind& operator=(const RefusedBind&) = delete;

    // The port that was asked for last; 0 for none.
    int Port() const;
};

}  // namespace Testing
