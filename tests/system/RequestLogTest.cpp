// What the log tells about one request on its way, line by line.

#include <gtest/gtest.h>

#include <string>

#include "tests/system/support/ExchangeRunner.h"
#include "tests/system/support/LogLines.h"

namespace SystemTest {
namespace {

// The descriptor in "Client with FD 7 accepted.".
std::string DescriptorOf(const MuxProcess& mux) {
    static const std::string kStart = " Client with FD ";
    const std::string output = mux.Output();
    const std::size_t start = output.find(kStart) + kStart.size();
    return output.substr(start, output.find(' ', start) - start);
}

const std::string kWalk =
    R"({"Timestamp":1700000000,"MessageID":"walk","MessageCode":14,"Data":{"gatewayID":1,"lockID":5}})";

class RequestLog : public testing::Test {
  protected:
    // Sends the text and waits until the Mux is done with the answer; returns the answer.
    std::string Ask(const std::string& text) {
        client_.Send(text);
        std::string answer = client_.Receive();
        EXPECT_TRUE(system_.Mux().WaitFor("Message sent. Deallocating messages memory."));
        descriptor_ = DescriptorOf(system_.Mux());
        return answer;
    }

    void ExpectIntake(const std::string& text, const std::string& description) const {
        const std::string size = std::to_string(Packet(text).size());
        ExpectInOrder(
            system_.Mux().Lines(),
            {{"", "Accepted connection with FD " + descriptor_},
             {"DEBUG", "Client with FD " + descriptor_ + " accepted."},
             {"VERB", "Activity detected for socket " + descriptor_},
             {"WARN", "Received on socket " + descriptor_ + "bytes: " + size + " but expected size was: " + size},
             {"", "Invoking DataReceivedCallback if not null."},
             {"VERB", "Data callback hit."},
             {"DEBUG", "[Mux::ServerSocketClientDataReceived] - Data received from socket with FD " + descriptor_ +
                           ". Data size: " + size},
             {"VERB", "The string contained is: " + text + ". I will try to parse message."},
             {"VERB", "Message received is of size > 0."},
             {"DEBUG", "Received message JSON: " + text},
             {"VERB", "Parsed received message."},
             {"DEBUG", description},
             {"WARN", "Requested lock withtout timeout for mutex clientMessageQueueMutex"},
             {"DEBUG", "Message enqueued. The queue is currently 1 elements long."}});
    }

    void ExpectDelivery(const std::string& converting, const std::string& answer) const {
        ExpectInOrder(system_.Mux().Lines(),
                      {{"VERB", "Message walk popped."},
                       {"VERB", converting},
                       {"INFO", "Sending message answer with ID walk to socket with FD " + descriptor_},
                       {"VERB", "Message payload: " + answer},
                       {"VERB", "Message sent. Deallocating messages memory."}});
    }

    MuxSystem system_{WithArguments({"--verbose"})};
    TestClient client_ = system_.NewClient();
    std::string descriptor_;
};

TEST_F(RequestLog, FollowsARequestToItsGatewayAndBack) {
    const std::string answer = Ask(kWalk);
    ASSERT_TRUE(system_.Mux().WaitFor("Ended management.", 3));
    ExpectIntake(kWalk, "The message is MUX_MESSAGE_ACCESS_DENIED, and the lockID is 5 on gateway 1");
    ExpectInOrder(system_.Mux().Lines(),
                  {{"DEBUG", "Message enqueued. The queue is currently 1 elements long."},
                   {"VERB", "Popped MuxRequestInfo with ID walk for socket with FD " + descriptor_ + "."},
                   {"DEBUG", "SendMessageToVG MutexGuard acquired "},
                   {"VERB", "Prepare to send message ACCESS DENIED"},
                   {"INFO", "Enqueuing ACCESS_DENIED message."},
                   {"VERB", "RequestInfo built."},
                   {"VERB", "RequestInfo pushed to messagesQueue."},
                   {"INFO", "Message correctly enqueued by Virtual Gateway. MessageID: walk"},
                   {"WARN", "Requested lock withtout timeout for mutex pendingMessagesListMutex"},
                   {"VERB", "Message walk sent to VG."},
                   {"INFO", "Sending binary serialized message with ID walk, code \x08 to address 5"},
                   {"VERB", "Sending binary serialized message with ID walk to gateway socket send."},
                   {"", "Send result:19"},
                   {"VERB",
                    "Binary serialized message with ID walk and ReferenceID \x03 sent using gateway socket "
                    "send."}});
    ExpectInOrder(system_.Mux().Lines(),
                  {{"", "Send result:19"},
                   {"DEBUG", "Message fetched and translated. Erasing the array from the buffer."},
                   {"DEBUG", "Managing new message"},
                   {"VERB", "ReplyReferenceID 3"},
                   {"VERB", "ReplyReferenceID LE0"},
                   {"VERB", "ReplyReferenceID BE3"},
                   {"VERB", "Waiting message count 1"},
                   {"VERB", "Message pending with refereceID 3 and Message ID walk"},
                   {"INFO", "Response from gateway: OK for message with ID walk"},
                   {"", "Gateway \"1\" sent an answer for message with ID walk"},
                   {"", "Invoking TranslateMessage callback."},
                   {"", "Found message with ID walk sent from gateway \"1\". Answer message to client will be built."},
                   {"DEBUG", "Enqueuing mux answer walk to client."},
                   {"WARN", "Requested lock withtout timeout for mutex muxMessageQueueMutex"},
                   {"VERB",
                    "Enqueued mux answer message with ID walk. Currently, the Mux have 1 messages in the "
                    "answer queue, ready to be sent to clients."},
                   {"VERB", "Clear memory for the request."},
                   {"VERB", "Remove the request from the pending list."},
                   {"VERB", "Clear memory for the parsed response message."},
                   {"VERB", "Ended management."}});
    ExpectDelivery(" Converting ACK Message.", answer);
}

TEST_F(RequestLog, FollowsARefusedRequest) {
    const std::string request = Replace(kWalk, R"("gatewayID":1)", R"("gatewayID":9)");
    const std::string answer = Ask(request);
    ExpectIntake(request, "The message is MUX_MESSAGE_ACCESS_DENIED, and the lockID is 5 on gateway 9");
    ExpectInOrder(system_.Mux().Lines(),
                  {{"VERB", "Popped MuxRequestInfo with ID walk for socket with FD " + descriptor_ + "."},
                   {"VERB", "Prepare to send message ACCESS DENIED"},
                   {"WARN", "Cannot find requested gateway for MUX_MESSAGE_ACCESS_DENIED"},
                   {"DEBUG", "Message not correctly enqueued by Virtual Gateway. MessageID: walk"},
                   {"WARN", "Enqueuing NACK mux answer walk to the client."},
                   {"WARN",
                    "Enqueued error NACK answer message with ID walk. Currently, the Mux have 1 messages in "
                    "the answer queue, ready to be sent to clients."}});
    ExpectDelivery("Converting NACK Message.", answer);
}

TEST_F(RequestLog, SaysThatAClientHasGone) {
    Ask(kWalk);
    client_.Close();
    ASSERT_TRUE(system_.Mux().WaitFor("Client deleted from list. FD " + descriptor_));
    ExpectInOrder(system_.Mux().Lines(), {{"WARN", "Recv returned 0 for socket " + descriptor_ +
                                                       " with a receivedData buffer empty. It will "
                                                       "be market for close."},
                                          {"", "Clearing reset sockets list. Current socket to close: " + descriptor_},
                                          {"DEBUG", "Client deleted from list. FD " + descriptor_}});
}

// The names of the requests in the log, and the texts of the gateway's operations.
TEST_F(RequestLog, NamesEveryRequest) {
    struct Row {
        int code;
        const char* name;
        const char* enqueuing;
        const char* description;
    };
    const Row rows[] = {
        {10, "LOCK OPEN", "Enqueuing OPEN_LOCK message.", "The message is LOCK_OPEN, and the lockID is 5 on gateway 1"},
        {11, "LOCK CLOSE", " Enqueuing CLOSE_LOCK message.", ""},
        {12, "LOCK GET-STATUS", "Enqueuing GET_STATUS message.", ""},
        {13, "LOCK OPEN-CLOSE", "Enqueuing OPEN_LOCK message.",
         "The message is LOCK_OPEN_CLOSE, and the lockID is 5 on gateway 1. Duration is 2"},
        {14, "ACCESS DENIED", "Enqueuing ACCESS_DENIED message.", ""},
        {21, "WHITELIST SET", "Enqueuing ADD_TO_WHITELIST message.", ""},
        {22, "WHITELIST CLEAR", "Enqueuing DELETE_WHOLE_WHITELIST message.", ""},
        {23, "WHITELIST ENABLE", "Enqueuing ENABLE_WHITELIST message.", ""},
        {24, "WHITELIST DISABLE", "Enqueuing DISABLE_WHITELIST message.", ""},
        {25, "", "Enqueuing REMOVE_FROM_WHITELIST message.", ""},
        {110, "LOCK OPEN EVENT RESPONSE", "Enqueuing OPEN_LOCK message.", ""},
        {111, "LOCK CLOSE EVENT RESPONSE", " Enqueuing CLOSE_LOCK message.", ""},
        {113, "LOCK OPEN-CLOSE EVENT RESPONSE", "Enqueuing OPEN_LOCK message.", ""},
        {114, "EVENT ACCESS DENIED", "Enqueuing ACCESS_DENIED message.", ""},
    };
    std::size_t answers = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.code);
        const std::size_t before = system_.Mux().Lines().size();
        const std::string data = R"({"gatewayID":1,"lockID":5,"duration":2,"cardData":"01"})";
        client_.Send(Replace(RequestWithData(row.code, data), "@I", "walk-" + std::to_string(row.code)));
        client_.Receive();
        ASSERT_TRUE(system_.Mux().WaitFor("Message sent. Deallocating messages memory.", ++answers));
        std::vector<std::string> lines = system_.Mux().Lines();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
        if (*row.description != '\0') {
            ExpectInOrder(lines, {{"DEBUG", row.description}});
        }
        ExpectInOrder(lines, {{"VERB", std::string("Prepare to send message ") + row.name}, {"INFO", row.enqueuing}});
    }
}

}  // namespace
}  // namespace SystemTest
