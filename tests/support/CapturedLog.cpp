#include "tests/support/CapturedLog.h"

#include <plog/Appenders/IAppender.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Init.h>
#include <plog/Log.h>

#include <mutex>
#include <sstream>

#include "tests/support/RecordedLog.h"
#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

class CapturingAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (IsLogRecorded()) {
            RecordLog(LogOrigin::kUnit, plog::TxtFormatter::format(record));
        }
        if (capturing_) {
            lines_.emplace_back(record.getSeverity(), record.getMessage());
        }
    }

    void Capture(bool on) {
        const std::lock_guard<std::mutex> lock(mutex_);
        capturing_ = on;
        lines_.clear();
    }

    std::vector<CapturedLog::Line> Lines() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

  private:
    std::mutex mutex_;
    bool capturing_ = false;
    std::vector<CapturedLog::Line> lines_;
};

// Never freed: threads of a test may log until the process ends.
CapturingAppender& Appender() {
    static CapturingAppender* appender = [] {
        auto* created = new CapturingAppender;
        plog::init(plog::verbose, created);
        return created;
    }();
    return *appender;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

CapturedLog::CapturedLog() {
    Appender().Capture(true);
    plog::get()->setMaxSeverity(plog::verbose);
}

CapturedLog::~CapturedLog() {
    Appender().Capture(false);
}

std::vector<CapturedLog::Line> CapturedLog::Lines() const {
    return Appender().Lines();
}

std::vector<CapturedLog::Line> CapturedLog::LinesBehind(std::size_t count) const {
    const std::vector<Line> lines = Lines();
    return {lines.begin() + static_cast<std::ptrdiff_t>(count), lines.end()};
}

int CapturedLog::Count(plog::Severity severity, const std::string& text) const {
    int count = 0;
    for (const Line& line : Lines()) {
        count += line.first == severity && EndsWith(line.second, " " + text) ? 1 : 0;
    }
    return count;
}

bool CapturedLog::Holds(plog::Severity severity, const std::string& text) const {
    for (const Line& line : Lines()) {
        if (line.first == severity && line.second.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool CapturedLog::WaitFor(plog::Severity severity, const std::string& text, std::chrono::milliseconds deadline) const {
    return WaitUntil([&] { return Holds(severity, text); }, deadline);
}

std::string CapturedLog::Text() const {
    std::ostringstream text;
    for (const Line& line : Lines()) {
        text << plog::severityToString(line.first) << ' ' << line.second << '\n';
    }
    return text.str();
}

}  // namespace Testing
