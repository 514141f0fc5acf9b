#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace MuxProxy {

// The proxy's own number of a request, and of a client's connection.
using RequestNumber = std::uint64_t;
using Time = std::chrono::steady_clock::time_point;

// Why a request ends in the queue instead of by an answer of the Mux.
enum class QueueEnding : std::uint8_t {
    kTooLong,   // not sent: it waited too long while the Mux was there
    kNoRoom,    // not sent: its client has too many waiting here
    kSilent,    // not sent: the gateway does not answer
    kMuxAway,   // not sent: it waited too long while the Mux was away
    kNoAnswer,  // sent, and unanswered in time
    kMuxLost,   // sent, and the connection to the Mux ended
};

// What is due: requests to send now, in this order, and requests that ended.
struct QueueWork {
    struct Ended {
        RequestNumber request;
        QueueEnding ending;

        friend bool operator==(const Ended& left, const Ended& right) {
            return left.request == right.request && left.ending == right.ending;
        }
    };
    std::vector<RequestNumber> toSend;
    std::vector<Ended> ended;
};

struct QueueTimes {
    // How long a request may wait for its turn, and for its answer.
    std::chrono::milliseconds longestWait{5000};
    std::chrono::milliseconds longestAnswer{15000};
    // After an unanswered request, the next goes so much later. The Mux spoils requests to one gateway that meet in
    // 300 ms.
    std::chrono::milliseconds betweenUnanswered{2000};
    // How often a silent gateway is tried.
    std::chrono::milliseconds betweenTrials{60000};
};

// The requests to one gateway, waiting or sent: which goes next and when it ends.
//
// Clients take turns. The next request goes when the last was answered, or some time after it went without an answer,
// with at most kMostOpen unanswered. A gateway that left kSilentAfter in a row unanswered gets one a minute, until it
// answers: the Mux keeps unanswered requests for ever, and their numbers spoil later ones.
//
// Has no clock: each call says what time it is, never an earlier one than before. Not thread-safe.
class GatewayQueue {
  public:
    static constexpr std::size_t kMostOpen = 4;
    // Of one client, so that it takes no room from others.
    static constexpr std::size_t kMostWaiting = 32;
    static constexpr unsigned kSilentAfter = 3;

    explicit GatewayQueue(const QueueTimes& times = {}) : times_(times) {}

    // Takes a request of this client, which was received at `received`; or says why it has to be refused.
    std::optional<QueueEnding> Add(const std::string& client, RequestNumber request, Time received, Time now);

    // Takes back a request that was not sent. False if it is not waiting here.
    bool Drop(const std::string& client, RequestNumber request);

    // What is due now. Requests are sent only while `isMuxThere`; those returned count as sent.
    QueueWork Advance(Time now, bool isMuxThere);

    // The request was answered. False when it is not open (any more).
    bool Answered(RequestNumber request);

    // The gateway answered a request that was given up: it is not silent.
    void AnsweredLate() { unansweredInARow_ = 0; }

    // The Mux is gone, and with it what it kept of unanswered requests: ends all that was sent.
    void LoseSent(std::vector<QueueWork::Ended>& ended);

    // When Advance() has something to do again, unless something else happens before; nothing if never.
    std::optional<Time> NextTime(bool isMuxThere) const;

    bool IsSilent() const { return unansweredInARow_ >= kSilentAfter; }
    // Requests that wait for their turn or their answer.
    std::size_t Length() const;
    // No request is waiting or open, and it remembers nothing.
    bool IsIdle() const { return open_.empty() && turns_.empty() && unansweredInARow_ == 0; }

  private:
    struct Waiting {
        RequestNumber request;
        Time received;
    };
    // The requests of one client, oldest first; never empty.
    struct Turn {
        std::string client;
        std::deque<Waiting> requests;
    };
    struct Open {
        RequestNumber request;
        Time sent;
    };

    Turn& TurnOf(const std::string& client);
    void RemoveEmptyTurns();
    void EndWaiting(Time now, QueueEnding ending, QueueWork& work);
    void EndUnanswered(Time now, QueueWork& work);
    void EndAllWaiting(QueueWork& work);
    std::optional<Time> NextSend() const;
    RequestNumber TakeNext();

    const QueueTimes times_;
    // The client whose turn is next first.
    std::deque<Turn> turns_;
    // By the time of sending.
    std::deque<Open> open_;
    // When the last request went, if it is unanswered.
    std::optional<Time> lastUnanswered_;
    unsigned unansweredInARow_ = 0;
    // Of a silent gateway: when it was tried last.
    Time lastTrial_{};
};

}  // namespace MuxProxy
