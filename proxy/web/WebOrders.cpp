#include "proxy/web/WebOrders.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iostream>
#include <iterator>
#include <sstream>
#include <utility>

#include "proxy/audit/AuditText.h"
#include "proxy/audit/AuditTimes.h"
#include "proxy/mqtt/MessageMaker.h"
#include "proxy/requests/JsonObject.h"
#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestLabel = 64;

MuxClient::LockAddress LockIn(const CommandPayload& body) {
    const auto gateway = body.Integer("gateway", INT32_MIN, INT32_MAX);
    const auto lock = body.Integer("lock", INT32_MIN, INT32_MAX);
    if (!gateway || !lock) {
        throw ClaimFault("gateway and lock are required");
    }
    return {static_cast<std::int32_t>(*gateway), static_cast<std::int32_t>(*lock)};
}

// What is short enough for a UID is one, as readers send them.
MuxClient::Card CardFrom(const std::string& digits) {
    MuxClient::Card card;
    std::transform(digits.begin(), digits.end(), std::back_inserter(card.data),
                   [](unsigned char digit) { return static_cast<char>(std::toupper(digit)); });
    card.isUid = digits.size() <= 2 * MuxClient::kLongestUid;
    return card;
}

std::string LabelIn(const CommandPayload& body) {
    std::string label = OneLine(body.Text("label").value_or(""));
    const auto characters =
        std::count_if(label.begin(), label.end(), [](unsigned char byte) { return (byte & 0xC0U) != 0x80U; });
    if (static_cast<std::size_t>(characters) > kLongestLabel) {
        throw ClaimFault("label must be at most " + std::to_string(kLongestLabel) + " characters");
    }
    return label;
}

AuditRow CardRow(const CardEntry& entry) {
    AuditRow row;
    row.card = entry.card;
    return row;
}

std::string TextOf(const CardEntry& entry) {
    return JsonObject()
        .Number("entry", entry.entry)
        .Number("gateway", entry.lock.gateway)
        .Number("lock", entry.lock.lock)
        .Text("card", Storable(CardRow(entry), false).card)
        .Text("label", entry.label)
        .Text("client", entry.client)
        .Number("time", MillisecondsOf(entry.time))
        .Json();
}

std::string CsvOf(const std::vector<CardEntry>& entries) {
    std::ostringstream text;
    text << "gateway,lock,card,label,client,time\r\n";
    for (const CardEntry& entry : entries) {
        text << entry.lock.gateway << ',' << entry.lock.lock << ',' << entry.card << ',' << CsvField(entry.label) << ','
             << CsvField(entry.client) << ',' << ExactTime(entry.time, true) << "\r\n";
    }
    return text.str();
}

// Beside the loop.
void TryToRead(const std::function<void()>& read) {
    try {
        read();
    } catch (const std::exception& error) {
        std::cerr << "<3>The list of cards cannot be read: " + std::string(error.what()) + '\n';
    }
}

}  // namespace

WebOrders::WebOrders(boost::asio::io_context& loop, const std::string& cardFile, const SiteState& site)
    : cards_(cardFile), site_(site), aside_(loop) {}

WebOrders::~WebOrders() {
    aside_.Finish();
}

bool WebOrders::HasPace(const WebExchangePointer& exchange) {
    ClientAccount& account = accounts_[exchange->viewer.name];
    if (account.Rest().count() > 0) {
        exchange->Answer(ErrorReply(http::status::too_many_requests, "too-many"));
        return false;
    }
    account.Spend(exchange->request.body().size(), false);
    return true;
}

void WebOrders::Refuse(const WebExchangePointer& exchange, HttpResponse response) {
    accounts_[exchange->viewer.name].Spend(0, true);
    exchange->Answer(std::move(response));
}

void WebOrders::Order(const WebExchangePointer& exchange) {
    if (!HasPace(exchange)) {
        return;
    }
    try {
        const CommandPayload body(exchange->request.body());
        LabelIn(body);
        const RequestKind* const kind = body.Kind();
        const bool isCardElsewhere = kind != nullptr && kind->hasCard && !body.Text("card");
        if (isCardElsewhere) {
            ProxyRequest request;
            request.kind = kind;
            request.lock = LockIn(body);
            FindCard(exchange, body, std::move(request));
            return;
        }
        ProxyRequest request = body.RequestFor(LockIn(body));
        if (request.kind->hasCard) {
            request.card = CardFrom(request.card.data);
        }
        Ask(exchange, request);
    } catch (const ClaimFault& fault) {
        Refuse(exchange, NotValidReply(fault.what()));
    }
}

void WebOrders::FindCard(const WebExchangePointer& exchange, const CommandPayload& body, ProxyRequest request) {
    if (!site_.MayDo(Right::kWhitelist, request.lock, exchange->viewer)) {
        Refuse(exchange, ErrorReply(http::status::forbidden, "not-allowed"));
        return;
    }
    const auto event = body.Integer("event", 1, INT64_MAX);
    if (const auto entry = body.Integer("entry", 1, INT64_MAX)) {
        FindEntry(exchange, *entry, std::move(request));
        return;
    }
    const std::string digits =
        event ? site_.CardOf(static_cast<std::uint64_t>(*event), exchange->viewer) : std::string();
    if (digits.empty()) {
        throw ClaimFault(event ? "the card of this event is not known any more" : "a card is required");
    }
    request.card = CardFrom(digits);
    Ask(exchange, request);
}

void WebOrders::FindEntry(const WebExchangePointer& exchange, std::int64_t entry, ProxyRequest request) {
    const auto found = std::make_shared<std::optional<CardEntry>>();
    aside_.Do([this, entry, found] { TryToRead([&] { *found = cards_.CardOf(entry); }); },
              [this, exchange, found, request = std::move(request)]() mutable {
                  const bool isVisible = *found && site_.MayDo(Right::kWhitelist, (*found)->lock, exchange->viewer);
                  if (!isVisible) {
                      Refuse(exchange, NotValidReply("there is no such card in the list"));
                      return;
                  }
                  request.card = CardFrom((*found)->card);
                  Ask(exchange, request);
              });
}

void WebOrders::Ask(const WebExchangePointer& exchange, const ProxyRequest& request) {
    if (!exchange->connection->IsThere()) {
        return;
    }
    const auto asked = Clock::now();
    asking_ = LabelIn(CommandPayload(exchange->request.body()));
    const ConnectionNumber number = insiders_->Ask(
        {exchange->viewer.name, WebAddress(*exchange), false}, WriteRequest(request).text,
        [this, exchange, asked](const std::string& text) { DoStep(exchange, [&] { Answer(exchange, text, asked); }); });
    asking_.reset();
    exchange->connection->SetGone([this, number] { insiders_->Leave(number); });
}

void WebOrders::Answer(const WebExchangePointer& exchange, const std::string& text, Clock::time_point asked) {
    const MuxClient::Message answer = MuxClient::ParseMessage(text);
    const std::string result = ResultName(answer);
    if (result == RefusalName(Refusal::kNotAllowed) || result == RefusalName(Refusal::kNotValid)) {
        accounts_[exchange->viewer.name].Spend(0, true);
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - asked);
    JsonObject reply;
    reply.Text("result", result)
        .Number("errorCode", answer.refusal ? answer.refusal->errorCode : 0)
        .Number("milliseconds", elapsed.count());
    if (answer.refusal && !answer.refusal->message.empty()) {
        reply.Text("text", answer.refusal->message);
    }
    if (answer.status) {
        JsonObject status;
        AddStatus(status, *answer.status);
        reply.Object("status", status);
    }
    exchange->Answer(JsonReply(http::status::ok, reply.Json()));
}

// Called by Ask() too, in the middle of asking.
void WebOrders::RequestTaken(const TakenRequest& request) {
    if (asking_) {
        labels_[request.number] = *std::exchange(asking_, std::nullopt);
    }
}

void WebOrders::RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
    const auto label = labels_.extract(request.number);
    if (ending.result != "ack") {
        return;
    }
    CardEntry entry;
    entry.lock = request.content.lock;
    entry.card = request.content.card.data;
    entry.client = request.client;
    entry.time = std::chrono::system_clock::now();
    switch (request.content.kind->code) {
        case MuxClient::MessageCode::kWhitelistAdd:
            if (!label.empty()) {
                entry.label = label.mapped();
                Change([entry](CardList& cards) { cards.Add(entry); });
            }
            break;
        case MuxClient::MessageCode::kWhitelistRemove:
            Change([entry](CardList& cards) { cards.Remove(entry.lock, entry.card); });
            break;
        case MuxClient::MessageCode::kWhitelistClear:
            Change([entry](CardList& cards) { cards.Clear(entry.lock); });
            break;
        default:
            break;
    }
}

void WebOrders::Change(std::function<void(CardList&)> change) {
    aside_.Do([this, change = std::move(change)] {
        try {
            change(cards_);
        } catch (const std::exception& error) {
            std::cerr << "<3>The list of cards is not written: " + std::string(error.what()) + '\n';
        }
    });
}

WebOrders::Entries WebOrders::ReadCards(const Rights& rights, const std::string& viewer) {
    Entries entries = cards_.List();
    const auto isHidden = [&](const CardEntry& entry) { return !rights.Allows(viewer, Right::kWhitelist, entry.lock); };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isHidden), entries.end());
    return entries;
}

void WebOrders::AnswerWithCards(const WebExchangePointer& exchange, HttpResponse (*make)(const Entries&)) {
    if (!HasPace(exchange)) {
        return;
    }
    if (reading_ >= kMostReading) {
        exchange->Answer(ErrorReply(http::status::service_unavailable, "too-many"));
        return;
    }
    ++reading_;
    const auto response = std::make_shared<HttpResponse>(ErrorReply(http::status::service_unavailable, "not-readable"));
    aside_.Do([this, response, make, rights = site_.TheRights(),
               viewer = exchange->viewer.name] { TryToRead([&] { *response = make(ReadCards(*rights, viewer)); }); },
              [this, exchange, response] {
                  --reading_;
                  exchange->Answer(std::move(*response));
              });
}

void WebOrders::ShowCards(const WebExchangePointer& exchange) {
    AnswerWithCards(exchange, [](const Entries& entries) {
        std::vector<std::string> texts;
        for (const CardEntry& entry : entries) {
            texts.push_back(TextOf(entry));
        }
        return JsonReply(http::status::ok, JsonObject().Values("cards", texts).Json());
    });
}

void WebOrders::DownloadCards(const WebExchangePointer& exchange) {
    AnswerWithCards(exchange, [](const Entries& entries) {
        return DownloadReply(CsvOf(entries), "text/csv; charset=utf-8", "cards.csv");
    });
}

}  // namespace MuxProxy
