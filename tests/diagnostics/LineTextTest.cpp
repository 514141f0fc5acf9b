#include <gtest/gtest.h>
#include <plog/Formatters/TxtFormatter.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <random>
#include <string>

#include "diagnostics/LogRecord.h"

namespace Diagnostics {
namespace {

constexpr int kRecords = 100000;

constexpr const char* kFunctions[] = {
    "main",
    "int main(int, char**)",
    "virtual void Brenk::VirtualGateway::Connect()",
    "static std::map<int, std::vector<int> > Mux::Registry::All(const std::string&) const",
    "Mux::BrenkMux::PopNextMessage()::<lambda()>",
    "std::unique_ptr<T> Make(Args&& ...) [with T = Pair<int, char>; Args = {int (&)(char)}]",
    "bool operator<(const Key&, const Key&)",
    "T& List<T>::operator[](int) [with T = std::function<void(int)>]",
    "void {anonymous}::Work()",
    "(",
    "",
};

// Wide, composed and broken UTF-8, controls and blanks.
constexpr const char* kPieces[] = {
    "Gateway ",
    "7",
    " ",
    "\xC3\xA8",
    "\xE2\x82\xAC",
    "\xF0\x9F\x94\x91",
    "\xFF\xFE",
    "\xC3",
    "\xE2\x82",
    "\x80",
    "\n",
    "\r\n",
    "\t",
    "\x1B[31m",
    "\x7F",
    "\xED\xA0\x80",
    "\"",
    "\\",
    "e\xCC\x81",
    "\xEF\xBB\xBF",
    "%s%n",
    "{}",
    "]@[",
    "\xF4\x90\x80\x80",
};

// A second of summer, winter, and around the change between them in Europe and in New York; the second's change with
// it, for neighbours are drawn too.
constexpr std::time_t kTimes[] = {0,          1679792399, 1679792400, 1698541200,
                                  1700000000, 1678604399, 1699164000, 2147483646};

class DrawnRecord : public plog::Record {
  public:
    explicit DrawnRecord(std::mt19937& random)
        : plog::Record(static_cast<plog::Severity>(random() % 7), Drawn(kFunctions, random), random() % 2000, "",
                       nullptr, 0),
          thread_(random() % 3 == 0 ? static_cast<unsigned>(random()) : static_cast<unsigned>(random() % 70000)) {
        time_.time = random() % 2 == 0 ? Drawn(kTimes, random) + static_cast<int>(random() % 3)
                                       : static_cast<std::time_t>(random());
        time_.millitm = static_cast<unsigned short>(random() % 1000);
        for (std::size_t left = random() % 9; left > 0; --left) {
            text_ += Drawn(kPieces, random);
        }
    }

    const plog::util::Time& getTime() const override { return time_; }
    unsigned int getTid() const override { return thread_; }
    const char* getMessage() const override { return text_.c_str(); }

  private:
    template <typename Value, std::size_t kCount>
    static Value Drawn(const Value (&values)[kCount], std::mt19937& random) {
        return values[random() % kCount];
    }

    plog::util::Time time_{};
    unsigned thread_;
    std::string text_;
};

class TimeZone {
  public:
    explicit TimeZone(const char* name) {
        if (const char* const before = std::getenv("TZ")) {
            before_ = before;
        }
        Set(name);
    }
    ~TimeZone() { Set(before_ ? before_->c_str() : nullptr); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

    static void Set(const char* name) {
        name != nullptr ? setenv("TZ", name, 1) : unsetenv("TZ");
        tzset();
    }

  private:
    std::optional<std::string> before_;
};

TEST(LineText, IsTheLineOfTheLibrarysFormatterToTheLastByte) {
    constexpr const char* kZones[] = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "<+0545>-5:45",
                                      "<-0330>3:30"};
    const TimeZone zone(kZones[0]);
    std::mt19937 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same records in every run
    for (int count = 0; count < kRecords; ++count) {
        if (count % 100 == 0) {
            TimeZone::Set(kZones[random() % std::size(kZones)]);
        }
        const DrawnRecord record(random);
        ASSERT_EQ(LineText(record), plog::TxtFormatter::format(record)) << "record " << count;
    }
}

class RecordAt : public plog::Record {
  public:
    explicit RecordAt(std::time_t time) : plog::Record(plog::info, "void Mux::BrenkMux::Start()", 128, "", nullptr, 0) {
        time_.time = time;
        time_.millitm = 7;
    }
    const plog::util::Time& getTime() const override { return time_; }
    unsigned int getTid() const override { return 4711; }

  private:
    plog::util::Time time_{};
};

TEST(LineText, TellsLocalTimeSeverityThreadFunctionAndText) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    RecordAt record(1700000000);
    record << "text";
    EXPECT_EQ(LineText(record), "2023-11-14 23:13:20.007 INFO  [4711] [Mux::BrenkMux::Start@128] text\n");
}

TEST(LineText, FollowsAChangeOfTheTimeZoneAtOnce) {
    const TimeZone zone("UTC0");
    const RecordAt record(1700000000);
    EXPECT_EQ(LineText(record).substr(11, 5), "22:13");
    TimeZone::Set("<+0545>-5:45");
    EXPECT_EQ(LineText(record).substr(11, 5), "03:58");
}

}  // namespace
}  // namespace Diagnostics
