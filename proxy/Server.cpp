#include "proxy/Server.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "proxy/configuration/ConfigurationReader.h"
#include "proxy/net/Network.h"

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;

// Certificates end while their clients are connected.
constexpr std::chrono::minutes kBetweenChecksOfClients{10};
constexpr std::chrono::hours kBetweenWarnings{24};

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

// For the journal, which knows the severity by the number in front. Any thread.
void Say(const char* severity, const std::string& text) {
    std::cerr << severity + text + '\n';
}

}  // namespace

Server::Server(Configuration configuration, ReadAgain readAgain, const ServiceKit* kit)
    : configuration_(std::move(configuration)),
      readAgain_(std::move(readAgain)),
      certificateSettings_(configuration_.certificates),
      certificates_(std::make_shared<const Certificates>(configuration_.certificates)),
      services_(loop_, configuration_, kit),
      audit_(configuration_.audit, {}, services_.Hooks()),
      rows_(audit_),
      dispatcher_(*this, audit_, RightsOf(configuration_)),
      mux_(loop_, configuration_.mux, *this),
      signals_(loop_, SIGTERM, SIGINT, SIGHUP),
      timer_(loop_),
      checkTimer_(loop_),
      expiryTimer_(loop_),
      turns_(loop_),
      aside_(loop_),
      listeners_(loop_, configuration_.listen.addresses, configuration_.listen.port) {}

Server::~Server() = default;

void Server::Run() {
    // A client that has gone is noticed by the error of the call.
    if (std::signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
        throw std::runtime_error("SIGPIPE cannot be ignored");
    }
    listeners_.Start([this](Listeners::Socket socket) { Take(std::move(socket)); });
    WaitForSignal();
    PlanCheckOfClients();
    WarnOfExpiry();
    services_.Start(
        dispatcher_, audit_, [this] { return clients_.size(); }, [this] { Plan(); }, [this] { EndIfAllHaveGone(); });
    mux_.Start();
    audit_.Add(0, ProxyRow("started"));
    sd_notify(0, "READY=1");
    loop_.run();
    audit_.Add(0, ProxyRow("stopped"));
}

void Server::Take(Listeners::Socket socket) {
    const LimitSettings& limits = configuration_.limits;
    const auto session = std::make_shared<ClientSession>(std::move(socket), certificates_, limits, turns_,
                                                         static_cast<SessionOwner&>(*this));
    const std::string network = NetworkOf(session->Address());
    const auto ofNetwork = byNetwork_.find(network);
    if (ofNetwork != byNetwork_.end() && ofNetwork->second >= limits.connectionsPerAddress) {
        rows_.TurnedAway(*session, "too many connections of this address");
        return;
    }
    ++byNetwork_[network];
    MakeRoomForHandshake();
    sessions_.emplace(session.get(), session);
    handshakes_.push_back(session.get());
    session->Start(limits.handshake);
}

// As many as there may be clients: all may come at once when the proxy was started. Strangers who never end theirs make
// room for others.
void Server::MakeRoomForHandshake() {
    if (handshakes_.size() >= configuration_.limits.connections) {
        handshakes_.front()->Close("others wanted its place before its handshake was done");
        handshakes_.pop_front();
    }
}

void Server::SessionOpened(ClientSession& session) {
    handshakes_.remove(&session);
    if (!session.IsMadeWith(certificates_) && !session.IsAcceptedBy(*certificates_)) {
        session.Close("its certificate is not accepted any more");
        return;
    }
    if (clients_.size() >= configuration_.limits.connections) {
        session.Close("too many connections");
        return;
    }
    std::shared_ptr<ClientAccount>& account = accounts_[session.Name()];
    if (account == nullptr) {
        account = std::make_shared<ClientAccount>();
    }
    if (account->connections >= configuration_.limits.connectionsPerClient) {
        session.Close("too many connections of this client");
        return;
    }
    ++account->connections;
    session.SetAccount(account);
    const ConnectionNumber number = dispatcher_.Connected({session.Name(), session.Address()});
    numbers_.emplace(&session, number);
    clients_.emplace(number, &session);
    rows_.Client(session, *account, "connected", "");
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
        ClientAccount& account = *accounts_.at(session.Name());
        --account.connections;
        rows_.Client(session, account, "left", reason);
        Plan();
    } else {
        handshakes_.remove(&session);
        rows_.TurnedAway(session, reason);
    }
    const auto ofNetwork = byNetwork_.find(NetworkOf(session.Address()));
    if (--ofNetwork->second == 0) {
        byNetwork_.erase(ofNetwork);
    }
    sessions_.erase(&session);
    EndIfAllHaveGone();
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

void Server::SendToClient(ConnectionNumber connection, const std::string& text) {
    const auto found = clients_.find(connection);
    if (found != clients_.end()) {
        found->second->Send(text);
    } else {
        services_.TakeAnswer(connection, text);
    }
}

void Server::SendToMux(const std::string& text) {
    mux_.Send(text);
}

void Server::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    services_.StatusCame(lock, status);
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

void Server::Reload() {
    if (std::exchange(isReading_, true)) {
        isToReadAgain_ = true;
        return;
    }
    aside_.Do([this] { asio::post(loop_, [this, reading = ReadAnew()] { Apply(reading); }); });
}

Server::Reading Server::ReadAnew() const {
    Reading reading;
    try {
        reading.configuration = readAgain_();
        reading.certificates = std::make_shared<const Certificates>(reading.configuration.certificates);
        reading.ofServices = services_.ReadAnew(reading.configuration);
    } catch (const std::exception& error) {
        reading.fault = error.what();
    }
    return reading;
}

// A file that cannot be used changes nothing: those who are connected stay, and the old rights hold.
void Server::Apply(const Reading& reading) {
    isReading_ = false;
    if (reading.fault.empty()) {
        certificates_ = reading.certificates;
        certificateSettings_ = reading.configuration.certificates;
        dispatcher_.SetRights(RightsOf(reading.configuration));
        audit_.SetRetention(reading.configuration.audit);
        for (const auto& apply : reading.ofServices) {
            apply();
        }
        aside_.Do([this, settings = certificateSettings_] { services_.MeasureExpiry(settings); });
        CheckClients();
        Plan();
        Say("<6>", "The configuration was read anew");
        audit_.Add(0, ProxyRow("reloaded"));
    } else {
        Say("<3>", "The configuration is not read anew: " + reading.fault);
        audit_.Add(0, ProxyRow("reload-failed", reading.fault));
    }
    if (std::exchange(isToReadAgain_, false) && !isEnding_) {
        Reload();
    }
}

void Server::CheckClients() {
    for (const auto& [session, number] : numbers_) {
        session->CheckAgain(certificates_);
    }
}

void Server::PlanCheckOfClients() {
    checkTimer_.expires_after(kBetweenChecksOfClients);
    checkTimer_.async_wait([this](const Error& error) {
        if (!error && !isEnding_) {
            CheckClients();
            PlanCheckOfClients();
        }
    });
}

void Server::WarnOfExpiry() {
    aside_.Do([this, settings = certificateSettings_] {
        services_.MeasureExpiry(settings);
        for (const Finding& finding : CheckExpiry(settings)) {
            Say(finding.isError ? "<3>" : "<4>", finding.text);
        }
    });
    expiryTimer_.expires_after(kBetweenWarnings);
    expiryTimer_.async_wait([this](const Error& error) {
        if (!error && !isEnding_) {
            WarnOfExpiry();
        }
    });
}

// The loop ends when the last answers have gone, or a little later.
void Server::Stop() {
    sd_notify(0, "STOPPING=1");
    isEnding_ = true;
    listeners_.Stop();
    services_.Stop();
    mux_.Close();
    dispatcher_.EndAll();
    for (const auto& [session, owned] : sessions_) {
        session->CloseWhenSent("the proxy ends");
    }
    timer_.expires_after(kLongestEnd);
    timer_.async_wait([this](const Error&) { loop_.stop(); });
    services_.End();
    EndIfAllHaveGone();
}

void Server::EndIfAllHaveGone() {
    if (isEnding_ && sessions_.empty() && services_.HasEnded()) {
        timer_.cancel();
    }
}

}  // namespace MuxProxy
