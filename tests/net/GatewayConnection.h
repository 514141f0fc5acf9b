#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "net/ClientSocket.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A ClientSocket and the gateway that it connects to. Callbacks are noted, also in the log, where they stand between
// the lines of the socket; so do the reports to the error guard.
class GatewayConnection : public testing::Test {
  protected:
    using Bytes = std::vector<unsigned char>;

    explicit GatewayConnection(std::chrono::milliseconds connectionTimeout = std::chrono::seconds(15));
    ~GatewayConnection() override;

    // Connects the socket and takes the gateway's end of the connection.
    void Connect();

    // "send 32" or "receive 0": which callbacks came with which error number.
    std::vector<std::string> Callbacks() const;

    // The texts of the lines at error, with "report <kind>" and "callback <which>" where those came. A line at warning
    // or fatal, which the socket never writes, stands with its severity in front.
    std::vector<std::string> Failures() const;

    // The line that names the gateway behind one that does not; with another port if one is given.
    std::string GatewayLine(const std::string& reason, int port = 0) const;

    // Reports to the error guard since the test began.
    int SocketReports() const;
    int ConnectionReports() const;

    // The descriptor of this process that is connected to `port`; -1 for none.
    static int DescriptorConnectedTo(int port);

    // How many descriptors this process has.
    static int OpenDescriptors();

    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket gateway_{-1};
    CapturedLog log_;
    std::shared_ptr<Brenk::Net::ClientSocket> socket_;

  private:
    static void OnSendError(int errorNumber, void* context);
    static void OnReceiveError(int errorNumber, void* context);
    static void OnReport(std::uint32_t secondCounter, int kind);
    void Note(const std::string& callback);

    mutable std::mutex mutex_;
    std::vector<std::string> callbacks_;
    std::uint32_t socketReportsBefore_;
    std::uint32_t connectionReportsBefore_;
};

}  // namespace Testing
