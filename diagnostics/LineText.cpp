#include "diagnostics/LineText.h"

#include <plog/Severity.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <limits>
#include <string_view>

namespace Diagnostics {
namespace {

constexpr int kFirstYear = 1900;
constexpr std::size_t kSeverityWidth = 5;
// Of what stands between function and text and the line's end.
constexpr std::size_t kFixedBytes = 80;

template <typename Number>
void AppendNumber(std::string& line, Number number) {
    std::array<char, std::numeric_limits<Number>::digits10 + 2> digits;
    const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    line.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

// The last two digits, with the mark that stands in front of them.
void AppendPair(std::string& line, char mark, int number) {
    line += mark;
    line += static_cast<char>('0' + number / 10 % 10);
    line += static_cast<char>('0' + number % 10);
}

void AppendTime(std::string& line, const plog::util::Time& time) {
    tm local = {};
    localtime_r(&time.time, &local);
    AppendNumber(line, local.tm_year + kFirstYear);
    AppendPair(line, '-', local.tm_mon + 1);
    AppendPair(line, '-', local.tm_mday);
    AppendPair(line, ' ', local.tm_hour);
    AppendPair(line, ':', local.tm_min);
    AppendPair(line, ':', local.tm_sec);
    AppendPair(line, '.', time.millitm / 10);
    line += static_cast<char>('0' + time.millitm % 10);
}

void AppendSeverity(std::string& line, plog::Severity severity) {
    const std::string_view name = plog::severityToString(severity);
    line.append(name).append(name.size() < kSeverityWidth ? kSeverityWidth - name.size() : 0, ' ');
}

}  // namespace

std::string LineText(const plog::Record& record) {
    const std::string_view function = record.getFunc();
    const std::string_view text = record.getMessage();
    std::string line;
    line.reserve(kFixedBytes + function.size() + text.size());
    AppendTime(line, record.getTime());
    AppendSeverity(line += ' ', record.getSeverity());
    AppendNumber(line += " [", record.getTid());
    line.append("] [").append(function);
    AppendNumber(line += '@', record.getLine());
    return line.append("] ").append(text) += '\n';
}

}  // namespace Diagnostics
