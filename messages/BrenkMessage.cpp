#include "messages/BrenkMessage.h"

#include <utility>

#include "diagnostics/Log.h"
#include "diagnostics/Text.h"
#include "messages/FrameLayout.h"
#include "messages/FrameReader.h"
#include "messages/crc/CRC16.h"

namespace Brenk::Messages {

BrenkFrameHeader BrenkFrameHeader::Read(const std::vector<unsigned char>& frame) {
    const FrameReader reader(frame);
    BrenkFrameHeader header;
    header.totalLength = reader.Byte(FrameLayout::kTotalLength);
    header.magic1 = reader.Byte(FrameLayout::kMagic1);
    header.magic2 = reader.Byte(FrameLayout::kMagic2);
    header.remainingLength = reader.Byte(FrameLayout::kRemainingLength);
    header.headerVersion = reader.Byte(FrameLayout::kHeaderVersion);
    header.reserved1 = reader.Byte(FrameLayout::kReserved1);
    header.reserved2 = reader.Byte(FrameLayout::kReserved2);
    header.referenceID = reader.Byte(FrameLayout::kReferenceID);
    header.sequenceCounter = reader.BigEndian32(FrameLayout::kSequenceCounter);
    header.deviceAddress = reader.BigEndian32(FrameLayout::kDeviceAddress);
    header.payloadType = reader.Byte(FrameLayout::kPayloadType);
    return header;
}

void BrenkFrameHeader::AppendTo(std::vector<unsigned char>& frame) const {
    frame.insert(frame.end(),
                 {totalLength, magic1, magic2, remainingLength, headerVersion, reserved1, reserved2, referenceID});
    AppendBigEndian32(frame, sequenceCounter);
    AppendBigEndian32(frame, deviceAddress);
    frame.push_back(payloadType);
}

BrenkMessagePayload::BrenkMessagePayload(std::uint8_t dataType) : dataType_(dataType) {}

std::uint8_t BrenkMessagePayload::DataType() const {
    return dataType_;
}

std::vector<unsigned char>* BrenkMessagePayload::Serialize() {
    return new std::vector<unsigned char>;
}

BrenkMessage::BrenkMessage(const BrenkFrameHeader& header) : header_(header) {}

void BrenkMessage::AttachPayload(std::unique_ptr<BrenkMessagePayload> payload) {
    payload_ = std::move(payload);
}

std::unique_ptr<BrenkMessagePayload> BrenkMessage::DetachPayload() {
    return std::move(payload_);
}

std::vector<unsigned char>* BrenkMessage::Serialize() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "[BrenkMessage::Serialize] Serializing message main frame parts.";
    auto frame = std::make_unique<std::vector<unsigned char>>(BytesWithoutCRC());
    MUX_LOG(plog::verbose) << "Compunting message CRC16. Current buffer size is" << frame->size();
    AppendBigEndian16(*frame, CRC::CRC16::XModem(*frame));
    return frame.release();
}

std::uint16_t BrenkMessage::ComputeCRC16() const {
    std::vector<unsigned char> bytes = BytesWithoutCRC();
    return CRC::CRC16::XModem(bytes);
}

std::string BrenkMessage::BytesAsText() {
    const std::unique_ptr<std::vector<unsigned char>> frame(Serialize());
    return Diagnostics::BytesToHex(*frame);
}

std::vector<unsigned char> BrenkMessage::BytesWithoutCRC() const {
    std::vector<unsigned char> bytes;
    header_.AppendTo(bytes);
    if (payload_ != nullptr) {
        const std::unique_ptr<std::vector<unsigned char>> payloadBytes(payload_->Serialize());
        bytes.insert(bytes.end(), payloadBytes->begin(), payloadBytes->end());
    }
    return bytes;
}

std::uint8_t BrenkMessage::ReadFrameLength(const std::vector<unsigned char>& frame) {
    const FrameReader reader(frame);
    const std::uint8_t magic1 = reader.Byte(FrameLayout::kMagic1);
    const std::uint8_t magic2 = reader.Byte(FrameLayout::kMagic2);
    const bool magic = magic1 == FrameLayout::kMagicByte1 && magic2 == FrameLayout::kMagicByte2;
    return magic ? reader.Byte(FrameLayout::kTotalLength) : std::uint8_t{0};
}

std::uint8_t BrenkMessage::ReadPayloadType(const std::vector<unsigned char>& frame) {
    return frame.empty() ? std::uint8_t{0} : FrameReader(frame).Byte(FrameLayout::kPayloadType);
}

}  // namespace Brenk::Messages
