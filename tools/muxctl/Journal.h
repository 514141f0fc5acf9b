#pragma once

namespace Muxctl {

// Whether this file descriptor of the process leads to the systemd journal, which takes a priority at the start of a
// line. Any thread may call it while nobody changes the environment.
bool IsJournal(int descriptor);

}  // namespace Muxctl
