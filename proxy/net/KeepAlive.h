#pragma once

namespace MuxProxy {

// When a peer whose host or network is gone is noticed, in seconds (tcp(7)).
struct KeepAlive {
    // Without data: when it is asked first, how often again, and how many questions stay unanswered.
    int idle;
    int interval;
    int count;
    // With data under way: how long it stays unacknowledged.
    int unacknowledged;
};

// Any thread. What the system does not know is left as it is.
void SetKeepAlive(int socket, const KeepAlive& times);

}  // namespace MuxProxy
