// sign and new-key: what they print is what mux-proxy accepts.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "proxy/mqtt/CommandCheck.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/muxctl/RunningProgram.h"
#include "tools/muxctl/SignedOperation.h"

namespace Muxctl {
namespace {

using testing::StartsWith;

// Other implementations: one that verifies, and the Python package.
const char* const kVerifying =
    "import sys\n"
    "from jwcrypto import jwk, jws\n"
    "token = jws.JWS()\n"
    "token.deserialize(sys.argv[1].strip(), jwk.JWK.from_json(sys.argv[2]))\n"
    "print(token.jose_header)\n";
const char* const kSigning =
    "import sys, dwmux\n"
    "card = dwmux.Card('04A1', is_uid=False, setup_number=7)\n"
    "request = dwmux.Request(dwmux.Operation.REMOVE_CARD, 1, 5, card=card)\n"
    "print(dwmux.sign_command(request, site='hall', key=open(sys.argv[1]).read()))\n";

const Words kLock = {"-g", "1", "-l", "5"};

class SignTest : public testing::Test {
  protected:
    void SetUp() override {
        const Ending made = RunMuxctl({"new-key", key, "--kid", "reception"});
        ASSERT_EQ(made.status, 0) << made.error;
        publicKey = made.output;
        const auto keys =
            std::make_shared<Jose::KeySet>(Jose::KeySet::FromText("set", "{\"keys\":[" + publicKey + "]}"));
        proxysCheck.emplace("hall", keys, [this] {
            return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now()) + ahead;
        });
    }

    Words SignCommand(const Words& words) const {
        return Words{"sign"} + words + Words{"--audience", "hall", "--signing-key", key};
    }

    // What the proxy sends on for a line that was printed, which is for the lock 5 of gateway 1; or its reason.
    std::string AcceptedLine(const std::string& line, std::chrono::seconds later = std::chrono::seconds(0)) {
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        ahead = later;
        const auto read = proxysCheck->Read({{1, 5}, "reception", line.substr(0, line.find('\n')), false});
        if (const auto* const refused = std::get_if<MuxProxy::RefusedCommand>(&read)) {
            return refused->reason;
        }
        const std::string& text = std::get<MuxProxy::CheckedCommand>(read).text;
        return text.substr(text.find("\"MessageCode\""));
    }

    std::string Accepted(const Words& words, std::chrono::seconds later = std::chrono::seconds(0)) {
        const Ending ending = RunMuxctl(SignCommand(words));
        EXPECT_EQ(ending.status, 0) << ending.error;
        return AcceptedLine(ending.output, later);
    }

    static std::string ErrorOf(const Words& command) {
        const Ending ending = RunMuxctl(command);
        EXPECT_EQ(ending.status, 64);
        EXPECT_EQ(ending.output, "");
        return ending.error;
    }
    std::string SignErrorOf(const Words& words) const { return ErrorOf(SignCommand(words + kLock)); }

    const Testing::TemporaryFolder folder;
    const std::string key = (folder.Path() / "reception.jwk").string();
    std::string publicKey;
    // Of the check's clock, which started an hour ago.
    std::chrono::seconds ahead{-3600};
    std::optional<MuxProxy::CommandCheck> proxysCheck;
};

TEST_F(SignTest, SignsWhatTheProxyAccepts) {
    EXPECT_EQ(Accepted(Words{"open"} + kLock), R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})");
    EXPECT_EQ(Accepted(Words{"event-open-close", "-d", "7"} + kLock),
              R"("MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":7}})");
    EXPECT_EQ(Accepted(Words{"whitelist-add", "--card", "04a1B2C3", "--uid", "--options", "9"} + kLock),
              R"("MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":1,)"
              R"("cardData":"04a1B2C3","isUIDCard":true}})");
}

TEST_F(SignTest, SignsWhatAnotherImplementationAccepts) {
    const std::string compact = RunMuxctl(SignCommand(Words{"open"} + kLock)).output;
    const Ending ending = RunToEnd({"/usr/bin/python3", "-B", "-c", kVerifying, compact, publicKey});
    EXPECT_EQ(ending.output, "{'alg': 'ES256', 'kid': 'reception'}\n") << ending.error;
}

// The package's own tests do not have the proxy's check.
TEST_F(SignTest, TheProxyAcceptsWhatThePythonPackageSigns) {
    ProcessSetup setup;
    setup.variables = {{"PYTHONPATH", PYTHON_PACKAGE}};
    const Ending ending = RunToEnd({"/usr/bin/python3", "-B", "-c", kSigning, key}, setup);
    ASSERT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ(AcceptedLine(ending.output),
              R"("MessageCode":25,"Data":{"gatewayID":1,"lockID":5,"setupNumber":7,"options":0,)"
              R"("cardData":"04A1","isUIDCard":false}})");
}

TEST_F(SignTest, KnowsEveryOperationOfTheProxy) {
    std::size_t count = 0;
    for (const SignedOperation& operation : SignedOperations()) {
        EXPECT_NE(MuxProxy::FindRequestKind(operation.name), nullptr) << operation.name;
        ++count;
    }
    EXPECT_EQ(count, 14U);
}

TEST_F(SignTest, TakesTheNameOfALock) {
    const std::string file =
        folder.Write("hall.json", R"({"Gateways":[{"ID":1,"Devices":[{"Name":"Front door","ID":5}]}]})");
    EXPECT_THAT(Accepted({"open", "Front door", "--config", file}), StartsWith("\"MessageCode\":10"));
}

TEST_F(SignTest, LetsACommandExpire) {
    const Words words = Words{"open", "--valid-for", "10"} + kLock;
    EXPECT_THAT(Accepted(words, std::chrono::seconds(8)), StartsWith("\"MessageCode\":10"));
    EXPECT_EQ(Accepted(words, std::chrono::seconds(11)), "it has expired");
}

TEST_F(SignTest, SignsEachTimeAnew) {
    for (int repetition = 0; repetition < 2; ++repetition) {
        EXPECT_THAT(Accepted(Words{"open"} + kLock), StartsWith("\"MessageCode\":10"));
    }
}

TEST_F(SignTest, NamesWhatIsWrong) {
    EXPECT_EQ(SignErrorOf({"opne"}),
              "muxctl: operation: is not opne; did you mean open?\n"
              "Run 'muxctl sign --help' for details\n");
    EXPECT_EQ(SignErrorOf({"open", "-d", "5"}), "muxctl: open takes no --duration\n");
    EXPECT_EQ(SignErrorOf({"open", "--card", "04"}), "muxctl: open takes no --card\n");
    EXPECT_EQ(SignErrorOf({"whitelist-add"}), "muxctl: whitelist-add requires --card\n");
    EXPECT_EQ(SignErrorOf({"whitelist-add", "--uid", "--card", "0102030405060708090A0B"}),
              "muxctl: --card: must be at most 10 bytes with --uid\n");
    EXPECT_THAT(SignErrorOf({"open", "--valid-for", "301"}), StartsWith("muxctl: --valid-for: must be"));
    EXPECT_EQ(ErrorOf(SignCommand({"open", "-g", "1", "-l", "5,6"})), "muxctl: sign takes one lock\n");
    EXPECT_THAT(ErrorOf(Words{"sign", "open", "--audience", "hall"} + kLock),
                StartsWith("muxctl: --signing-key is required\n"));
}

TEST_F(SignTest, NamesAKeyThatCannotBeUsed) {
    const auto errorOf = [](const std::string& file) {
        return ErrorOf(Words{"sign", "open", "--audience", "hall", "--signing-key", file} + kLock);
    };
    const std::string missing = (folder.Path() / "none").string();
    EXPECT_EQ(errorOf(missing), "muxctl: " + missing + " cannot be read: No such file or directory\n");
    const std::string open = folder.Write("public.jwk", publicKey);
    EXPECT_EQ(errorOf(open), "muxctl: " + open + ": the document must have a member \"d\"\n");
}

TEST_F(SignTest, ANewKeyIsItsOwnersAlone) {
    struct stat state = {};
    ASSERT_EQ(stat(key.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 0777U, 0600U);
    EXPECT_EQ(publicKey.find("\"d\""), std::string::npos);
}

TEST_F(SignTest, ANewKeyReplacesNoFile) {
    const std::string before = folder.Read("reception.jwk");
    EXPECT_EQ(ErrorOf({"new-key", key, "--kid", "reception"}), "muxctl: " + key + " cannot be written: File exists\n");
    EXPECT_EQ(folder.Read("reception.jwk"), before);
    EXPECT_EQ(ErrorOf({"new-key", key + "2", "--kid", "a/b"}),
              "muxctl: the identifier of the key must be 1 to 64 bytes of UTF-8 without control characters, \"+\", "
              "\"#\" and \"/\"\n");
}

}  // namespace
}  // namespace Muxctl
