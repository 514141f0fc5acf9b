// The library in use: opens a lock, then prints the next card that is presented anywhere.
//
//     mux-client-example [HOST [PORT [GATEWAY [LOCK]]]]
//
// Ends with 0 when the lock is open and a card came, with 1 when the lock was refused, with 2 when nobody answered.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "tools/client/Client.h"

namespace {

using namespace std::chrono_literals;

int OpenDoor(MuxClient::Client& client, const MuxClient::LockAddress& lock) {
    const auto answer = client.Ask(MuxClient::Request::Open(lock), 5s);
    if (!answer) {
        std::cerr << "No answer.\n";
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

}  // namespace

int main(int argumentCount, char** arguments) {
    const auto number = [&](int index, int otherwise) {
        return argumentCount > index ? std::stoi(arguments[index]) : otherwise;
    };
    try {
        const std::string host = argumentCount > 1 ? arguments[1] : "127.0.0.1";
        MuxClient::Client client({host, static_cast<std::uint16_t>(number(2, 5555))});
        const int status = OpenDoor(client, {number(3, 1), number(4, 5)});
        return status == 0 ? WaitForCard(client) : status;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
}
