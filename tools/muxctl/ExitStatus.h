#pragma once

namespace Muxctl {

// What a script learns from the program's end.
constexpr int kAckStatus = 0;
constexpr int kNackStatus = 1;
// No answer within the time, or no connection. What was asked for may have been done all the same. Also when the answer
// could not be written.
constexpr int kNoAnswerStatus = 2;
constexpr int kUsageStatus = 64;

// Of check-config.
constexpr int kFineStatus = 0;
constexpr int kWarningsStatus = 1;
constexpr int kUnusableStatus = 2;

}  // namespace Muxctl
