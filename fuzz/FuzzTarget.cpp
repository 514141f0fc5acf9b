#include "fuzz/FuzzTarget.h"

#include <plog/Appenders/IAppender.h>
#include <plog/Init.h>

#include <cstdio>
#include <cstdlib>

namespace Fuzz {
namespace {

class DiscardingAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override { static_cast<void>(record.getMessage()); }
};

}  // namespace

void FailCheck(const char* condition, const char* file, int line) {
    static_cast<void>(std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition));
    std::abort();
}

void DiscardLog() {
    static DiscardingAppender appender;
    static const plog::Logger<PLOG_DEFAULT_INSTANCE_ID>& logger = plog::init(plog::verbose, &appender);
    static_cast<void>(logger);
}

}  // namespace Fuzz
