#include "tools/muxctl/CardCsv.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "tools/muxctl/CardCollector.h"
#include "tools/muxctl/CsvCutter.h"
#include "tools/muxctl/OptionChecks.h"

namespace Muxctl {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::int64_t kLargestSetup = 255;

// One row as it is read.
struct CardRow {
    ListedCard listed;
    std::optional<std::int32_t> gateway;
    std::optional<std::int32_t> lock;
};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

// The functions that read a field return what is wrong with it, or nothing.

std::string ReadBytes(const std::string& text, CardRow& row) {
    row.listed.card.data = text;
    return CheckCard(text);
}

template <std::optional<std::int32_t> CardRow::*Id>
std::string ReadId(const std::string& text, CardRow& row) {
    std::string fault = CheckId(text);
    if (fault.empty()) {
        row.*Id = static_cast<std::int32_t>(std::stol(text));
    }
    return fault;
}

template <std::uint32_t MuxClient::Card::*Member, std::int64_t kLargest>
std::string ReadNumber(const std::string& text, CardRow& row) {
    std::string fault = CheckInteger(text, 0, kLargest);
    if (fault.empty()) {
        row.listed.card.*Member = static_cast<std::uint32_t>(std::stoll(text));
    }
    return fault;
}

std::string ReadUid(const std::string& text, CardRow& row) {
    const std::string flag = Lower(text);
    row.listed.card.isUid = flag == "yes" || flag == "true" || flag == "1";
    const bool isFlag = row.listed.card.isUid || flag == "no" || flag == "false" || flag == "0";
    return isFlag ? "" : "must be yes or no, not " + text;
}

std::string ReadName(const std::string& text, CardRow& row) {
    row.listed.name = text;
    return "";
}

struct CardColumn {
    const char* name;
    // Whether a field must not be empty, which otherwise takes the default.
    bool isRequired;
    std::string (*read)(const std::string& text, CardRow& row);
};

constexpr std::array<CardColumn, 7> kColumns = {{
    {"gateway", true, ReadId<&CardRow::gateway>},
    {"lock", true, ReadId<&CardRow::lock>},
    {"card", true, ReadBytes},
    {"uid", false, ReadUid},
    {"setup", false, ReadNumber<&MuxClient::Card::setupNumber, kLargestSetup>},
    {"options", false, ReadNumber<&MuxClient::Card::options, std::numeric_limits<std::uint32_t>::max()>},
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
        if (ReadHeader()) {
            for (CsvRow row = cutter_.Next(); !row.empty(); row = cutter_.Next()) {
                ReadRow(row);
            }
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
            Require(Has("gateway") || defaults_.gateway, "has no column \"gateway\", so --gateway is required");
            Require(Has("lock") || !defaults_.locks.empty(), "has no column \"lock\", so --lock is required");
        }
        return faults_ == before;
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
        CardRow row = {{defaults_.card, "", file_ + ":" + std::to_string(fields.front().position.line)}, {}, {}};
        bool isGood = true;
        for (std::size_t index = 0; index < fields.size(); ++index) {
            isGood = ReadField(*columns_.at(index), fields.at(index), row) && isGood;
        }
        if (isGood && row.listed.card.isUid && row.listed.card.data.size() > 2 * MuxClient::kLongestUid) {
            collector_.Refuse(row.listed.place + ": a UID must be at most " + std::to_string(MuxClient::kLongestUid) +
                              " bytes");
            isGood = false;
        }
        if (isGood) {
            AddToLocks(row);
        }
    }

    bool ReadField(const CardColumn& column, const CsvField& field, CardRow& row) {
        if (field.text.empty() && !column.isRequired) {
            return true;
        }
        const std::string fault = field.text.empty() ? "must not be empty" : column.read(field.text, row);
        if (!fault.empty()) {
            collector_.Refuse(PlaceOf(field.position) + column.name + " " + fault);
        }
        return fault.empty();
    }

    void AddToLocks(const CardRow& row) {
        const std::int32_t gateway = row.gateway.value_or(defaults_.gateway.value_or(0));
        std::vector<std::int32_t> locks = defaults_.locks;
        if (row.lock || locks.empty()) {
            locks = {row.lock.value_or(0)};
        }
        for (const std::int32_t lock : locks) {
            collector_.Add({gateway, lock}, row.listed);
        }
    }

    std::string file_;
    const CardDefaults& defaults_;
    CsvCutter cutter_;
    std::vector<const CardColumn*> columns_;
    CardCollector collector_;
    std::size_t faults_ = 0;
};

}  // namespace

CardFile ReadCardCsv(const std::string& file, const std::string& text, const CardDefaults& defaults) {
    return CsvCards(file, WithoutMark(text), defaults).Read();
}

}  // namespace Muxctl
