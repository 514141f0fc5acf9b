#pragma once

#include <sys/wait.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace Testing {

// mosquitto with its own file and nothing on disk but that. Started again it has the same port.
class RunningBroker {
  public:
    // `settings` are lines of its file besides the port and what keeps it quiet.
    RunningBroker(const TemporaryFolder& folder, std::string settings)
        : folder_(folder), settings_(std::move(settings)) {
        for (int trial = 0; trial < 10 && process_ == nullptr; ++trial) {
            port_ = LoopbackSocket::Listening().Port();
            TryToStart();
        }
        Check();
    }

    int Port() const { return port_; }
    void Signal(int number) const { process_->Signal(number); }

    void Kill() {
        process_->Signal(SIGKILL);
        process_->WaitForEnd();
        process_.reset();
    }

    void StartAgain() {
        TryToStart();
        Check();
    }

    std::string Log() const { return process_->ErrorOutput(); }
    // Whether it has logged this text since it was started.
    bool WaitForLog(const std::string& text) const { return process_->WaitForErrorOutput(text); }

  private:
    void TryToStart() {
        const std::string file =
            folder_.Write("mosquitto.conf",
                          "listener " + std::to_string(port_) + " 127.0.0.1\nuser root\nlog_dest stderr\n" + settings_);
        process_ = std::make_unique<Process>(std::vector<std::string>{"/usr/sbin/mosquitto", "-v", "-c", file});
        if (!process_->WaitForErrorOutput(" running")) {
            error_ = process_->ErrorOutput();
            process_.reset();
        }
    }

    void Check() const {
        if (process_ == nullptr) {
            throw std::runtime_error("mosquitto does not start: " + error_);
        }
    }

    const TemporaryFolder& folder_;
    const std::string settings_;
    int port_ = 0;
    std::unique_ptr<Process> process_;
    std::string error_;
};

}  // namespace Testing
