#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "tools/client/Client.h"
#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

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

    // Asks, prints the answer and returns the exit status. `title` names the request in the answer, `subject` begins
    // the complaint about a missing one.
    int AskAndPrint(const MuxClient::Request& request, const std::string& title, const std::string& subject = "");

    // Reports that no answer came; `hint` ends the line. Returns the exit status.
    int ComplainOfSilence(const std::string& subject = "", const std::string& hint = "") const;

    // Reports that the last `left` of `all` requests are not sent; `last` names the one before them. Nothing if none is
    // left.
    void ComplainOfStop(const std::string& last, std::size_t left, std::size_t all) const;

  private:
    const Options& options_;
    const Console& console_;
    MuxClient::Client client_;
};

}  // namespace Muxctl
