#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "proxy/dispatch/Insiders.h"
#include "proxy/mqtt/CommandPayload.h"
#include "proxy/net/Aside.h"
#include "proxy/net/ClientAccount.h"
#include "proxy/web/CardList.h"
#include "proxy/web/SiteState.h"
#include "proxy/web/WebExchange.h"

namespace MuxProxy {

// What users of the page ask of doors, which goes the way of every request under their names; and the list of the cards
// that they entered. For the network loop; the list is read and written on a thread beside it.
class WebOrders {
  public:
    // Lists that may be read at once; further ones are refused.
    static constexpr std::size_t kMostReading = 4;

    // Opens the list. Throws AuditFileError. Loop and site outlive it.
    WebOrders(boost::asio::io_context& loop, const std::string& cardFile, const SiteState& site);
    // Does what is to be changed in the list.
    ~WebOrders();
    WebOrders(const WebOrders&) = delete;
    WebOrders& operator=(const WebOrders&) = delete;

    // The requests outlive it.
    void Start(Insiders& insiders) { insiders_ = &insiders; }

    // POST of "/api/requests": answered when the request has ended. What was not sent when the browser goes is dropped.
    void Order(const WebExchangePointer& exchange);
    // GET of "/api/cards" and "/api/cards.csv".
    void ShowCards(const WebExchangePointer& exchange);
    void DownloadCards(const WebExchangePointer& exchange);

    // Of everybody: cards that locks have confirmed enter the list if the page asked for it, and leave it whoever did.
    void RequestTaken(const TakenRequest& request);
    void RequestEnded(const TakenRequest& request, const RequestEnding& ending);

  private:
    using Entries = std::vector<CardEntry>;

    // Continues with the card that the body names. Throws ClaimFault.
    void FindCard(const WebExchangePointer& exchange, const CommandPayload& body, ProxyRequest request);
    void FindEntry(const WebExchangePointer& exchange, std::int64_t entry, ProxyRequest request);
    void Ask(const WebExchangePointer& exchange, const ProxyRequest& request);
    void Answer(const WebExchangePointer& exchange, const std::string& text,
                std::chrono::steady_clock::time_point asked);
    // Answers that it is refused, which costs as much as from a client that is connected by itself.
    void Refuse(const WebExchangePointer& exchange, HttpResponse response);
    // False, and answered, if this user asks too often.
    bool HasPace(const WebExchangePointer& exchange);
    // Answers with what `make` returns for the entries that the viewer may see, or that they cannot be read. A long
    // list is read, sorted out and written beside the loop.
    void AnswerWithCards(const WebExchangePointer& exchange, HttpResponse (*make)(const Entries&));
    Entries ReadCards(const Rights& rights, const std::string& viewer);
    // Does something with the list beside the loop.
    void Change(std::function<void(CardList&)> change);

    // On the thread of `aside_` alone.
    CardList cards_;
    const SiteState& site_;
    Insiders* insiders_ = nullptr;
    std::map<std::string, ClientAccount> accounts_;
    // The label of the request that is just asked, and those of requests under way.
    std::optional<std::string> asking_;
    std::map<RequestNumber, std::string> labels_;
    std::size_t reading_ = 0;
    // Behind the list, so that it ends first.
    Aside aside_;
};

}  // namespace MuxProxy
