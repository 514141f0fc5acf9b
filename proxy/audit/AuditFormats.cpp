#include "proxy/audit/AuditFormats.h"

#include <algorithm>
#include <array>
#include <string>

#include "json/Tree.h"
#include "proxy/audit/AuditText.h"
#include "proxy/audit/AuditTimes.h"

namespace MuxProxy {
namespace {

// Columns for people, aligned. Widths grow with what was printed, so that the output needs to be read but once.
class TablePrinter : public AuditPrinter {
  public:
    TablePrinter(std::ostream& output, bool isUtc) : output_(output), isUtc_(isUtc) {}

    void Print(const std::vector<AuditEntry>& entries) override {
        std::vector<Line> lines;
        if (isFirst_) {
            lines.push_back({"TIME", "KIND", "CLIENT", "ADDRESS", "OPERATION", "GATEWAY", "LOCK", "CARD", "RESULT",
                             "MS", "REMARK"});
        }
        isFirst_ = false;
        for (const AuditEntry& entry : entries) {
            lines.push_back(LineOf(entry.row));
        }
        for (const Line& line : lines) {
            Widen(line);
        }
        for (const Line& line : lines) {
            PrintLine(line);
        }
    }

  private:
    static constexpr std::size_t kColumnCount = 11;
    using Line = std::array<std::string, kColumnCount>;

    Line LineOf(const AuditRow& row) const {
        const bool isRequest = row.kind == "request";
        const bool isUnderWay = isRequest && row.result.empty();
        const std::string code = row.errorCode != 0 ? " " + std::to_string(row.errorCode) : "";
        Line line = {ReadableTime(row.time, isUtc_),
                     row.kind,
                     row.client,
                     row.address,
                     row.operation,
                     NumberText(row.gateway),
                     NumberText(row.lock),
                     row.card,
                     isUnderWay ? "under way" : row.result + code,
                     isRequest && !isUnderWay ? std::to_string(row.elapsed.count()) : "",
                     row.remark};
        // The file may be anybody's.
        std::transform(line.begin(), line.end(), line.begin(), OneLine);
        return line;
    }

    void Widen(const Line& line) {
        for (std::size_t column = 0; column < kColumnCount; ++column) {
            widths_.at(column) = std::max(widths_.at(column), CharacterCount(line.at(column)));
        }
    }

    // Bytes that begin a character.
    static std::size_t CharacterCount(const std::string& text) {
        return static_cast<std::size_t>(std::count_if(
            text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; }));
    }

    void PrintLine(const Line& line) {
        std::string text;
        for (std::size_t column = 0; column < kColumnCount; ++column) {
            const std::string& cell = line.at(column);
            text += cell + std::string(widths_.at(column) - CharacterCount(cell) + 2, ' ');
        }
        output_ << text.substr(0, text.find_last_not_of(' ') + 1) << '\n';
    }

    std::ostream& output_;
    const bool isUtc_;
    bool isFirst_ = true;
    std::array<std::size_t, kColumnCount> widths_{};
};

// One object a line.
class JsonPrinter : public AuditPrinter {
  public:
    JsonPrinter(std::ostream& output, bool isUtc) : output_(output), isUtc_(isUtc) {}

    void Print(const std::vector<AuditEntry>& entries) override {
        for (const AuditEntry& entry : entries) {
            output_ << TextOf(entry) << '\n';
        }
    }

  private:
    std::string TextOf(const AuditEntry& entry) const {
        rapidjson::Document object(rapidjson::kObjectType);
        const AuditRow& row = entry.row;
        AddNumber(object, "id", entry.id);
        AddText(object, "time", ExactTime(row.time, isUtc_));
        AddText(object, "kind", row.kind);
        AddText(object, "client", row.client);
        AddText(object, "address", row.address);
        AddText(object, "operation", row.operation);
        AddNumber(object, "gateway", row.gateway);
        AddNumber(object, "lock", row.lock);
        AddText(object, "card", row.card);
        AddText(object, "result", row.result);
        AddNumber(object, "errorCode", std::int64_t{row.errorCode});
        AddNumber(object, "milliseconds", std::int64_t{row.elapsed.count()});
        AddText(object, "remark", row.remark);
        return Json::Text(object);
    }

    static void AddText(rapidjson::Document& object, const char* name, const std::string& text) {
        const std::string line = OneLine(text);
        rapidjson::Value copy(line.data(), static_cast<rapidjson::SizeType>(line.size()), object.GetAllocator());
        object.AddMember(rapidjson::StringRef(name), copy, object.GetAllocator());
    }

    // Null without one.
    static void AddNumber(rapidjson::Document& object, const char* name, const std::optional<std::int64_t>& number) {
        rapidjson::Value value = number ? rapidjson::Value(*number) : rapidjson::Value();
        object.AddMember(rapidjson::StringRef(name), value, object.GetAllocator());
    }

    std::ostream& output_;
    const bool isUtc_;
};

// RFC 4180, with a line of names.
class CsvPrinter : public AuditPrinter {
  public:
    CsvPrinter(std::ostream& output, bool isUtc) : output_(output), isUtc_(isUtc) {}

    void Print(const std::vector<AuditEntry>& entries) override {
        if (isFirst_) {
            output_
                << "id,time,kind,client,address,operation,gateway,lock,card,result,errorCode,milliseconds,remark\r\n";
        }
        isFirst_ = false;
        for (const AuditEntry& entry : entries) {
            PrintRow(entry);
        }
    }

  private:
    void PrintRow(const AuditEntry& entry) {
        const AuditRow& row = entry.row;
        output_ << entry.id << ',' << ExactTime(row.time, isUtc_) << ',' << CsvField(row.kind) << ','
                << CsvField(row.client) << ',' << CsvField(row.address) << ',' << CsvField(row.operation) << ','
                << NumberText(row.gateway) << ',' << NumberText(row.lock) << ',' << CsvField(row.card) << ','
                << CsvField(row.result) << ',' << row.errorCode << ',' << row.elapsed.count() << ','
                << CsvField(row.remark) << "\r\n";
    }

    std::ostream& output_;
    const bool isUtc_;
    bool isFirst_ = true;
};

}  // namespace

std::unique_ptr<AuditPrinter> MakeAuditPrinter(AuditFormat format, bool isUtc, std::ostream& output) {
    switch (format) {
        case AuditFormat::kJson:
            return std::make_unique<JsonPrinter>(output, isUtc);
        case AuditFormat::kCsv:
            return std::make_unique<CsvPrinter>(output, isUtc);
        default:
            return std::make_unique<TablePrinter>(output, isUtc);
    }
}

}  // namespace MuxProxy
