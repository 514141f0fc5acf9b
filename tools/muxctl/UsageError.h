#pragma once

#include <stdexcept>

namespace Muxctl {

// The command line asks for what cannot be done. `what()` is a sentence for people.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The files of a site cannot be used. For a monitor that asks after the site's health this is an answer.
class SiteError : public UsageError {
  public:
    using UsageError::UsageError;
};

}  // namespace Muxctl
