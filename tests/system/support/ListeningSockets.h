#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace SystemTest {

// The TCP ports (of IPv4) that a process of ours listens on, in rising order, as /proc has them.
std::vector<std::uint16_t> ListeningPortsOf(pid_t process);

}  // namespace SystemTest
