#pragma once

#include <plog/Appenders/IAppender.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "diagnostics/ConsoleStyle.h"
#include "diagnostics/LogStream.h"

namespace Diagnostics {

// Console and log file as one appender: a line is formatted once for both, as plog's text formatter does, and both get
// the lines in one order. Formatting costs more than writing, and a request logs several lines.
//
// Writing never waits for a reader of the console, or of a pipe or device used as file; see LogStream for what they
// miss. Any thread may write; add the file before other threads exist. Lives as long as its logger.
class LogOutputs : public plog::IAppender {
  public:
    // With `colors` the console, which is standard output, is coloured when it is a terminal.
    explicit LogOutputs(bool colors);

    // Lines go to this regular file too from now on. A file that has outgrown `maximumBytes` is renamed before the next
    // line, and at most `files` of them are kept, which must be 2 or more. A file that cannot be opened for a while, or
    // is taken away, has the lines again that come two seconds after the fault has gone.
    void AddFile(const std::string& fileName, std::size_t maximumBytes, int files);

    // The same for a pipe or a device.
    void AddDevice(LineTarget target);

    void write(const plog::Record& record) override;

    // Writes to the console only. Takes whole lines, their ends included, as they are to appear.
    void WriteToConsole(std::string text);

    // Waits for at most `atMost` until earlier output has been accepted everywhere it is being read.
    void Flush(std::chrono::milliseconds atMost);

  private:
    // Lines as they look where they go to.
    struct StyledStream {
        StyledStream(LineTarget target, bool colors);

        const ConsoleStyle style;
        LogStream lines;
    };

    static std::string NoticeOfMissing(std::size_t lines);

    std::mutex order_;
    std::unique_ptr<plog::IAppender> file_;
    std::unique_ptr<StyledStream> device_;
    StyledStream console_;
};

}  // namespace Diagnostics
