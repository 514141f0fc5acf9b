#include "tests/support/FakeGateway.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "tests/support/WaitUntil.h"

namespace Testing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPortDeadline{60};

void AppendNumber(Bytes& bytes, std::uint32_t number) {
    for (const int shift : {24, 16, 8, 0}) {
        bytes.push_back(static_cast<unsigned char>(number >> shift));
    }
}

std::uint32_t NumberAt(const Bytes& bytes, std::size_t offset) {
    std::uint32_t number = 0;
    for (std::size_t index = offset; index < offset + 4; ++index) {
        number = number * 256 + bytes.at(index);
    }
    return number;
}

// CRC-16/XMODEM by its definition, bit after bit.
std::uint16_t Crc(const Bytes& bytes) {
    std::uint32_t crc = 0;
    for (const unsigned char byte : bytes) {
        crc ^= static_cast<std::uint32_t>(byte) << 8;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1) ^ 0x1021U : crc << 1;
        }
        crc &= 0xFFFFU;
    }
    return static_cast<std::uint16_t>(crc);
}

std::chrono::milliseconds RemainingUntil(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

}  // namespace

Bytes Frame(std::uint8_t type, std::uint8_t referenceID, const Bytes& payload, std::uint32_t deviceAddress) {
    Bytes frame = {static_cast<unsigned char>(payload.size() + 19),
                   0xFE,
                   0xFD,
                   static_cast<unsigned char>(payload.size() + 14),
                   1,
                   0,
                   0,
                   referenceID};
    AppendNumber(frame, 0);
    AppendNumber(frame, deviceAddress);
    frame.push_back(type);
    frame.insert(frame.end(), payload.begin(), payload.end());
    const std::uint16_t crc = Crc(frame);
    frame.push_back(static_cast<unsigned char>(crc >> 8));
    frame.push_back(static_cast<unsigned char>(crc));
    return frame;
}

Bytes ResultFrame(std::uint8_t referenceID, std::uint8_t result, std::uint32_t counter) {
    Bytes payload = {result};
    if (result == 7) {
        AppendNumber(payload, counter);
    }
    return Frame(0, referenceID, payload);
}

Bytes EventFrame(std::uint8_t type, const Bytes& data, std::uint32_t deviceAddress) {
    Bytes payload = {0xA0, 0xA1, 0xA2, 0xA3, 0xB1, 0xB2, 0xB3, static_cast<unsigned char>(data.size())};
    payload.insert(payload.end(), data.begin(), data.end());
    return Frame(type, 0, payload, deviceAddress);
}

std::uint8_t ReferenceIDOf(const Bytes& frame) {
    return frame.at(7);
}

std::uint32_t SequenceCounterOf(const Bytes& frame) {
    return NumberAt(frame, 8);
}

std::uint32_t DeviceAddressOf(const Bytes& frame) {
    return NumberAt(frame, 12);
}

std::string TimelessPart(const Bytes& frame) {
    constexpr std::size_t kChecksumSize = 2;
    if (frame.size() < 12 + kChecksumSize) {
        return "";
    }
    Bytes part(frame.begin(), frame.begin() + 7);
    part.insert(part.end(), frame.begin() + 12, frame.end() - kChecksumSize);
    return ToHex(part);
}

FakeConnection::FakeConnection(LoopbackSocket accepted) : LoopbackSocket(std::move(accepted)) {}

Bytes FakeConnection::ReceiveFrame(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    Bytes frame = Receive(1, deadline);
    if (frame.empty()) {
        return {};
    }
    const std::size_t rest = frame.front() - 1U;
    const Bytes received = Receive(rest, RemainingUntil(end));
    frame.insert(frame.end(), received.begin(), received.end());
    return received.size() == rest ? frame : Bytes();
}

Bytes FakeConnection::ReceiveLockFrame(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    for (;;) {
        Bytes frame = ReceiveFrame(RemainingUntil(end));
        if (frame.empty() || DeviceAddressOf(frame) != kRefreshAddress) {
            return frame;
        }
    }
}

FakeGateway::FakeGateway(int port) {
    Bind(port);
}

void FakeGateway::Bind(int port) {
    const int enabled = 1;
    setsockopt(socket_.Descriptor(), SOL_SOCKET, SO_REUSEADDR, &enabled, sizeof enabled);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const auto isBound = [&] {
        return bind(socket_.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    };
    if (!WaitUntil(isBound, kPortDeadline)) {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
}

std::uint32_t FakeGateway::Port() const {
    return static_cast<std::uint32_t>(socket_.Port());
}

void FakeGateway::Listen() {
    if (listen(socket_.Descriptor(), 64) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen");
    }
}

void FakeGateway::Refuse() {
    const int port = socket_.Port();
    socket_.Close();
    socket_ = LoopbackSocket();
    Bind(port);
}

FakeConnection FakeGateway::Accept() {
    return FakeConnection(socket_.Accept(kDeadline));
}

}  // namespace Testing
