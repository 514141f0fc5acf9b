#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/client/Client.h"
#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// The exit status for an answer.
int StatusFor(const MuxClient::Message& answer);

// A peer that has answered neither a request nor, later, one that a Mux refuses by itself.
class SilentPeer : public MuxClient::ConnectionError {
  public:
    SilentPeer(const std::string& peer, std::chrono::milliseconds elapsed);

    // what() without hints.
    const std::string& Reason() const { return reason_; }

  private:
    explicit SilentPeer(const std::string& reason);

    std::string reason_;
};

// A command's connection to the Mux, for one request after the other. Refers to its arguments.
//
// For one thread. All methods throw as MuxClient::Client does; the output's failure is std::system_error.
class Conversation {
  public:
    struct Outcome {
        // Nothing when none came in time.
        std::optional<MuxClient::Message> answer;
        std::chrono::milliseconds elapsed{0};
    };

    // Connects.
    Conversation(const Options& options, const Console& console);

    // Sends one request and waits for the answer, which a terminal shows. With the default time-out, throws SilentPeer
    // when a peer that has never answered is silent for 2 s, and then for 3 s to a request that a Mux refuses by
    // itself.
    Outcome Ask(const MuxClient::Request& request);

    // Asks, prints the answer and returns the exit status. `title` names the request.
    int AskAndPrint(const MuxClient::Request& request, const std::string& title);

    // Reports that no answer came; `subject` begins the line and `hint` ends it. Returns the exit status.
    int ComplainOfSilence(const std::string& subject, const std::string& hint) const;

  private:
    struct Answer {
        bool isSent = false;
        bool isOver = false;
        // Nothing when none came in time.
        std::optional<MuxClient::Message> message;
    };

    std::optional<MuxClient::Message> AskStranger(const MuxClient::Request& request,
                                                  const std::function<void()>& whileWaiting);
    void Send(const MuxClient::Request& request, const std::shared_ptr<Answer>& answer,
              std::chrono::milliseconds timeout);

    const Options& options_;
    const Console& console_;
    MuxClient::Client client_;
    // Whether the peer has answered anything.
    bool hasHeard_ = false;
};

}  // namespace Muxctl
