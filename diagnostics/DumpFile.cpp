#include "diagnostics/DumpFile.h"

#include <sys/prctl.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <array>
#include <cctype>
#include <cstdlib>

#include "diagnostics/Log.h"

namespace Diagnostics {
namespace {

constexpr std::size_t kUuidTextSize = 37;

// Never freed: a crash may come while the process already ends.
std::string& DumpName() {
    static auto* name = new std::string("mux");
    return *name;
}

// The name becomes a word of a shell command.
std::string AsShellWord(std::string name) {
    for (char& character : name) {
        const bool isPlain = std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-' ||
                             character == '_' || character == '.';
        character = isPlain ? character : '_';
    }
    return name;
}

std::string NewUuid() {
    uuid_t uuid;
    std::array<char, kUuidTextSize> text{};
    uuid_generate(uuid);
    uuid_unparse_lower(uuid, text.data());
    return text.data();
}

}  // namespace

void SetDumpName(const std::string& programPath) {
    const std::string baseName = programPath.substr(programPath.find_last_of('/') + 1);
    DumpName() = AsShellWord(baseName) + "-" + NewUuid();
}

std::string DumpCommand() {
    return "gcore -o " + DumpName() + ".dump " + std::to_string(getpid());
}

void SaveDumpFile() {
    MUX_OPERATION();
    MUX_LOG(plog::info) << "Running gcore for save current core dump.";
    MUX_LOG(plog::info) << "Command line:" << DumpCommand();
    RunDumpCommand();
}

void RunDumpCommand() {
    // Where the kernel lets only a parent trace a process, gcore, our grandchild, needs leave to do so.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): the command is ours, its only variable word is filtered
    const int status = std::system(DumpCommand().c_str());
    static_cast<void>(status);
}

}  // namespace Diagnostics
