#pragma once

namespace Testing {

// How many times this process has made the attributes of a mutex robust so far.
int RobustMutexes();

}  // namespace Testing
