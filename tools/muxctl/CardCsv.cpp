#include "tools/muxctl/CardCsv.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "tools/muxctl/CardCollector.h"
#include "tools/muxctl/CsvCutter.h"
#include "tools/muxctl/LockNames.h"
#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

using MuxClient::LockAddress;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::int64_t kLargestSetup = 255;

// What is wrong with a row.
struct CardFault {
    TextPosition position;
    std::string text;
};

// One row as it is read.
struct CardRow {
    ListedCard listed;
    // IDs or names.
    std::optional<CsvField> gateway;
    std::optional<CsvField> lock;
    // Of the row itself, not of the defaults.
    std::optional<TextPosition> setup;
    std::vector<CardFault> faults;
};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

// The functions that read a field return what is wrong with it, or nothing.

template <std::optional<CsvField> CardRow::*Address>
std::string ReadAddress(const CsvField& field, CardRow& row) {
    // Looked up when the whole row is read: a lock's name may need the gateway behind it.
    row.*Address = field;
    return "";
}

std::string ReadBytes(const CsvField& field, CardRow& row) {
    row.listed.card.data = field.text;
    return CheckCard(field.text);
}

std::string ReadNumber(const std::string& text, std::int64_t largest, std::uint32_t& number) {
    std::string fault = CheckInteger(text, 0, largest);
    if (fault.empty()) {
        number = static_cast<std::uint32_t>(std::stoll(text));
    }
    return fault;
}

std::string ReadSetup(const CsvField& field, CardRow& row) {
    row.setup = field.position;
    return ReadNumber(field.text, kLargestSetup, row.listed.card.setupNumber);
}

std::string ReadOptions(const CsvField& field, CardRow& row) {
    return ReadNumber(field.text, std::numeric_limits<std::uint32_t>::max(), row.listed.card.options);
}

std::string ReadUid(const CsvField& field, CardRow& row) {
    const std::string flag = Lower(field.text);
    row.listed.card.isUid = flag == "yes" || flag == "true" || flag == "1";
    const bool isFlag = row.listed.card.isUid || flag == "no" || flag == "false" || flag == "0";
    return isFlag ? "" : "must be yes or no, not " + field.text;
}

std::string ReadName(const CsvField& field, CardRow& row) {
    row.listed.name = field.text;
    return "";
}

struct CardColumn {
    const char* name;
    // Whether a field must not be empty, which otherwise takes the default.
    bool isRequired;
    std::string (*read)(const CsvField& field, CardRow& row);
};

constexpr std::array<CardColumn, 7> kColumns = {{
    {"gateway", true, ReadAddress<&CardRow::gateway>},
    {"lock", true, ReadAddress<&CardRow::lock>},
    {"card", true, ReadBytes},
    {"uid", false, ReadUid},
    {"setup", false, ReadSetup},
    {"options", false, ReadOptions},
    {"name", false, ReadName},
}};

const CardColumn* FindColumn(const std::string& name) {
    const auto* const found =
        std::find_if(kColumns.begin(), kColumns.end(), [&](const CardColumn& column) { return column.name == name; });
    return found == kColumns.end() ? nullptr : found;
}

std::string ColumnNames() {
    std::string names;
    for (const CardColumn& column : kColumns) {
        names += (names.empty() ? "" : ", ") + std::string(column.name);
    }
    return names;
}

char SeparatorOf(std::string_view text) {
    const std::string_view header = text.substr(0, text.find('\n'));
    return header.find(',') == std::string_view::npos && header.find(';') != std::string_view::npos ? ';' : ',';
}

std::string_view WithoutMark(std::string_view text) {
    return text.substr(0, kByteOrderMark.size()) == kByteOrderMark ? text.substr(kByteOrderMark.size()) : text;
}

class CsvCards {
  public:
    CsvCards(std::string file, std::string_view text, const CardDefaults& defaults)
        : file_(std::move(file)), defaults_(defaults), cutter_(text, SeparatorOf(text)) {}

    CardFile Read() {
        if (!ReadHeader()) {
            collector_.StopBeforeCards();
            return collector_.Take();
        }
        for (CsvRow row = cutter_.Next(); !row.empty(); row = cutter_.Next()) {
            ReadRow(row);
        }
        if (cutter_.EndsInQuotes()) {
            collector_.Refuse(file_ + ": a quote has no end");
        }
        return collector_.Take();
    }

  private:
    std::string PlaceOf(const TextPosition& position) const {
        return file_ + ":" + std::to_string(position.line) + ":" + std::to_string(position.column) + ": ";
    }

    bool Has(const std::string& name) const {
        return std::find(columns_.begin(), columns_.end(), FindColumn(name)) != columns_.end();
    }

    // False if the rows cannot be read.
    bool ReadHeader() {
        const CsvRow header = cutter_.Next();
        bool isGood = true;
        for (const CsvField& field : header) {
            const CardColumn* const column = FindColumn(Lower(field.text));
            const bool isTwice =
                column != nullptr && std::find(columns_.begin(), columns_.end(), column) != columns_.end();
            if (column == nullptr || isTwice) {
                collector_.Refuse(PlaceOf(field.position) + (isTwice ? "duplicate column \"" : "unknown column \"") +
                                  field.text + "\"; allowed: " + ColumnNames());
                isGood = false;
            }
            columns_.push_back(column);
        }
        return isGood && HasWhatItNeeds();
    }

    bool HasWhatItNeeds() {
        const std::size_t before = faults_;
        Require(Has("card"), "the header must have a column \"card\"; allowed: " + ColumnNames());
        Require(!(Has("gateway") && defaults_.gateway), "has a column \"gateway\", so --gateway must be left out");
        Require(!(Has("lock") && !defaults_.locks.empty()), "has a column \"lock\", so --lock must be left out");
        if (defaults_.requiresAddress) {
            // The name of a lock gives the gateway too.
            Require(Has("gateway") || defaults_.gateway || defaults_.site,
                    "has no column \"gateway\", so --gateway is required");
            Require(Has("lock") || !defaults_.locks.empty(), "has no column \"lock\", so --lock is required");
        }
        if (faults_ == before && !Has("gateway") && !Has("lock")) {
            FindDefaultLocks();
        }
        return faults_ == before;
    }

    void FindDefaultLocks() {
        try {
            defaultLocks_ = DefaultLocks(defaults_.gateway);
        } catch (const UsageError& error) {
            Require(false, error.what());
        }
    }

    void Require(bool isSo, const std::string& fault) {
        if (!isSo) {
            collector_.Refuse(file_ + ": " + fault);
            ++faults_;
        }
    }

    void ReadRow(const CsvRow& fields) {
        if (fields.size() != columns_.size()) {
            collector_.Refuse(PlaceOf(fields.front().position) + "has " + std::to_string(fields.size()) +
                              " fields, and the header " + std::to_string(columns_.size()));
            return;
        }
        CardRow row = {
            {defaults_.card, "", file_ + ":" + std::to_string(fields.front().position.line)}, {}, {}, {}, {}};
        for (std::size_t index = 0; index < fields.size(); ++index) {
            ReadField(*columns_.at(index), fields.at(index), row);
        }
        TakeSetupOfUid(row);
        const std::vector<LockAddress> locks = LocksOf(row);
        if (IsGood(row)) {
            for (const LockAddress& lock : locks) {
                collector_.Add(lock, row.listed);
            }
        }
    }

    static void ReadField(const CardColumn& column, const CsvField& field, CardRow& row) {
        if (field.text.empty() && !column.isRequired) {
            return;
        }
        const std::string fault = field.text.empty() ? "must not be empty" : column.read(field, row);
        if (!fault.empty()) {
            row.faults.push_back({field.position, std::string(column.name) + " " + fault});
        }
    }

    // The Mux sends a UID with setup number 0 whatever it is told.
    static void TakeSetupOfUid(CardRow& row) {
        MuxClient::Card& card = row.listed.card;
        if (card.isUid && card.setupNumber != 0 && row.setup) {
            row.faults.push_back({*row.setup, "setup must be 0 for a UID, not " + std::to_string(card.setupNumber)});
        }
        card.setupNumber = card.isUid ? 0 : card.setupNumber;
    }

    // Those that the row's card belongs to; not all if one is wrong.
    std::vector<LockAddress> LocksOf(CardRow& row) const {
        std::vector<LockAddress> locks;
        std::optional<std::int32_t> gateway = defaults_.gateway;
        if (row.gateway) {
            TakeFault(row, *row.gateway,
                      [&] { gateway = GatewayNamed(defaults_.site, "gateway ", row.gateway->text); });
        }
        if (Has("gateway") && !gateway) {
            return locks;
        }
        if (row.lock) {
            TakeFault(row, *row.lock, [&] { locks.push_back(LockOf("lock ", row.lock->text, gateway)); });
        } else if (row.gateway) {
            TakeFault(row, *row.gateway, [&] { locks = DefaultLocks(gateway); });
        } else {
            locks = defaultLocks_;
        }
        return locks;
    }

    // Of a check, which requires no gateway, IDs may have none.
    LockAddress LockOf(Source source, const std::string& idOrName, std::optional<std::int32_t> gateway) const {
        const bool isChecked = !gateway && !defaults_.requiresAddress && CheckId(idOrName).empty();
        return LockNamed(defaults_.site, source, idOrName, isChecked ? 0 : gateway);
    }

    std::vector<LockAddress> DefaultLocks(std::optional<std::int32_t> gateway) const {
        std::vector<LockAddress> locks;
        for (const std::string& lock : defaults_.locks) {
            locks.push_back(LockOf("--lock: ", lock, gateway));
        }
        return locks.empty() ? std::vector{LockAddress{gateway.value_or(0), 0}} : locks;
    }

    template <typename Action>
    static void TakeFault(CardRow& row, const CsvField& field, Action action) {
        try {
            action();
        } catch (const UsageError& error) {
            row.faults.push_back({field.position, error.what()});
        }
    }

    // Refuses the row in the order of its fields if it is wrong.
    bool IsGood(CardRow& row) {
        std::stable_sort(row.faults.begin(), row.faults.end(), [](const CardFault& left, const CardFault& right) {
            return std::tie(left.position.line, left.position.column) <
                   std::tie(right.position.line, right.position.column);
        });
        for (const CardFault& fault : row.faults) {
            collector_.Refuse(PlaceOf(fault.position) + fault.text);
        }
        const bool isTooLong = row.listed.card.isUid && row.listed.card.data.size() > 2 * MuxClient::kLongestUid;
        if (row.faults.empty() && isTooLong) {
            collector_.Refuse(row.listed.place + ": a UID must be at most " + std::to_string(MuxClient::kLongestUid) +
                              " bytes");
        }
        return row.faults.empty() && !isTooLong;
    }

    std::string file_;
    const CardDefaults& defaults_;
    CsvCutter cutter_;
    std::vector<const CardColumn*> columns_;
    // Of a row that has neither gateway nor lock.
    std::vector<LockAddress> defaultLocks_;
    CardCollector collector_;
    std::size_t faults_ = 0;
};

}  // namespace

CardFile ReadCardCsv(const std::string& file, const std::string& text, const CardDefaults& defaults) {
    return CsvCards(file, WithoutMark(text), defaults).Read();
}

}  // namespace Muxctl
