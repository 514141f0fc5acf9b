#pragma once

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
    // Opens the list. Throws AuditFileError. All outlive it.
    WebOrders(const std::string& cardFile, const SiteState& site, Aside& disk);

    // The requests outlive it.
    void Start(Insiders& insiders) { insiders_ = &insiders; }

    // POST of "/api/requests": answered when the request has ended. What was not sent when the browser goes is dropped.
    void Order(const WebExchangePointer& exchange);
    // GET of "/api/cards" and "/api/cards.csv".
    void ShowCards(const WebExchangePointer& exchange);
    void DownloadCards(const WebExchangePointer& exchange);

    // Anybody's request has ended: cards that are removed leave the list.
    void RequestEnded(const TakenRequest& request, const RequestEnding& ending);

  private:
    using Entries = std::vector<CardEntry>;

    // Continues with the card that the body names. Throws ClaimFault.
    void FindCard(const WebExchangePointer& exchange, const CommandPayload& body, ProxyRequest request);
    void FindEntry(const WebExchangePointer& exchange, std::int64_t entry, ProxyRequest request);
    void Ask(const WebExchangePointer& exchange, const ProxyRequest& request);
    void Answer(const WebExchangePointer& exchange, const ProxyRequest& request, const std::string& text,
                std::chrono::steady_clock::time_point asked);
    void KeepCard(const WebExchange& exchange, const ProxyRequest& request);
    // False, and answered, if this user asks too often.
    bool HasPace(const WebExchangePointer& exchange);
    // Answers with what `make` returns for the entries that the viewer may see, or that they cannot be read. A long
    // list is read, sorted out and written beside the loop.
    void AnswerWithCards(const WebExchangePointer& exchange, HttpResponse (*make)(const Entries&));
    std::optional<Entries> ReadCards(const Rights& rights, const std::string& viewer);
    // Does something with the list beside the loop.
    void Change(std::function<void(CardList&)> change);

    // On the thread of `disk_` alone.
    CardList cards_;
    const SiteState& site_;
    Aside& disk_;
    Insiders* insiders_ = nullptr;
    std::map<std::string, ClientAccount> accounts_;
};

}  // namespace MuxProxy
