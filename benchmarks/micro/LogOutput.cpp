#include "benchmarks/micro/LogOutput.h"

#include <fcntl.h>
#include <plog/Appenders/ConsoleAppender.h>
#include <plog/Appenders/RollingFileAppender.h>
#include <plog/Converters/UTF8Converter.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Init.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace Benchmark {
namespace {

constexpr std::size_t kLogFileBytes = 10000;
constexpr int kLogFiles = 10;

std::string NewFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "micro-benchmarks-XXXXXX").string();
    return mkdtemp(folder.data()) == nullptr ? "." : folder;
}

// The benchmarks write their results to standard output, so standard error is the console that nobody sees.
void HideStandardError() {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

// plog keeps what it was once given, so its appenders exist once, behind a switch.
class SwitchedAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override {
        file_.write(record);
        if (withConsole_) {
            console_.write(record);
        }
    }
    void Switch(bool withConsole) { withConsole_ = withConsole; }
    const std::string& Folder() const { return folder_; }

  private:
    const std::string folder_ = NewFolder();
    plog::RollingFileAppender<plog::TxtFormatter, plog::UTF8Converter> file_{(folder_ + "/mux.log").c_str(),
                                                                             kLogFileBytes, kLogFiles};
    plog::ConsoleAppender<plog::TxtFormatter> console_{plog::streamStdErr};
    bool withConsole_ = false;
};

SwitchedAppender& Appender() {
    static SwitchedAppender appender;
    return appender;
}

}  // namespace

void FilterLogOut() {
    plog::init(plog::none, &Appender()).setMaxSeverity(plog::none);
}

LogOutput::LogOutput(To to) {
    if (to == To::kFileAndConsole) {
        HideStandardError();
    }
    Appender().Switch(to == To::kFileAndConsole);
    plog::get()->setMaxSeverity(plog::info);
}

LogOutput::~LogOutput() {
    plog::get()->setMaxSeverity(plog::none);
    for (const auto& file : std::filesystem::directory_iterator(Appender().Folder())) {
        std::filesystem::resize_file(file, 0);
    }
}

}  // namespace Benchmark
