#include "tests/net/GatewayConnection.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <filesystem>

#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"

namespace Testing {
namespace {

using Brenk::Net::ClientSocket;
using Diagnostics::ErrorGuard;

std::vector<int> Descriptors() {
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.push_back(std::stoi(entry.path().filename()));
    }
    return descriptors;
}

std::string WithoutSignature(const std::string& line) {
    const std::size_t end = line.find(") ");
    return end == std::string::npos ? line : line.substr(end + 2);
}

bool IsOwnNote(const std::string& text) {
    return text.rfind("report ", 0) == 0 || text.rfind("callback ", 0) == 0;
}

}  // namespace

GatewayConnection::GatewayConnection(std::chrono::milliseconds connectionTimeout)
    : socket_(std::make_shared<ClientSocket>("127.0.0.1", listener_.Port(), connectionTimeout)),
      socketReportsBefore_(ErrorGuard::Instance().SecondCounter()),
      connectionReportsBefore_(ErrorGuard::Instance().FirstCounter()) {
    socket_->SetCallbacks(OnSendError, OnReceiveError, this);
    ErrorGuard::Configuration configuration;
    configuration.observer = OnReport;
    ErrorGuard::Instance().Configure(configuration);
}

GatewayConnection::~GatewayConnection() {
    ErrorGuard::Instance().Configure({});
}

void GatewayConnection::Connect() {
    ASSERT_TRUE(socket_->Connect()) << log_.Text();
    gateway_ = listener_.Accept();
}

std::vector<std::string> GatewayConnection::Callbacks() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return callbacks_;
}

std::vector<std::string> GatewayConnection::Failures() const {
    std::vector<std::string> failures;
    for (const auto& [severity, line] : log_.Lines()) {
        const std::string text = WithoutSignature(line);
        if (severity == plog::error || IsOwnNote(text)) {
            failures.push_back(text);
        } else if (severity < plog::info) {
            failures.push_back(std::string(plog::severityToString(severity)) + ": " + text);
        }
    }
    return failures;
}

std::string GatewayConnection::GatewayLine(const std::string& reason, int port) const {
    return "Gateway at 127.0.0.1:" + std::to_string(port == 0 ? listener_.Port() : port) + ": " + reason;
}

int GatewayConnection::SocketReports() const {
    return static_cast<int>(ErrorGuard::Instance().SecondCounter() - socketReportsBefore_);
}

int GatewayConnection::ConnectionReports() const {
    return static_cast<int>(ErrorGuard::Instance().FirstCounter() - connectionReportsBefore_);
}

int GatewayConnection::DescriptorConnectedTo(int port) {
    for (const int descriptor : Descriptors()) {
        sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sin_family == AF_INET &&
            ntohs(peer.sin_port) == port) {
            return descriptor;
        }
    }
    return -1;
}

int GatewayConnection::OpenDescriptors() {
    return static_cast<int>(Descriptors().size());
}

void GatewayConnection::OnSendError(int errorNumber, void* context) {
    static_cast<GatewayConnection*>(context)->Note("send " + std::to_string(errorNumber));
}

void GatewayConnection::OnReceiveError(int errorNumber, void* context) {
    static_cast<GatewayConnection*>(context)->Note("receive " + std::to_string(errorNumber));
}

void GatewayConnection::OnReport(std::uint32_t, int kind) {
    MUX_LOG(plog::warning) << "report " << kind;
}

void GatewayConnection::Note(const std::string& callback) {
    MUX_LOG(plog::warning) << "callback " << callback;
    const std::lock_guard<std::mutex> lock(mutex_);
    callbacks_.push_back(callback);
}

}  // namespace Testing
