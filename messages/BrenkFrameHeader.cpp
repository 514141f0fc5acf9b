#include "messages/BrenkFrameHeader.h"

#include "messages/BigEndian.h"
#include "messages/FrameLayout.h"
#include "messages/FrameReader.h"

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

}  // namespace Brenk::Messages
