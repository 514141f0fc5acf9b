#pragma once

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <string>

#include "proxy/configuration/Configuration.h"
#include "tools/client/TextCutter.h"

namespace MuxProxy {

// Whom the link tells what happens to it, from the network loop.
class MuxLinkOwner {
  public:
    virtual ~MuxLinkOwner() = default;
    virtual void MuxLinkOpened() = 0;
    virtual void MuxLinkReceived(const std::string& text) = 0;
    // `reason` is for people. The link connects again by itself.
    virtual void MuxLinkLost(const std::string& reason) = 0;
    // A first attempt, or one after a loss, has failed. Not repeated for the following ones.
    virtual void MuxLinkFailed(const std::string& reason) = 0;
};

// The one connection to the Mux: comes back by itself, and notices within kNoticed that the Mux's host is gone. For the
// network loop; it must not be destroyed before the loop's last run.
class MuxLink {
  public:
    static constexpr std::chrono::milliseconds kBetweenAttempts{500};
    static constexpr std::chrono::seconds kNoticed{10};

    MuxLink(boost::asio::io_context& loop, MuxSettings settings, MuxLinkOwner& owner);

    void Start();
    // One packet with this text, if there is a connection.
    void Send(const std::string& text);
    // For good.
    void Close();

  private:
    using Tcp = boost::asio::ip::tcp;
    using Error = boost::system::error_code;

    void Resolve();
    void Connect(const Tcp::resolver::results_type& addresses);
    void Opened();
    void Read();
    void Write();
    void Fail(const std::string& reason);
    void TryLater();

    Tcp::resolver resolver_;
    Tcp::socket socket_;
    boost::asio::steady_timer timer_;
    const MuxSettings settings_;
    MuxLinkOwner& owner_;
    MuxClient::TextCutter cutter_;
    std::array<char, 16384> received_{};
    std::string pending_;
    std::string writing_;
    bool isConnected_ = false;
    bool hasComplained_ = false;
    bool isClosed_ = false;
};

}  // namespace MuxProxy
