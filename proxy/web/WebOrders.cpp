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
    const std::string label = OneLine(body.Text("label").value_or(""));
    if (label.size() > 4 * kLongestLabel) {
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

// RFC 4180. Spreadsheets take a text that begins so for a formula.
std::string CsvField(const std::string& text) {
    const bool isFormula = !text.empty() && std::string("=+-@").find(text.front()) != std::string::npos;
    std::string quoted = isFormula ? "\"'" : "\"";
    for (const char character : text) {
        quoted.append(character == '"' ? 2 : 1, character);
    }
    return quoted + '"';
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

WebOrders::WebOrders(const std::string& cardFile, const SiteState& site, Aside& disk)
    : cards_(cardFile), site_(site), disk_(disk) {}

bool WebOrders::HasPace(const WebExchangePointer& exchange) {
    ClientAccount& account = accounts_[exchange->viewer.name];
    if (account.Rest().count() > 0) {
        exchange->Answer(ErrorReply(http::status::too_many_requests, "too-many"));
        return false;
    }
    account.Spend(exchange->request.body().size(), false);
    return true;
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
        exchange->Answer(NotValidReply(fault.what()));
    }
}

void WebOrders::FindCard(const WebExchangePointer& exchange, const CommandPayload& body, ProxyRequest request) {
    if (!site_.MayDo(Right::kWhitelist, request.lock, exchange->viewer)) {
        exchange->Answer(ErrorReply(http::status::forbidden, "not-allowed"));
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
    disk_.Do([this, entry, found] { TryToRead([&] { *found = cards_.CardOf(entry); }); },
             [this, exchange, found, request = std::move(request)]() mutable {
                 const bool isVisible = *found && site_.MayDo(Right::kWhitelist, (*found)->lock, exchange->viewer);
                 if (!isVisible) {
                     exchange->Answer(NotValidReply("there is no such card in the list"));
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
    const ConnectionNumber number = insiders_->Ask(
        {exchange->viewer.name, WebAddress(*exchange), false}, WriteRequest(request).text,
        [this, exchange, request, asked](const std::string& text) { Answer(exchange, request, text, asked); });
    exchange->connection->SetGone([this, number] { insiders_->Leave(number); });
}

void WebOrders::Answer(const WebExchangePointer& exchange, const ProxyRequest& request, const std::string& text,
                       Clock::time_point asked) {
    const MuxClient::Message answer = MuxClient::ParseMessage(text);
    const std::string result = ResultName(answer);
    if (answer.IsAck() && request.kind->code == MuxClient::MessageCode::kWhitelistAdd) {
        KeepCard(*exchange, request);
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

void WebOrders::KeepCard(const WebExchange& exchange, const ProxyRequest& request) {
    CardEntry entry;
    entry.lock = request.lock;
    entry.card = request.card.data;
    entry.label = LabelIn(CommandPayload(exchange.request.body()));
    entry.client = exchange.viewer.name;
    entry.time = std::chrono::system_clock::now();
    Change([entry](CardList& cards) { cards.Add(entry); });
}

void WebOrders::RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
    if (ending.result != "ack") {
        return;
    }
    const MuxClient::MessageCode code = request.content.kind->code;
    if (code == MuxClient::MessageCode::kWhitelistRemove) {
        Change([lock = request.content.lock, card = request.content.card.data](CardList& cards) {
            cards.Remove(lock, card);
        });
    } else if (code == MuxClient::MessageCode::kWhitelistClear) {
        Change([lock = request.content.lock](CardList& cards) { cards.Clear(lock); });
    }
}

void WebOrders::Change(std::function<void(CardList&)> change) {
    disk_.Do([this, change = std::move(change)] {
        try {
            change(cards_);
        } catch (const std::exception& error) {
            std::cerr << "<3>The list of cards is not written: " + std::string(error.what()) + '\n';
        }
    });
}

std::optional<WebOrders::Entries> WebOrders::ReadCards(const Rights& rights, const std::string& viewer) {
    std::optional<Entries> visible;
    TryToRead([&] {
        Entries entries = cards_.List();
        const auto isHidden = [&](const CardEntry& entry) {
            return !rights.Allows(viewer, Right::kWhitelist, entry.lock);
        };
        entries.erase(std::remove_if(entries.begin(), entries.end(), isHidden), entries.end());
        visible = std::move(entries);
    });
    return visible;
}

void WebOrders::AnswerWithCards(const WebExchangePointer& exchange, HttpResponse (*make)(const Entries&)) {
    if (!HasPace(exchange)) {
        return;
    }
    const auto response = std::make_shared<HttpResponse>(ErrorReply(http::status::service_unavailable, "not-readable"));
    disk_.Do(
        [this, response, make, rights = site_.TheRights(), viewer = exchange->viewer.name] {
            if (const std::optional<Entries> entries = ReadCards(*rights, viewer)) {
                *response = make(*entries);
            }
        },
        [exchange, response] { exchange->Answer(std::move(*response)); });
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
