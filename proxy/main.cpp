#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "mux/Version.h"
#include "proxy/Commands.h"

namespace {

// Without a command it runs.
int Run(int argumentCount, char** arguments) {
    CLI::App app("Protected entrance of the Mux: TLS, rights, one answer for each request, and an audit.\n",
                 "mux-proxy");
    app.set_version_flag("--version", std::string("mux-proxy ") + Mux::kVersion, "Print version and exit");
    MuxProxy::Commands commands(app);
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : MuxProxy::kUsageStatus;
    }
    return commands.Run();
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        return Run(argumentCount, arguments);
    } catch (const std::exception& error) {
        std::cerr << "mux-proxy: " << error.what() << '\n';
        return MuxProxy::kFailureStatus;
    }
}
