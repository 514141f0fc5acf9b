// Prints the cards that are presented, and connects again when the Mux has gone.

#include <dw-hal-mux/client/Client.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "NumberIn.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kUsage =
    "Usage: watch-cards HOST PORT\n"
    "Print the cards that are presented at any lock, until it is ended.\n";
constexpr int kWrongUsage = 64;

// The time until the next attempt: about a second, then about twice as long each time up to half a minute. Clients that
// lost one Mux do not come back in step.
class Delay {
  public:
    std::chrono::milliseconds Next() {
        const std::chrono::milliseconds most = std::exchange(most_, std::min(2 * most_, kMost));
        return std::chrono::milliseconds(
            std::uniform_int_distribution<std::int64_t>(most.count() / 2, most.count())(random_));
    }
    void Reset() { most_ = kLeast; }

  private:
    static constexpr std::chrono::milliseconds kLeast = 1s;
    static constexpr std::chrono::milliseconds kMost = 30s;

    std::chrono::milliseconds most_ = kLeast;
    std::mt19937 random_{std::random_device{}()};
};

void PrintCard(const MuxClient::Message& message) {
    const MuxClient::CardEvent event = message.event.value_or(MuxClient::CardEvent());
    const std::string place = " at gateway " + std::to_string(event.gateway) + ", lock " + std::to_string(event.lock);
    if (message.code == MuxClient::MessageCode::kCardReader) {
        // The lock waits for a decision: Request::OpenAndClose or Request::DenyAccess, with Occasion::kEvent.
        std::cout << "Card " << event.data << place << std::endl;
    } else if (message.code == MuxClient::MessageCode::kAccessAllowed) {
        std::cout << "Admitted " << event.data << place << std::endl;
    }
}

// Returns by an exception only.
void Watch(const MuxClient::MuxAddress& address, Delay& delay) {
    MuxClient::Client client(address);
    delay.Reset();
    std::cout << "Connected" << std::endl;
    client.OnEvent(PrintCard);
    for (;;) {
        client.Wait(1h);
    }
}

[[noreturn]] void WatchForEver(const MuxClient::MuxAddress& address) {
    Delay delay;
    for (;;) {
        try {
            Watch(address, delay);
        } catch (const MuxClient::ConnectionError& error) {
            // What happens until the next "Connected" is never reported.
            std::cerr << error.what() << std::endl;
        }
        std::this_thread::sleep_for(delay.Next());
    }
}

int Run(const std::vector<std::string>& arguments) {
    if (arguments == std::vector<std::string>{"--help"}) {
        std::cout << kUsage;
        return 0;
    }
    if (arguments.size() != 2) {
        std::cerr << kUsage;
        return kWrongUsage;
    }
    WatchForEver({arguments.at(0), NumberIn<std::uint16_t>(arguments.at(1), 1)});
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        return Run({arguments + 1, arguments + argumentCount});
    } catch (const std::invalid_argument& error) {
        std::cerr << error.what() << '\n' << kUsage;
        return kWrongUsage;
    } catch (const std::exception& error) {
        // Such as a peer that is not a Mux: to try again would not help.
        std::cerr << error.what() << '\n';
        return 2;
    }
}
