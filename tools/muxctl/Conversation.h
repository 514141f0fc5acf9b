#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "tools/client/Client.h"
#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// The exit status for an answer.
int StatusFor(const MuxClient::Message& answer);

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

    // Sends one request and waits for the answer, which a terminal shows.
    Outcome Ask(const MuxClient::Request& request);

    // Asks, prints the answer and returns the exit status. `title` names the request.
    int AskAndPrint(const MuxClient::Request& request, const std::string& title);

    // Reports that no answer came; `subject` begins the line and `hint` ends it. Returns the exit status.
    int ComplainOfSilence(const std::string& subject, const std::string& hint) const;

  private:
    const Options& options_;
    const Console& console_;
    MuxClient::Client client_;
};

}  // namespace Muxctl
