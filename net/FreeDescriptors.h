#pragma once

#include <cstddef>

namespace Brenk::Net {

// The first descriptor number that no client may have: it has no place in an fd_set.
constexpr int kClientNumbers = 1024;

// How many descriptor numbers below `end` the process may still open; counting stops at `enough`. Any thread; what
// others open meanwhile may be counted or not.
std::size_t CountFreeDescriptors(std::size_t end, std::size_t enough);

// The same for all that the process is allowed.
std::size_t CountFreeDescriptors(std::size_t enough);

// How many descriptors are reserved for what the process opens occasionally: the log, a name look-up, a dump, the next
// accepted connection. 48, or a quarter of the limit if that is less.
std::size_t DescriptorReserve();

// Moves a descriptor to a number that no client may have, which leaves its own to a client. Returns the new number; the
// old one, still open, when none is free or allowed up there.
int MoveAboveClients(int descriptor);

// Moves a descriptor to the lowest number that is free, if it is lower, and returns the number that it has then.
int MoveToLowestNumber(int descriptor);

}  // namespace Brenk::Net
