#pragma once

namespace Muxctl {

// What a script learns from the program's end.
constexpr int kAckStatus = 0;
constexpr int kNackStatus = 1;
// No reply within the time-out, or no connection; the request may still have been executed. Also if the answer could
// not be written.
constexpr int kNoAnswerStatus = 2;
constexpr int kUsageStatus = 64;

// Of check-config.
constexpr int kFineStatus = 0;
constexpr int kWarningsStatus = 1;
constexpr int kUnusableStatus = 2;

// Of check-config --start.
constexpr int kMayStartStatus = 0;
constexpr int kMustNotStartStatus = 1;

}  // namespace Muxctl
