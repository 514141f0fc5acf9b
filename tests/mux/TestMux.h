#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "mux/BrenkMux.h"
#include "tests/support/CapturedLog.h"

namespace Testing {

// A Mux of which a test sees how full its queues are. Without its mutexes all its locks with a time-out fail.
//
// Not started it has no threads of its own (its gateways do): the test plays them and calls one pass after another.
class TestMux : public Mux::BrenkMux {
  public:
    using BrenkMux::BrenkMux;

    std::size_t PushAnswer(Mux::RecordPointer record) { return Answers().Push(std::move(record)); }
    std::size_t AnswerCount() { return Answers().Count(); }
    std::size_t RequestCount() const { return Requests().Count(); }
    std::size_t PendingCount() const { return Pending().Count(); }

    // Takes a client's JSON text in, as the receive thread does.
    void TakeIn(const std::string& json, int descriptor = kDescriptor);

    // The same, and then one pass of the gateways thread.
    void Route(const std::string& json, int descriptor = kDescriptor);

    // Lets a gateway of the configuration answer a request with a result code.
    void AnswerFromGateway(const std::string& messageID, std::uint32_t responseCode, std::int32_t gatewayID = 1);

    // The gateway with this ID, which must exist.
    Brenk::VirtualGateway* Gateway(std::int32_t id = 1);

    // The JSON text of the answer or event at the head of the answer queue, without its time; the record is taken out.
    // For a Mux that was not started: without a server socket every delivery fails, and the last attempt drops it.
    std::string TakeAnswer(const CapturedLog& log);

    // What stands for a client where no socket is needed.
    static constexpr int kDescriptor = 999;
};

// A record for the client with this descriptor and connection serial number 1.
Mux::RecordPointer RecordFor(int descriptor, std::shared_ptr<Mux::MuxMessage> message = nullptr, bool isEvent = false);

// The codes of all requests for a gateway.
const std::vector<int>& RoutedCodes();

// A client's request as JSON text. Without `data` it has none.
std::string Request(std::int32_t code, const std::string& messageID = "m1", const std::string& data = "");

// The "Data" of a request for lock 5: good for every request code.
std::string LockData(std::int32_t gatewayID = 1);

// A configuration with one gateway for each port, their IDs 1, 2, 3 ..., all on 127.0.0.1.
std::string ConfigurationText(const std::vector<int>& ports);

// The JSON text of a NACK "Error in request", as TakeAnswer and WithoutTimestamp give it.
std::string RequestNack(const std::string& messageID);

// The answer to a request of ID m1 to open a lock, as TakeAnswer gives it.
inline constexpr const char* kOpened =
    R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})";

// The descriptor of the client that was accepted last.
int LatestDescriptor(const CapturedLog& log);

// Those of the texts that end a log line so far, in the order in which they were logged.
std::vector<std::string> InOrder(const CapturedLog& log, const std::vector<std::string>& texts);

// Records a failure unless each of the texts ends one log line so far, in this order.
void ExpectInOrder(const CapturedLog& log, const std::vector<std::string>& texts);

}  // namespace Testing
