"""Signed commands, read by jwcrypto; what mux-proxy makes of them is tested beside muxctl's."""

import json
import time
import unittest

from jwcrypto import jwk, jws

from dwmux import Card, Operation, Request, sign_command

KEY = jwk.JWK.generate(kty="EC", crv="P-256", kid="reception")


def claims_of(token, kid="reception"):
    """The claims of a token that KEY signed."""
    read = jws.JWS()
    read.deserialize(token, KEY)
    assert read.jose_header == {"alg": "ES256", "kid": kid}, read.jose_header
    return json.loads(read.payload)


class SignCommandTest(unittest.TestCase):
    def test_it_binds_the_request_to_site_time_and_number(self):
        request = Request(Operation.OPEN_CLOSE, 1, 2**32 - 1, 5)
        before = time.time()
        claims = claims_of(sign_command(request, site="hall", key=KEY.export(), valid_for=60))
        self.assertAlmostEqual(claims["iat"], before, delta=10)
        self.assertAlmostEqual(claims.pop("exp") - claims.pop("iat"), 60)
        self.assertEqual(len(claims.pop("jti")), 36)
        self.assertEqual(claims, {"aud": "hall", "gateway": 1, "lock": -1, "operation": "open-close", "duration": 5})

    def test_it_signs_a_card(self):
        request = Request(Operation.ADD_CARD, 1, 5, card=Card("04A1", is_uid=True, option=True))
        claims = claims_of(sign_command(request, site="hall", key=KEY.export()))
        self.assertEqual({name: claims[name] for name in ("operation", "card", "uid", "setup", "options")},
                         {"operation": "whitelist-add", "card": "04A1", "uid": True, "setup": 0, "options": 1})

    def test_each_operation_has_a_name(self):
        for operation in Operation:
            card = Card("04", is_uid=True) if operation.has_card else None
            request = Request(operation, 1, 5, 5 if operation.has_duration else None, card)
            self.assertTrue(claims_of(sign_command(request, site="hall", key=KEY.export()))["operation"])

    def test_it_takes_pem_with_an_identifier(self):
        pem = KEY.export_to_pem(True, None).decode()
        request = Request(Operation.OPEN, 1, 5)
        claims_of(sign_command(request, site="hall", key=pem, kid="cleaning"), "cleaning")

    def test_it_refuses_what_cannot_be_used(self):
        request = Request(Operation.OPEN, 1, 5)
        for what, values in {
            "a public key": {"key": KEY.export_public()},
            "another curve": {"key": jwk.JWK.generate(kty="EC", crv="P-384", kid="a").export()},
            "no key": {"key": "key"},
            "no identifier": {"key": jwk.JWK.generate(kty="EC", crv="P-256").export()},
            "no time": {"valid_for": 0},
            "a long time": {"valid_for": 301},
        }.items():
            with self.subTest(what):
                self.assertRaises(ValueError, sign_command, request, **({"site": "hall", "key": KEY.export()} | values))


if __name__ == "__main__":
    unittest.main()
