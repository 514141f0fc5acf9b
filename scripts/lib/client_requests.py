"""What the clients of a soak send."""
import json
import random

LOCKS = (5, 6, 7)
CARDS = ("04A1B2C3", "ABC", "04A1B2C3D4E5F6", "00112233445566778899")

OPEN_CLOSE_CODES = (13, 113)
WHITELIST_CODES = (21, 25)
GATEWAY_CODES = (10, 11, 12, 13, 14, 21, 22, 23, 24, 25, 110, 111, 113, 114)
REFUSED_CODES = (0, 1, 20, 50, 51, 60, 77, 112, 2147483647)


def text(message_id, code, data):
    return json.dumps({"Timestamp": 1700000000, "MessageID": message_id, "MessageCode": code, "Data": data},
                      separators=(",", ":"))


def gateway_data(code, gateway_id):
    data = {"gatewayID": gateway_id, "lockID": random.choice(LOCKS)}
    if code in OPEN_CLOSE_CODES:
        data["duration"] = random.randrange(6)
    if code in WHITELIST_CODES:
        data |= {"cardData": random.choice(CARDS), "setupNumber": random.randrange(2), "options": random.randrange(3),
                 "isUIDCard": random.choice((True, False))}
    return data


def for_gateway(message_id, gateway_id):
    """A request that this gateway carries out or refuses."""
    code = random.choice(GATEWAY_CODES)
    return text(message_id, code, gateway_data(code, gateway_id))


def refused_by_mux(message_id):
    """A request that the Mux answers by itself: for a gateway that is not there, or with a code that none knows."""
    if random.random() < 0.5:
        code = random.choice(GATEWAY_CODES)
        return text(message_id, code, gateway_data(code, 999))
    return text(message_id, random.choice(REFUSED_CODES), {"gatewayID": 1, "lockID": 5})


def unanswered(message_id):
    """Texts that get no answer and do no harm."""
    return random.choice((
        text(message_id, 2, {"Enabled": False, "Gateways": []}),
        "{" + message_id,
        text(message_id, 10, {}) + "}",
        "[" * 2000,
        "",
    ))


def garbage():
    """Bytes that never become a message: none of them is a whole JSON text in a whole packet."""
    return random.choice((
        random.randbytes(random.randrange(1, 3000)),
        b"\0\0" + random.randbytes(random.randrange(1, 5000)),
        b"\x05\0MUX\x01\0\x02\0",
        b"\xff\xffMUXM" + b"[" * random.randrange(1, 65000),
        b"\x0a\0XUXM{}{}",
        b"\x0c\0MUXM\xff\xfe\xc0\x80{}",
        b"\x08\0MU",
    ))
