#include "tests/mux/MuxClient.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <system_error>

#include "tests/mux/JsonTimestamp.h"
#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

// Follows a JSON text character by character and tells where its first object ends.
class ObjectEnd {
  public:
    bool IsReachedBy(char character) {
        if (inText_) {
            inText_ = escaped_ || character != '"';
            escaped_ = !escaped_ && character == '\\';
            return false;
        }
        inText_ = character == '"';
        depth_ += character == '{' ? 1 : 0;
        depth_ -= character == '}' ? 1 : 0;
        return character == '}' && depth_ == 0;
    }

  private:
    int depth_ = 0;
    bool inText_ = false;
    bool escaped_ = false;
};

LoopbackSocket ConnectedTo(int port) {
    LoopbackSocket socket;
    const bool connected = WaitUntil([&] {
        try {
            socket = LoopbackSocket::ConnectedTo(port);
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    });
    EXPECT_TRUE(connected) << "Nobody listens on port " << port;
    return socket;
}

}  // namespace

MuxClient::MuxClient(int port) : socket_(ConnectedTo(port)) {}

void MuxClient::Send(const std::string& json) {
    socket_.Send(Packet(json));
}

std::string MuxClient::Receive() {
    std::string text;
    ObjectEnd end;
    for (bool complete = false; !complete;) {
        const std::vector<unsigned char> next = socket_.Receive(1);
        if (next.empty()) {
            ADD_FAILURE() << "No whole answer came: " << text;
            break;
        }
        text.push_back(static_cast<char>(next.front()));
        complete = end.IsReachedBy(text.back());
    }
    return WithoutTimestamp(text);
}

bool MuxClient::IsSilent() const {
    pollfd wanted = {socket_.Descriptor(), POLLIN, 0};
    return poll(&wanted, 1, 0) == 0;
}

void MuxClient::Close() {
    socket_.Close();
}

std::vector<unsigned char> Packet(const std::string& text) {
    const std::size_t length = text.size() + 6;
    std::vector<unsigned char> packet = {
        static_cast<unsigned char>(length % 256), static_cast<unsigned char>(length / 256), 'M', 'U', 'X', 'M'};
    packet.insert(packet.end(), text.begin(), text.end());
    return packet;
}

}  // namespace Testing
