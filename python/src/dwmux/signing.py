"""Signed commands for mux-proxy, to be published over MQTT. Needs the package jwcrypto."""

from __future__ import annotations

import importlib
import json
import time
import uuid
from typing import Any

from .requests import Operation, Request

LONGEST_VALIDITY = 300

_NAMES = {
    Operation.OPEN: "open",
    Operation.CLOSE: "close",
    Operation.STATUS: "status",
    Operation.OPEN_CLOSE: "open-close",
    Operation.DENY_ACCESS: "access-denied",
    Operation.ADD_CARD: "whitelist-add",
    Operation.CLEAR_WHITELIST: "whitelist-clear",
    Operation.ENABLE_WHITELIST: "whitelist-enable",
    Operation.DISABLE_WHITELIST: "whitelist-disable",
    Operation.REMOVE_CARD: "whitelist-remove",
    Operation.EVENT_OPEN: "event-open",
    Operation.EVENT_CLOSE: "event-close",
    Operation.EVENT_OPEN_CLOSE: "event-open-close",
    Operation.EVENT_DENY_ACCESS: "event-access-denied",
}


def sign_command(request: Request, *, site: str, key: str, kid: str | None = None, valid_for: int = 30) -> str:
    """The payload of a command: a JWS with ES256, to be published within 30 seconds and accepted once.

    site        name of the site that it is for, "Site" in the file of its proxy
    key         text of a private key of the curve P-256: a JWK, or PEM without a password
    kid         identifier of the key, which is the name of the client; a JWK may have it
    valid_for   seconds until it expires, 1 to 300

    Raises ValueError for a key or another value that cannot be used, and ImportError without jwcrypto.
    """
    if not 1 <= valid_for <= LONGEST_VALIDITY:
        raise ValueError(f"valid_for: {valid_for} is not from 1 to {LONGEST_VALIDITY}")
    jwk = _read_key(key)
    name = kid or jwk.export(as_dict=True).get("kid")
    if not name:
        raise ValueError("kid: the key has no identifier")
    token = importlib.import_module("jwcrypto.jws").JWS(json.dumps(_claims(request, site, valid_for)).encode())
    token.add_signature(jwk, None, json.dumps({"alg": "ES256", "kid": name}), None)
    return str(token.serialize(compact=True))


def _read_key(text: str) -> Any:
    module = importlib.import_module("jwcrypto.jwk")
    try:
        if "-----BEGIN " in text:
            jwk = module.JWK.from_pem(text.encode())
        else:
            jwk = module.JWK.from_json(text)
        numbers = jwk.export(as_dict=True)
    # jwcrypto has no common base of its errors, and lets those of others through.
    except Exception as error:
        raise ValueError(f"key: cannot be used: {error}") from error
    if (numbers.get("kty"), numbers.get("crv")) != ("EC", "P-256") or "d" not in numbers:
        raise ValueError("key: is not a private key of the curve P-256")
    return jwk


def _claims(request: Request, site: str, valid_for: int) -> dict[str, object]:
    now = round(time.time(), 3)
    data = json.loads(request.text(""))["Data"]
    claims = {
        "iat": now,
        "exp": now + valid_for,
        "aud": site,
        "gateway": data["gatewayID"],
        "lock": data["lockID"],
        "jti": str(uuid.uuid4()),
        "operation": _NAMES[request.operation],
    }
    if request.duration is not None:
        claims["duration"] = request.duration
    if request.card is not None:
        claims |= {
            "card": data["cardData"],
            "uid": data["isUIDCard"],
            "setup": data["setupNumber"],
            "options": data["options"],
        }
    return claims
