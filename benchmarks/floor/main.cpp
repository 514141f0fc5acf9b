// floor PORT [GATEWAY_PORT]: the daemon's pace and nothing else, so that what the daemon adds to its pace can be
// measured. One thread accepts, one receives and cuts packets, two loops of a millisecond take one record a pass,
// every packet is answered with a refusal. With a gateway port it also has one gateway's pair of threads.
//
// It checks nothing and logs nothing, and it ends only by a signal.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

// The daemon's periods. Timer slack is the system's, as the daemon's is.
constexpr timespec kPass = {0, 1'000'000};
constexpr timespec kGatewayPass = {0, 300'000'000};
constexpr timespec kNoClientPause = {1, 0};
constexpr int kReceiveWaitMilliseconds = 1'000;
constexpr int kGatewayWaitMilliseconds = 11'000;
constexpr std::size_t kChunkBytes = 1024;
constexpr std::size_t kHeaderBytes = 6;
constexpr int kBacklog = 128;

struct Record {
    int descriptor;
    std::string text;
};

template <typename Item>
class Queue {
  public:
    void Push(Item item) {
        const std::lock_guard<std::mutex> lock(mutex_);
        items_.push_back(std::move(item));
    }

    std::optional<Item> Take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (items_.empty()) {
            return std::nullopt;
        }
        std::optional<Item> item(std::move(items_.front()));
        items_.pop_front();
        return item;
    }

  private:
    std::mutex mutex_;
    std::deque<Item> items_;
};

int listener = -1;
Queue<int> accepted;
Queue<Record> requests;
Queue<Record> answers;
Queue<Record> frames;
int gateway = -1;

void Sleep(timespec left) {
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

// Nothing for a text that is no port: 0 would let the kernel pick one.
std::optional<std::uint16_t> ParsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool isPort = error == std::errc() && end == text.data() + text.size() && port != 0;
    return isPort ? std::optional<std::uint16_t>(port) : std::nullopt;
}

sockaddr_in AddressOf(in_addr_t host, std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(host);
    return address;
}

void* AcceptLoop(void* /*unused*/) {
    for (int client = accept(listener, nullptr, nullptr); client != -1; client = accept(listener, nullptr, nullptr)) {
        const int enabled = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &enabled, sizeof enabled);
        accepted.Push(client);
    }
    return nullptr;
}

void CutPackets(int client, std::string& buffer) {
    while (buffer.size() >= 2) {
        const auto low = static_cast<unsigned char>(buffer[0]);
        const auto high = static_cast<unsigned char>(buffer[1]);
        const std::size_t length = low + std::size_t{256} * high;
        if (length < kHeaderBytes || buffer.size() < length) {
            return;
        }
        requests.Push({client, buffer.substr(kHeaderBytes, length - kHeaderBytes)});
        buffer.erase(0, length);
    }
}

// Returns false when the client has gone.
bool Drain(int client, std::string& buffer) {
    std::array<char, kChunkBytes> chunk;
    ssize_t count = static_cast<ssize_t>(chunk.size());
    while (count == static_cast<ssize_t>(chunk.size())) {
        count = recv(client, chunk.data(), chunk.size(), MSG_DONTWAIT);
        buffer.append(chunk.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    CutPackets(client, buffer);
    return count > 0 || (count == -1 && errno == EAGAIN);
}

void* ReceiveLoop(void* /*unused*/) {
    std::map<int, std::string> clients;
    std::vector<pollfd> events;
    while (true) {
        while (const std::optional<int> client = accepted.Take()) {
            clients[*client];
        }
        if (clients.empty()) {
            Sleep(kNoClientPause);
            continue;
        }
        events.clear();
        for (const auto& client : clients) {
            events.push_back({client.first, POLLIN, 0});
        }
        poll(events.data(), events.size(), kReceiveWaitMilliseconds);
        for (const pollfd& event : events) {
            if (event.revents != 0 && !Drain(event.fd, clients[event.fd])) {
                clients.erase(event.fd);
                close(event.fd);
            }
        }
    }
}

// A refusal as the daemon sends it, byte for byte but for the time.
std::string Refusal(std::string_view request) {
    constexpr std::string_view kKey = "\"MessageID\":\"";
    const std::size_t key = request.find(kKey);
    const std::size_t start = key == std::string_view::npos ? request.size() : key + kKey.size();
    const std::string_view id = request.substr(start, request.find('"', start) - start);
    return R"({"Timestamp":1700000000,"MessageID":")" + std::string(id) +
           R"(","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})";
}

void* RequestLoop(void* /*unused*/) {
    while (true) {
        if (const std::optional<Record> request = requests.Take()) {
            answers.Push({request->descriptor, Refusal(request->text)});
        }
        Sleep(kPass);
    }
}

void* AnswerLoop(void* /*unused*/) {
    while (true) {
        if (const std::optional<Record> answer = answers.Take()) {
            static_cast<void>(send(answer->descriptor, answer->text.data(), answer->text.size(), 0));
        }
        Sleep(kPass);
    }
}

void* GatewaySendLoop(void* /*unused*/) {
    while (true) {
        Sleep(kGatewayPass);
        if (const std::optional<Record> frame = frames.Take()) {
            static_cast<void>(send(gateway, frame->text.data(), frame->text.size(), 0));
        }
    }
}

void* GatewayReadLoop(void* /*unused*/) {
    std::array<char, kChunkBytes> chunk;
    ssize_t count = 1;
    while (count != 0) {
        Sleep(kGatewayPass);
        pollfd event = {gateway, POLLIN, 0};
        if (poll(&event, 1, kGatewayWaitMilliseconds) > 0) {
            count = recv(gateway, chunk.data(), chunk.size(), 0);
        }
    }
    return nullptr;
}

bool Listen(std::uint16_t port) {
    const sockaddr_in address = AddressOf(INADDR_ANY, port);
    const int enabled = 1;
    listener = socket(AF_INET, SOCK_STREAM, 0);
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &enabled, sizeof enabled);
    setsockopt(listener, SOL_SOCKET, SO_REUSEPORT, &enabled, sizeof enabled);
    return bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           listen(listener, kBacklog) == 0;
}

bool ConnectToGateway(std::uint16_t port) {
    const sockaddr_in address = AddressOf(INADDR_LOOPBACK, port);
    gateway = socket(AF_INET, SOCK_STREAM, 0);
    return connect(gateway, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

pthread_t Start(void* (*procedure)(void*)) {
    pthread_t thread = {};
    if (pthread_create(&thread, nullptr, procedure, nullptr) != 0) {
        std::perror("floor: thread");
        _exit(EXIT_FAILURE);
    }
    return thread;
}

}  // namespace

int main(int argc, char** argv) {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    const bool hasGateway = argc == 3;
    const auto port = ParsePort(argc > 1 ? argv[1] : "");
    const auto gatewayPort = ParsePort(hasGateway ? argv[2] : "");
    if (argc > 3 || !port || (hasGateway && !gatewayPort)) {
        static_cast<void>(std::fputs("usage: floor PORT [GATEWAY_PORT]\n", stderr));
        return EXIT_FAILURE;
    }
    if (!Listen(*port) || (hasGateway && !ConnectToGateway(*gatewayPort))) {
        std::perror("floor: port");
        return EXIT_FAILURE;
    }
    if (hasGateway) {
        Start(GatewaySendLoop);
        Start(GatewayReadLoop);
    }
    Start(RequestLoop);
    Start(AcceptLoop);
    Start(ReceiveLoop);
    pthread_join(Start(AnswerLoop), nullptr);
}
