#include "tests/net/TestServer.h"

#include <algorithm>
#include <utility>

#include "tests/support/WaitUntil.h"

namespace Testing {

using Brenk::Net::ServerSocket;

TestServer::TestServer() : server_(std::make_unique<ServerSocket>(port_.Number())), observed_(server_.get()) {
    server_->SetContext(this);
    server_->SetClientAcceptedCallback(OnAccepted);
    server_->SetClientDeletedCallback(OnDeleted);
    server_->SetDataReceivedCallback(OnReceived);
    server_->SetDataSentCallback(OnSent);
}

TestServer::~TestServer() {
    server_.reset();
}

void TestServer::StartAccepting() {
    ASSERT_TRUE(server_->InitSocket()) << log_.Text();
    server_->StartAcceptLoop();
}

void TestServer::StartAll() {
    StartAccepting();
    server_->StartReceiveLoop();
}

LoopbackSocket TestServer::ConnectClient() {
    const int before = Count("accepted");
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port_.Number());
    EXPECT_TRUE(WaitForEvents("accepted", before + 1));
    return client;
}

int TestServer::NewestDescriptor() const {
    int newest = -1;
    for (const ServerEvent& event : Events()) {
        newest = event.what == "accepted" ? event.descriptor : newest;
    }
    return newest;
}

std::vector<ServerEvent> TestServer::Events() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

std::vector<std::string> TestServer::EventNames() const {
    std::vector<std::string> names;
    for (const ServerEvent& event : Events()) {
        names.push_back(event.what + " " + std::to_string(event.descriptor));
    }
    return names;
}

int TestServer::Count(const std::string& what) const {
    const std::vector<ServerEvent> events = Events();
    return static_cast<int>(
        std::count_if(events.begin(), events.end(), [&](const ServerEvent& event) { return event.what == what; }));
}

std::vector<TestServer::Bytes> TestServer::PacketsFrom(int descriptor) const {
    std::vector<Bytes> packets;
    for (const ServerEvent& event : Events()) {
        if (event.what == "received" && event.descriptor == descriptor) {
            packets.push_back(event.packet);
        }
    }
    return packets;
}

bool TestServer::WaitForEvents(const std::string& what, int count) const {
    return WaitUntil([&] { return Count(what) >= count; }, std::chrono::seconds(20));
}

void TestServer::OnAccepted(int descriptor, void* context) {
    static_cast<TestServer*>(context)->Note({"accepted", descriptor});
}

void TestServer::OnDeleted(int descriptor, void* context) {
    static_cast<TestServer*>(context)->Note({"deleted", descriptor});
}

void TestServer::OnReceived(int descriptor, std::vector<unsigned char>* packet, void* context) {
    const std::unique_ptr<std::vector<unsigned char>> owned(packet);
    static_cast<TestServer*>(context)->Note({"received", descriptor, *owned});
}

void TestServer::OnSent(int descriptor, int bytesSent, void* context) {
    static_cast<TestServer*>(context)->Note({"sent", descriptor, {}, bytesSent});
}

void TestServer::Note(ServerEvent event) {
    event.connected = observed_->ConnectedDescriptors().size();
    event.thread = std::this_thread::get_id();
    const std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(std::move(event));
}

}  // namespace Testing
