#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "mux/Version.h"
#include "proxy/Commands.h"

// The command line of the proxy: without a command it runs.
int main(int argumentCount, char** arguments) {
    CLI::App app("Protected entrance of the Mux: TLS, rights, one answer for each request, and an audit.\n",
                 "mux-proxy");
    app.set_version_flag("--version", std::string("mux-proxy ") + Mux::kVersion, "Print version and exit");
    MuxProxy::Commands commands(app);
    try {
        app.parse(argumentCount, arguments);
        return commands.Run();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : MuxProxy::kUsageStatus;
    } catch (const std::exception& error) {
        std::cerr << "mux-proxy: " << error.what() << '\n';
        return MuxProxy::kFailureStatus;
    }
}
