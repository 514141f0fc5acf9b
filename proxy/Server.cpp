#include "proxy/Server.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;

// How long to wait when there are no descriptors for another connection.
constexpr std::chrono::milliseconds kPauseOfAccepting{200};

// Strangers must not push the rows of others out of the audit.
constexpr std::chrono::seconds kBetweenRowsOfStrangers{60};

// For answers that are still on their way when the proxy ends.
constexpr std::chrono::seconds kLongestEnd{2};

std::shared_ptr<const Rights> RightsOf(const Configuration& configuration) {
    return std::make_shared<const Rights>(configuration.rules);
}

AuditRow ProxyRow(const char* operation, std::string remark = {}) {
    AuditRow row;
    row.kind = "proxy";
    row.operation = operation;
    row.remark = std::move(remark);
    return row;
}

// For the journal, which knows the severity by the number in front.
void Say(const char* severity, const std::string& text) {
    std::cerr << severity << text << std::endl;
}

}  // namespace

Server::Server(Configuration configuration, ReadAgain readAgain)
    : configuration_(std::move(configuration)),
      readAgain_(std::move(readAgain)),
      certificates_(std::make_unique<Certificates>(configuration_.certificates)),
      audit_(configuration_.audit),
      dispatcher_(*this, audit_, RightsOf(configuration_)),
      mux_(loop_, configuration_.mux, *this),
      signals_(loop_, SIGTERM, SIGINT, SIGHUP),
      timer_(loop_),
      turns_(loop_) {
    Listen();
}

Server::~Server() = default;

void Server::Listen() {
    for (const std::string& address : configuration_.listen.addresses) {
        try {
            const Tcp::endpoint endpoint(asio::ip::make_address(address), configuration_.listen.port);
            Tcp::acceptor acceptor(loop_);
            acceptor.open(endpoint.protocol());
            if (endpoint.protocol() == Tcp::v6()) {
                acceptor.set_option(asio::ip::v6_only(true));
            }
            acceptor.set_option(Tcp::acceptor::reuse_address(true));
            acceptor.bind(endpoint);
            acceptor.listen();
            listeners_.push_back({std::move(acceptor), asio::steady_timer(loop_)});
        } catch (const boost::system::system_error& error) {
            throw std::runtime_error("cannot listen on " + address + " port " +
                                     std::to_string(configuration_.listen.port) + ": " + error.code().message());
        }
    }
}

void Server::Run() {
    // A client that has gone is noticed by the error of the call.
    if (std::signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
        throw std::runtime_error("SIGPIPE cannot be ignored");
    }
    for (Listener& listener : listeners_) {
        Accept(listener);
    }
    WaitForSignal();
    mux_.Start();
    audit_.Add(0, ProxyRow("started"));
    sd_notify(0, "READY=1");
    loop_.run();
    audit_.Add(0, ProxyRow("stopped"));
}

void Server::Accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](const Error& error, Tcp::socket socket) {
        if (isEnding_) {
            return;
        }
        if (!error) {
            Take(std::move(socket));
            Accept(listener);
            return;
        }
        listener.timer.expires_after(kPauseOfAccepting);
        listener.timer.async_wait([this, &listener](const Error& aborted) {
            if (!aborted && !isEnding_) {
                Accept(listener);
            }
        });
    });
}

void Server::Take(Tcp::socket socket) {
    const LimitSettings& limits = configuration_.limits;
    const auto session = std::make_shared<ClientSession>(std::move(socket), *certificates_, limits, turns_,
                                                         static_cast<SessionOwner&>(*this));
    const auto ofAddress = byAddress_.find(session->Address());
    const std::size_t others = ofAddress == byAddress_.end() ? 0 : ofAddress->second;
    if (sessions_.size() >= limits.connections || others >= limits.connectionsPerAddress) {
        NoteTurnedAway(*session, "too many connections");
        return;
    }
    ++byAddress_[session->Address()];
    sessions_.emplace(session.get(), session);
    session->Start();
}

void Server::SessionOpened(ClientSession& session) {
    std::size_t& ofName = byName_[session.Name()];
    if (ofName >= configuration_.limits.connectionsPerClient) {
        session.Close("too many connections of this client");
        return;
    }
    ++ofName;
    const ClientNumber number = dispatcher_.Connected({session.Name(), session.Address()});
    numbers_.emplace(&session, number);
    clients_.emplace(number, &session);
    NoteConnection(session, "connected", "");
}

bool Server::SessionReceived(ClientSession& session, const std::string& text) {
    const bool isAccepted = dispatcher_.Received(numbers_.at(&session), text);
    Plan();
    return isAccepted;
}

void Server::SessionEnded(ClientSession& session, const std::string& reason) {
    const auto number = numbers_.find(&session);
    if (number != numbers_.end()) {
        clients_.erase(number->second);
        dispatcher_.Disconnected(number->second);
        numbers_.erase(number);
        --byName_.at(session.Name());
        NoteConnection(session, "left", reason);
        Plan();
    } else {
        NoteTurnedAway(session, reason);
    }
    const auto ofAddress = byAddress_.find(session.Address());
    if (--ofAddress->second == 0) {
        byAddress_.erase(ofAddress);
    }
    sessions_.erase(&session);
    if (isEnding_ && sessions_.empty()) {
        timer_.cancel();
    }
}

void Server::NoteConnection(const ClientSession& session, const char* operation, const std::string& remark) {
    AuditRow row;
    row.kind = "connection";
    row.operation = operation;
    row.client = session.Name();
    row.address = session.Address();
    row.remark = remark;
    audit_.Add(0, std::move(row));
}

void Server::NoteTurnedAway(const ClientSession& session, const std::string& reason) {
    ++turnedAway_;
    if (turnedAwayNoted_ && Now() < *turnedAwayNoted_ + kBetweenRowsOfStrangers) {
        return;
    }
    const std::string others = turnedAway_ > 1 ? " (" + std::to_string(turnedAway_) + " since the last such row)" : "";
    NoteConnection(session, "turned-away", reason + others);
    turnedAway_ = 0;
    turnedAwayNoted_ = Now();
}

void Server::MuxLinkOpened() {
    Say("<6>", "Connected to the Mux");
    dispatcher_.MuxConnected();
    Plan();
}

void Server::MuxLinkReceived(const std::string& text) {
    dispatcher_.MuxSent(text);
    Plan();
}

void Server::MuxLinkLost(const std::string& reason) {
    Say("<4>", "The connection to the Mux was lost: " + reason);
    dispatcher_.MuxLost();
    Plan();
}

void Server::MuxLinkFailed(const std::string& reason) {
    Say("<4>", "Cannot connect to the Mux: " + reason);
}

void Server::SendToClient(ClientNumber client, const std::string& text) {
    const auto found = clients_.find(client);
    if (found != clients_.end()) {
        found->second->Send(text);
    }
}

void Server::SendToMux(const std::string& text) {
    mux_.Send(text);
}

void Server::PostAudited(RequestNumber request, bool isWritten) {
    asio::post(loop_, [this, request, isWritten] {
        dispatcher_.Audited(request, isWritten);
        Plan();
    });
}

// The timer of what the dispatcher does next.
void Server::Plan() {
    if (isEnding_) {
        return;
    }
    const std::optional<Time> next = dispatcher_.NextTime();
    if (!next) {
        timer_.cancel();
        return;
    }
    timer_.expires_at(*next);
    timer_.async_wait([this](const Error& error) {
        if (!error) {
            dispatcher_.Advance();
            Plan();
        }
    });
}

void Server::WaitForSignal() {
    signals_.async_wait([this](const Error& error, int signal) {
        if (error) {
            return;
        }
        if (signal == SIGHUP) {
            Reload();
            WaitForSignal();
        } else {
            Stop();
        }
    });
}

// A file that cannot be used changes nothing: those who are connected stay, and the old rights hold.
void Server::Reload() {
    try {
        const Configuration configuration = readAgain_();
        auto certificates = std::make_unique<const Certificates>(configuration.certificates);
        certificates_ = std::move(certificates);
        dispatcher_.SetRights(RightsOf(configuration));
        audit_.SetRetention(configuration.audit);
    } catch (const std::exception& error) {
        Say("<3>", std::string("The configuration is not read anew: ") + error.what());
        audit_.Add(0, ProxyRow("reload-failed", error.what()));
        return;
    }
    for (const auto& [session, number] : numbers_) {
        if (!session->IsAcceptedBy(*certificates_)) {
            session->Close("its certificate is not accepted any more");
        }
    }
    Say("<6>", "The configuration was read anew");
    audit_.Add(0, ProxyRow("reloaded"));
}

// The loop ends when it has nothing to do any more.
void Server::Stop() {
    sd_notify(0, "STOPPING=1");
    for (Listener& listener : listeners_) {
        Error ignored;
        listener.acceptor.close(ignored);
        listener.timer.cancel();
    }
    mux_.Close();
    dispatcher_.EndAll();
    asio::post(loop_, [this] {
        for (const auto& [session, owned] : sessions_) {
            session->Close("the proxy ends");
        }
    });
    timer_.expires_after(kLongestEnd);
    timer_.async_wait([this](const Error&) { loop_.stop(); });
    isEnding_ = true;
}

}  // namespace MuxProxy
