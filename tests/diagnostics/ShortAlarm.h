#pragma once

#include <chrono>

namespace Testing {

// ShortAlarm.cpp replaces alarm() of the program that it is linked to: the time asked for is written to standard output
// ("5 seconds", "60 seconds" or "another time"), and SIGALRM comes after a tenth of a second.

// Makes it come so long after the alarms that follow, where it must not come too early on a busy machine.
void LetAlarmsTake(std::chrono::seconds time);

// Called at the next alarm of five seconds, before it is written and set, once. The child's own; null for nothing.
void CallAtNextAlarmOf5Seconds(void (*hook)());

}  // namespace Testing
