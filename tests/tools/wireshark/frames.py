"""Gateway frames and client packets, put together without anything of the product."""
import binascii
import json


def with_crc(body):
    return body + binascii.crc_hqx(body, 0).to_bytes(2, "big")


def frame(command, payload=b"", reference=1, counter=1, address=5):
    """A gateway frame around a payload, with the lengths and the CRC that belong to it."""
    return with_crc(bytes([len(payload) + 19, 0xFE, 0xFD, len(payload) + 14, 1, 0, 0, reference])
                    + counter.to_bytes(4, "big") + address.to_bytes(4, "big") + bytes([command]) + payload)


def packet(text):
    """A client's packet around a JSON text (str or bytes)."""
    body = b"MUXM" + (text if isinstance(text, bytes) else text.encode())
    return (len(body) + 2).to_bytes(2, "little") + body


def message(code, message_id, data, timestamp=0):
    """A message as the Mux writes it: compact, members in this order."""
    return json.dumps({"Timestamp": timestamp, "MessageID": message_id, "MessageCode": code, "Data": data},
                      separators=(",", ":"))
