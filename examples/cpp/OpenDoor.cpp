// Opens a lock, then prints the next card that is presented anywhere.

#include <dw-hal-mux/client/Client.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "NumberIn.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kUsage =
    "Usage: open-door HOST PORT GATEWAY LOCK [SECONDS]\n"
    "Open a lock, then wait 60 or this many seconds for a card at any lock.\n"
    "Exit status: 0 = opened, and a card came; 1 = refused; 2 = no answer; 3 = opened, but no card came;\n"
    "64 = wrong usage.\n";
constexpr int kRefused = 1;
constexpr int kNoAnswer = 2;
constexpr int kNoCard = 3;
constexpr int kWrongUsage = 64;

int OpenDoor(MuxClient::Client& client, const MuxClient::LockAddress& lock) {
    const auto answer = client.Ask(MuxClient::Request::Open(lock));
    if (!answer) {
        std::cerr << "No answer; the lock may still have been opened.\n";
        return kNoAnswer;
    }
    std::cout << answer->text << std::endl;
    if (!answer->IsAck()) {
        std::cerr << "Refused: " << answer->refusal.value_or(MuxClient::Refusal()).message << '\n';
        return kRefused;
    }
    return 0;
}

int WaitForCard(MuxClient::Client& client, std::chrono::seconds time) {
    bool came = false;
    client.OnEvent([&](const MuxClient::Message& message) {
        // Other events are PINs.
        if (message.code != MuxClient::MessageCode::kInfo) {
            const MuxClient::CardEvent event = message.event.value_or(MuxClient::CardEvent());
            std::cout << "Card " << event.data << " at gateway " << event.gateway << ", lock " << event.lock
                      << std::endl;
            came = true;
        }
    });
    const auto end = std::chrono::steady_clock::now() + time;
    while (!came && std::chrono::steady_clock::now() < end) {
        client.Wait(1s);
    }
    return came ? 0 : kNoCard;
}

// The lock is open by now, so that a lost connection only ends the waiting.
int WaitForCardWhileConnected(MuxClient::Client& client, std::chrono::seconds time) {
    try {
        return WaitForCard(client, time);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return kNoCard;
    }
}

int Run(const std::vector<std::string>& arguments) {
    if (arguments == std::vector<std::string>{"--help"}) {
        std::cout << kUsage;
        return 0;
    }
    if (arguments.size() != 4 && arguments.size() != 5) {
        std::cerr << kUsage;
        return kWrongUsage;
    }
    constexpr std::int32_t kLowestId = std::numeric_limits<std::int32_t>::min();
    const auto port = NumberIn<std::uint16_t>(arguments.at(1), 1);
    const auto gateway = NumberIn<std::int32_t>(arguments.at(2), kLowestId);
    const auto lock = NumberIn<std::int32_t>(arguments.at(3), kLowestId);
    const std::chrono::seconds time(arguments.size() == 5 ? NumberIn<std::uint16_t>(arguments.at(4), 0) : 60);
    MuxClient::Client client({arguments.at(0), port});
    const int status = OpenDoor(client, {gateway, lock});
    return status == 0 ? WaitForCardWhileConnected(client, time) : status;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        return Run({arguments + 1, arguments + argumentCount});
    } catch (const std::invalid_argument& error) {
        std::cerr << error.what() << '\n' << kUsage;
        return kWrongUsage;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return kNoAnswer;
    }
}
