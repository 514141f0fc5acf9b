// The library in use: opens a lock, then prints the next card that is presented anywhere.
//
//     mux-client-example [HOST [PORT [GATEWAY [LOCK]]]]
//
// Exit status: 0 = the lock is open and a card came, 1 = refused, 2 = no answer or no card within a minute, 64 = an
// argument is invalid.

#include <charconv>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/client/Client.h"

namespace {

using namespace std::chrono_literals;

int OpenDoor(MuxClient::Client& client, const MuxClient::LockAddress& lock) {
    const auto answer = client.Ask(MuxClient::Request::Open(lock));
    if (!answer) {
        std::cerr << "No answer; the lock may still have been opened.\n";
        return 2;
    }
    std::cout << answer->text << std::endl;
    if (!answer->IsAck()) {
        std::cerr << "Refused: " << answer->refusal.value_or(MuxClient::Refusal()).message << '\n';
        return 1;
    }
    return 0;
}

int WaitForCard(MuxClient::Client& client) {
    const auto print = [](const MuxClient::Message& message) {
        const MuxClient::CardEvent event = message.event.value_or(MuxClient::CardEvent());
        std::cout << "Card " << event.data << " at lock " << event.lock << std::endl;
    };
    client.OnEvent(print);
    return client.Wait(60s) ? 0 : 2;
}

// The argument at `index`, or `otherwise` when there are not so many.
template <typename Number>
Number NumberAt(const std::vector<std::string>& arguments, std::size_t index, Number lowest, Number otherwise) {
    if (index >= arguments.size()) {
        return otherwise;
    }
    const std::string& text = arguments.at(index);
    const char* const end = text.data() + text.size();
    Number number = 0;
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number < lowest) {
        throw std::invalid_argument("\"" + text + "\" is not a number from " + std::to_string(lowest) + " to " +
                                    std::to_string(std::numeric_limits<Number>::max()));
    }
    return number;
}

int Run(const std::vector<std::string>& arguments) {
    constexpr std::int32_t kLowestId = std::numeric_limits<std::int32_t>::min();
    const std::string host = arguments.size() > 1 ? arguments.at(1) : "127.0.0.1";
    const auto port = NumberAt<std::uint16_t>(arguments, 2, 1, 5555);
    const auto gateway = NumberAt<std::int32_t>(arguments, 3, kLowestId, 1);
    const auto lock = NumberAt<std::int32_t>(arguments, 4, kLowestId, 5);
    MuxClient::Client client({host, port});
    const int status = OpenDoor(client, {gateway, lock});
    return status == 0 ? WaitForCard(client) : status;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        return Run({arguments, arguments + argumentCount});
    } catch (const std::invalid_argument& error) {
        std::cerr << error.what() << '\n';
        return 64;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
}
