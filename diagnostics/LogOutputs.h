#pragma once

#include <plog/Appenders/IAppender.h>

#include <memory>
#include <string>

namespace Diagnostics {

// The console and the log file as one appender: a line is formatted once for both, as plog's text formatter does it.
// Formatting costs more than writing, and a request makes several lines.
//
// Any thread may write; the file is added before there is another thread. Lives as long as the logger that has it.
class LogOutputs : public plog::IAppender {
  public:
    // With `colors` the console is coloured when it is a terminal.
    explicit LogOutputs(bool colors);

    // Lines go to this file too from now on. A file that has outgrown `maximumBytes` is renamed before the next line,
    // and at most `files` of them are kept, which must be 2 or more. A file that cannot be opened for a while, or is
    // taken away, has the lines again that come two seconds after the fault has gone.
    void AddFile(const std::string& fileName, std::size_t maximumBytes, int files);

    void write(const plog::Record& record) override;

  private:
    std::unique_ptr<plog::IAppender> console_;
    std::unique_ptr<plog::IAppender> file_;
};

}  // namespace Diagnostics
