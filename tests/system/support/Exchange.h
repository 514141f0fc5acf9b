#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "tests/system/support/TestClient.h"
#include "tests/system/support/Traffic.h"

namespace SystemTest {

// What a client gets: the code and the "Data" member, as JSON text.
struct Answer {
    int code = 0;
    std::string data;
};

// One line of a table: what a client sends, what of it arrives at the gateway, what the gateway makes of it, and what
// the client gets. In all texts @G stands for the gateway's ID and @I for the request's message ID.
struct Exchange {
    std::string name;

    // JSON text that the client sends.
    std::string request;

    // From the device address to the last byte of the payload, in hexadecimal; blanks are for the reader. Empty when
    // nothing must reach the gateway.
    std::string frame = {};

    // Nothing when the client must not get an answer.
    std::optional<Answer> answer = {};

    // Console commands of the gateway simulator, run before the request, with semicolons between them.
    std::string gateway = {};

    // What the Mux must log meanwhile; the exchange ends when it is there. Empty for anything.
    std::string log = {};

    // The message ID in the answer, as it stands between the quotes.
    std::string id = "@I";

    // What the schema of requests says of the request.
    ByRequestSchema schema = ByRequestSchema::kFits;
};

// The exchange with a request that its schema refuses.
Exchange Odd(Exchange exchange);

// A request of this code with message ID @I for gateway @G; `members` are those of "Data" behind "gatewayID".
std::string Request(int code, const std::string& members = R"("lockID":5)");
// The same with this text in place of the whole "Data" object.
std::string RequestWithData(int code, const std::string& data);
// The same without "Data".
std::string RequestWithoutData(int code);

inline Answer Ack(const std::string& data = "{}") {
    return {0, data};
}
Answer Nack(int errorCode, const std::string& text);
// What the Mux answers by itself to a request that it cannot hand to a gateway.
inline Answer Refusal() {
    return Nack(0, "Error in request");
}

// A request that gateway 1 accepts.
inline const Exchange kRequest = {"a request", Request(14), "00000005 08", Ack()};

// The number behind {"Timestamp": at the very start of the text, -1 when there is none.
long long TimestampOf(const std::string& text);

// The whole text that a client gets.
std::string MessageText(long long timestamp, const std::string& id, const Answer& answer);

// Records a failure unless `received` is this message, byte for byte, with a time stamp between `from` and now.
void ExpectMessage(const std::string& received, const std::string& id, const Answer& answer, std::time_t from);

// Sends a request that needs no gateway, and records a failure unless its refusal is the next text that comes: a fatal
// one if none comes.
void ExpectServed(TestClient& client, const std::string& id = "served");

// `text` with every `mark` replaced.
std::string Replace(std::string text, const std::string& mark, const std::string& replacement);

}  // namespace SystemTest
