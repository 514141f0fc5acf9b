#include "proxy/mqtt/BrokerSession.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <openssl/ssl.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <system_error>
#include <utility>

#include "proxy/mqtt/BytesRead.h"

namespace MuxProxy {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kKeepAliveSeconds = 30;
// From the connection of TCP to the broker's answers.
constexpr std::chrono::seconds kLongestOpening{15};
// No command is longer. The broker is told so, but the library does not enforce it: it allocates up to 256 MiB for one
// packet and reads into that as long as the socket has something.
constexpr std::uint32_t kLongestPacket = 65536;
// Bytes that are read without the end of a packet before the connection is given up. What remains: a broker that sends
// faster than this host reads may fill such a packet within one call of the library, and its payload is copied once
// before OnMessage() refuses it; only the limit on the process's memory bounds that.
constexpr std::uint64_t kMostWithoutPacket = 4 * std::uint64_t{kLongestPacket};
constexpr const char* kOnline = "online";
constexpr const char* kOffline = "offline";
constexpr PublishNumber kNone = 0;

class Properties {
  public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&list_); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    mosquitto_property** operator&() { return &list_; }
    const mosquitto_property* Get() const { return list_; }

  private:
    mosquitto_property* list_ = nullptr;
};

std::string ResponseTopicIn(const mosquitto_property* list) {
    char* text = nullptr;
    if (mosquitto_property_read_string(list, MQTT_PROP_RESPONSE_TOPIC, &text, false) == nullptr) {
        return "";
    }
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    return owned.get();
}

std::string CorrelationDataIn(const mosquitto_property* list) {
    void* bytes = nullptr;
    std::uint16_t size = 0;
    if (mosquitto_property_read_binary(list, MQTT_PROP_CORRELATION_DATA, &bytes, &size, false) == nullptr) {
        return "";
    }
    const std::unique_ptr<void, decltype(&std::free)> owned(bytes, &std::free);
    return {static_cast<const char*>(owned.get()), size};
}

std::string PasswordIn(const std::string& file) {
    std::ifstream stream(file);
    std::string line;
    if (!std::getline(stream, line) && !stream.eof()) {
        throw BrokerError("the password file " + file + " cannot be read");
    }
    return line.substr(0, line.find('\r'));
}

PublishResult ResultOf(int reason) {
    switch (reason) {
        case MQTT_RC_TOPIC_NAME_INVALID:
        case MQTT_RC_PACKET_TOO_LARGE:
        case MQTT_RC_PAYLOAD_FORMAT_INVALID:
            return PublishResult::kImpossible;
        default:
            return reason < MQTT_RC_UNSPECIFIED ? PublishResult::kTaken : PublishResult::kRefused;
    }
}

// Of a fault of the library that is about this one message. All others are about what the broker supports, such as a
// maximum QoS of 0: the message is kept for a better one.
PublishResult ResultOfFault(int fault) {
    switch (fault) {
        case MOSQ_ERR_INVAL:
        case MOSQ_ERR_MALFORMED_UTF8:
        case MOSQ_ERR_OVERSIZE_PACKET:
        case MOSQ_ERR_PAYLOAD_SIZE:
            return PublishResult::kImpossible;
        default:
            return PublishResult::kRefused;
    }
}

std::string InQuotes(const std::string& topic) {
    return '"' + topic + '"';
}

}  // namespace

// What the library calls back with.
class BrokerSession::Connection {
  public:
    Connection(const BrokerSettings& settings, BrokerSessionOwner& owner) : settings_(settings), owner_(owner) {
        static const int initialized = mosquitto_lib_init();
        const char* const id = settings.clientId.empty() ? nullptr : settings.clientId.c_str();
        handle_.reset(initialized == MOSQ_ERR_SUCCESS ? mosquitto_new(id, true, this) : nullptr);
        if (handle_ == nullptr) {
            throw BrokerError("no connection can be made: " + std::generic_category().message(errno));
        }
        SetCallbacks();
    }

    void Connect() {
        SetOptions();
        if (!settings_.authority.empty()) {
            SetTls();
        }
        Properties properties;
        Check(mosquitto_property_add_int32(&properties, MQTT_PROP_MAXIMUM_PACKET_SIZE, kLongestPacket));
        Check(mosquitto_connect_bind_v5(handle_.get(), settings_.host.c_str(), settings_.port, kKeepAliveSeconds,
                                        nullptr, properties.Get()));
        opensBefore_ = Clock::now() + kLongestOpening;
    }

    void Run(int wakeDescriptor, milliseconds longest, bool mayRead) {
        if (!IsOpen() && Clock::now() >= opensBefore_) {
            throw BrokerError("it did not answer within " + std::to_string(kLongestOpening.count()) + " s");
        }
        std::array<pollfd, 2> files = {
            {{mosquitto_socket(handle_.get()), AwaitedEvents(mayRead), 0}, {wakeDescriptor, POLLIN, 0}}};
        if (poll(files.data(), files.size(), static_cast<int>(longest.count())) > 0) {
            Handle(files.front().revents);
        }
        Check(mosquitto_loop_misc(handle_.get()));
        ThrowCaught();
        CheckProgress();
        Check(mosquitto_socket(handle_.get()) < 0 ? MOSQ_ERR_CONN_LOST : MOSQ_ERR_SUCCESS);
    }

    bool IsOpen() const { return isConnected_ && subscribing_.empty(); }

    void Publish(PublishNumber number, const BrokerMessage& message) {
        Properties properties;
        if (!message.correlationData.empty()) {
            const std::string& data = message.correlationData;
            Check(mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA, data.data(),
                                                static_cast<std::uint16_t>(data.size())));
        }
        int id = 0;
        const int fault =
            mosquitto_publish_v5(handle_.get(), &id, message.topic.c_str(), static_cast<int>(message.payload.size()),
                                 message.payload.data(), message.qos, message.isRetained, properties.Get());
        if (fault == MOSQ_ERR_SUCCESS && message.qos == 0) {
            Report(number, PublishResult::kTaken);
        } else if (fault == MOSQ_ERR_SUCCESS) {
            published_[id] = {number, message.topic};
        } else if (fault == MOSQ_ERR_NO_CONN || fault == MOSQ_ERR_CONN_LOST || fault == MOSQ_ERR_NOMEM) {
            Check(fault);
        } else {
            owner_.SessionComplained("A message to " + InQuotes(message.topic) +
                                     " cannot be sent: " + mosquitto_strerror(fault));
            Report(number, ResultOfFault(fault));
        }
    }

    void End(milliseconds longest) {
        const auto end = Clock::now() + longest;
        if (!isConnected_) {
            return;
        }
        PublishStatus(kOffline);
        while (!published_.empty() && Clock::now() < end) {
            Run(-1, milliseconds(50), true);
        }
        if (published_.empty()) {
            mosquitto_disconnect_v5(handle_.get(), MQTT_RC_NORMAL_DISCONNECTION, nullptr);
        }
    }

  private:
    struct Published {
        PublishNumber number = kNone;
        std::string topic;
    };

    static Connection& Of(void* object) { return *static_cast<Connection*>(object); }

    void SetCallbacks() {
        mosquitto* const handle = handle_.get();
        mosquitto_log_callback_set(handle, [](mosquitto*, void* self, int level, const char* text) {
            Of(self).Catch([&] { Of(self).OnLog(level, text); });
        });
        mosquitto_connect_v5_callback_set(handle,
                                          [](mosquitto*, void* self, int reason, int, const mosquitto_property*) {
                                              Of(self).Catch([&] { Of(self).OnConnect(reason); });
                                          });
        mosquitto_disconnect_v5_callback_set(handle, [](mosquitto*, void* self, int reason, const mosquitto_property*) {
            Of(self).Catch([&] { Of(self).OnDisconnect(reason); });
        });
        mosquitto_subscribe_v5_callback_set(
            handle, [](mosquitto*, void* self, int id, int count, const int* granted, const mosquitto_property*) {
                Of(self).Catch([&] { Of(self).OnSubscribe(id, count > 0 ? *granted : MQTT_RC_UNSPECIFIED); });
            });
        mosquitto_publish_v5_callback_set(handle,
                                          [](mosquitto*, void* self, int id, int reason, const mosquitto_property*) {
                                              Of(self).Catch([&] { Of(self).OnPublish(id, reason); });
                                          });
        mosquitto_message_v5_callback_set(
            handle, [](mosquitto*, void* self, const mosquitto_message* message, const mosquitto_property* properties) {
                Of(self).Catch([&] { Of(self).OnMessage(*message, properties); });
            });
    }

    // Does a callback's work. The library is C and holds a mutex meanwhile, so nothing is thrown through it.
    template <typename Work>
    void Catch(const Work& work) noexcept {
        try {
            work();
        } catch (...) {
            caught_ = std::current_exception();
        }
    }

    void ThrowCaught() {
        if (caught_) {
            std::rethrow_exception(std::exchange(caught_, nullptr));
        }
    }

    void SetOptions() {
        mosquitto* const handle = handle_.get();
        Check(mosquitto_int_option(handle, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5));
        Check(mosquitto_int_option(handle, MOSQ_OPT_TCP_NODELAY, 1));
        Check(mosquitto_will_set_v5(handle, settings_.statusTopic.c_str(),
                                    static_cast<int>(std::string(kOffline).size()), kOffline, 1, true, nullptr));
        if (!settings_.user.empty()) {
            const std::string& file = settings_.passwordFile;
            const std::string password = file.empty() ? "" : PasswordIn(file);
            Check(mosquitto_username_pw_set(handle, settings_.user.c_str(), file.empty() ? nullptr : password.c_str()));
        }
    }

    void SetTls() {
        const auto orNone = [](const std::string& text) { return text.empty() ? nullptr : text.c_str(); };
        // A key with a password would otherwise be asked for on the terminal.
        const auto noPassword = [](char*, int, int, void*) { return 0; };
        const int fault = mosquitto_tls_set(handle_.get(), settings_.authority.c_str(), nullptr,
                                            orNone(settings_.certificate), orNone(settings_.key), noPassword);
        if (fault != MOSQ_ERR_SUCCESS) {
            throw BrokerError("its authority, or the certificate or key for it, cannot be read");
        }
        constexpr int kVerifyPeer = 1;
        Check(mosquitto_tls_opts_set(handle_.get(), kVerifyPeer, nullptr, nullptr));
        Check(mosquitto_tls_insecure_set(handle_.get(), false));
    }

    // During the handshake the library wants to write, whatever TLS waits for: a broker that hangs would keep a core
    // busy.
    short AwaitedEvents(bool mayRead) const {
        auto* const tls = static_cast<SSL*>(mosquitto_ssl_get(handle_.get()));
        if (tls != nullptr && SSL_is_init_finished(tls) == 0) {
            return SSL_want_write(tls) ? POLLOUT : POLLIN;
        }
        const short reading = mayRead ? POLLIN : 0;
        const short writing = mosquitto_want_write(handle_.get()) ? POLLOUT : 0;
        return static_cast<short>(reading | writing);
    }

    // Until the broker has answered, all that comes continues the handshake, which may wait for either direction.
    void Handle(short events) {
        if ((events & (POLLIN | POLLERR | POLLHUP)) != 0 || (events != 0 && !isConnected_)) {
            const int fault = mosquitto_loop_read(handle_.get(), 1);
            ThrowCaught();
            Check(fault);
        }
        if ((events & POLLOUT) != 0) {
            Check(mosquitto_loop_write(handle_.get(), 1));
        }
    }

    void Check(int fault) const {
        if (fault != MOSQ_ERR_SUCCESS) {
            throw BrokerError(TextOf(fault, errno));
        }
    }

    std::string TextOf(int fault, int error) const {
        if (!reason_.empty()) {
            return reason_;
        }
        // Newer versions of the library tell faults of TLS so.
        const bool isOfTls = fault == MOSQ_ERR_ERRNO && error == EPROTO;
        if (fault == MOSQ_ERR_ERRNO && !isOfTls) {
            return std::generic_category().message(error);
        }
        return mosquitto_strerror(isOfTls ? MOSQ_ERR_TLS : fault) + (logged_.empty() ? "" : " (" + logged_ + ')');
    }

    void CheckProgress() {
        const std::uint64_t read = BytesReadFrom(mosquitto_socket(handle_.get()));
        if (std::exchange(hasPacket_, false)) {
            readBefore_ = read;
        }
        if (read > readBefore_ + kMostWithoutPacket) {
            throw BrokerError("it sends a packet that is longer than the " + std::to_string(kLongestPacket) +
                              " bytes that it may have");
        }
    }

    // The library logs each packet that it has read, also those that have no callback.
    void OnLog(int level, const char* text) {
        hasPacket_ = hasPacket_ || (level == MOSQ_LOG_DEBUG && std::strstr(text, " received ") != nullptr);
        if (level == MOSQ_LOG_ERR) {
            logged_ = text;
        }
    }

    void OnConnect(int reason) {
        if (reason != MQTT_RC_SUCCESS) {
            reason_ = std::string("it refuses the connection: ") + mosquitto_reason_string(reason);
            return;
        }
        isConnected_ = true;
        PublishStatus(kOnline);
        for (const std::string& filter : settings_.subscriptions) {
            int id = 0;
            const int options = MQTT_SUB_OPT_RETAIN_AS_PUBLISHED | MQTT_SUB_OPT_SEND_RETAIN_ALWAYS;
            Check(mosquitto_subscribe_v5(handle_.get(), &id, filter.c_str(), 1, options, nullptr));
            subscribing_[id] = filter;
        }
        if (subscribing_.empty()) {
            owner_.SessionOpened();
        }
    }

    void OnSubscribe(int id, int granted) {
        const auto found = subscribing_.find(id);
        if (found == subscribing_.end()) {
            return;
        }
        if (granted >= MQTT_RC_UNSPECIFIED) {
            owner_.SessionComplained("The broker refuses the subscription to " + InQuotes(found->second) + ": " +
                                     mosquitto_reason_string(granted));
        }
        subscribing_.erase(found);
        if (subscribing_.empty()) {
            owner_.SessionOpened();
        }
    }

    void OnDisconnect(int reason) {
        if (reason_.empty() && reason >= MQTT_RC_UNSPECIFIED) {
            reason_ = std::string("it ended the connection: ") + mosquitto_reason_string(reason);
        }
    }

    void OnPublish(int id, int reason) {
        const auto found = published_.find(id);
        if (found == published_.end()) {
            return;
        }
        const Published published = std::move(found->second);
        published_.erase(found);
        if (reason >= MQTT_RC_UNSPECIFIED) {
            owner_.SessionComplained("The broker refuses a message to " + InQuotes(published.topic) + ": " +
                                     mosquitto_reason_string(reason));
        }
        Report(published.number, ResultOf(reason));
    }

    void OnMessage(const mosquitto_message& message, const mosquitto_property* properties) {
        const auto* const bytes = static_cast<const char*>(message.payload);
        const auto size = static_cast<std::size_t>(message.payloadlen);
        if (size > kLongestPacket) {
            throw BrokerError("it sent a message of " + std::to_string(size) + " bytes; the longest it may send has " +
                              std::to_string(kLongestPacket));
        }
        owner_.SessionReceived({message.topic, bytes == nullptr ? "" : std::string(bytes, size), message.qos,
                                message.retain, ResponseTopicIn(properties), CorrelationDataIn(properties)});
    }

    void PublishStatus(const char* status) { Publish(kNone, {settings_.statusTopic, status, 1, true}); }

    void Report(PublishNumber number, PublishResult result) {
        if (number != kNone) {
            owner_.SessionPublished(number, result);
        }
    }

    const BrokerSettings& settings_;
    BrokerSessionOwner& owner_;
    std::unique_ptr<mosquitto, decltype(&mosquitto_destroy)> handle_{nullptr, &mosquitto_destroy};
    Clock::time_point opensBefore_;
    bool isConnected_ = false;
    // Whether a packet came to its end since CheckProgress(), and how much had been read then.
    bool hasPacket_ = false;
    std::uint64_t readBefore_ = 0;
    // By the library's numbers.
    std::map<int, Published> published_;
    std::map<int, std::string> subscribing_;
    // The library's last complaint; and why the broker itself ends the connection.
    std::string logged_;
    std::string reason_;
    // What a callback threw.
    std::exception_ptr caught_;
};

BrokerSession::BrokerSession(const BrokerSettings& settings, BrokerSessionOwner& owner)
    : connection_(std::make_unique<Connection>(settings, owner)) {}

BrokerSession::~BrokerSession() = default;

void BrokerSession::Connect() {
    connection_->Connect();
}

void BrokerSession::Run(int wakeDescriptor, milliseconds longest, bool mayRead) {
    connection_->Run(wakeDescriptor, longest, mayRead);
}

bool BrokerSession::IsOpen() const {
    return connection_->IsOpen();
}

void BrokerSession::Publish(PublishNumber number, const BrokerMessage& message) {
    connection_->Publish(number, message);
}

void BrokerSession::End(milliseconds longest) noexcept {
    try {
        connection_->End(longest);
    } catch (const std::exception&) {
        // The broker publishes the last will.
    }
}

}  // namespace MuxProxy
