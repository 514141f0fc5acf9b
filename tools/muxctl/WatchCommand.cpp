#include <chrono>
#include <exception>
#include <stdexcept>
#include <thread>

#include "tools/client/Client.h"
#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"

namespace Muxctl {
namespace {

using MuxClient::Client;
using MuxClient::Message;

constexpr std::chrono::seconds kPauseBetweenTries{1};
constexpr std::chrono::hours kLong{1};

// Follows the events of one Mux through its comings and goings.
class Watch {
  public:
    Watch(const Options& options, const Console& console) : options_(options), console_(console) {}

    // Returns when all the events that are wanted have come.
    void Run() {
        while (!IsDone()) {
            try {
                Follow();
            } catch (const MuxClient::CertificateError&) {
                // It would be refused every second.
                throw;
            } catch (const MuxClient::ConnectionError& error) {
                ComplainOnce(error);
                std::this_thread::sleep_for(kPauseBetweenTries);
            }
        }
    }

  private:
    bool IsDone() const { return options_.eventCount != 0 && events_ == options_.eventCount; }

    // Until the connection is lost.
    void Follow() {
        Client client(options_.mux, options_.timeout);
        client.OnEvent([this](const Message& event) { Print(event); });
        console_.Complain("watching " + options_.mux.host + ":" + std::to_string(options_.mux.port));
        hasComplained_ = false;
        while (!IsDone()) {
            client.Wait(kLong);
        }
    }

    void Print(const Message& event) {
        const Pins pins = options_.showsPins ? Pins::kShown : Pins::kMasked;
        console_.PrintLine(options_.json ? EventJsonLine(event, pins)
                                         : EventText(event, pins, LockNameOf(event), console_.style));
        ++events_;
    }

    std::string LockNameOf(const Message& event) const {
        return options_.site && event.event ? NameOfLockInEvent(*options_.site, event.event->gateway, event.event->lock)
                                            : "";
    }

    // Not at every try.
    void ComplainOnce(const std::exception& error) {
        if (!hasComplained_) {
            console_.Complain(std::string(error.what()) + "; trying again every second");
        }
        hasComplained_ = true;
    }

    const Options& options_;
    const Console& console_;
    std::uint64_t events_ = 0;
    bool hasComplained_ = false;
};

}  // namespace

int RunWatch(const Options& options, const Console& console) {
    Watch(options, console).Run();
    return kAckStatus;
}

}  // namespace Muxctl
