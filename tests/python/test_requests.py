"""Requests: those of the protocol can be made, those that end the Mux cannot."""

import enum
import json
import re
import unittest

import support
from dwmux import Card, Operation, Request


def request_of(example):
    """The request with the contents of an example."""
    data = example["Data"]
    card = None
    if "cardData" in data:
        card = Card(data["cardData"], is_uid=data["isUIDCard"], setup_number=data.get("setupNumber", 0),
                    option=data.get("options", 0) == 1)
    return Request(Operation(example["MessageCode"]), data["gatewayID"], data["lockID"], data.get("duration"), card)


class DocumentedRequestsTest(unittest.TestCase):
    # One that has no card, one with an unknown code, and one whose duration the Mux cuts.
    IMPOSSIBLE = {"no-card", "unknown-code", "cut-duration"}

    def test_the_examples_can_be_made(self):
        made = 0
        for name, text in support.examples("request"):
            with self.subTest(name):
                example = json.loads(text)
                if name in self.IMPOSSIBLE:
                    self.assertRaises(ValueError, request_of, example)
                    continue
                message = json.loads(request_of(example).text(example["MessageID"]))
                self.assertIsInstance(message.pop("Timestamp"), int)
                self.assertEqual(message, {**example, "Data": {**message["Data"], **example["Data"]}})
                made += 1
        self.assertGreater(made, 15)

    def test_all_operations_are_there(self):
        table = support.PROTOCOL.split("<!-- table requests -->\n")[1].split("\n\n")[0]
        codes = [int(code) for code in re.findall(r"^\| (\d+) \|", table, re.MULTILINE)]
        self.assertEqual(sorted(Operation), sorted(codes))

    def test_an_operation_has_its_form_for_events(self):
        self.assertEqual(Operation.OPEN_CLOSE.for_event(), 113)
        self.assertRaises(ValueError, Operation.STATUS.for_event)


class ValuesTest(unittest.TestCase):
    def test_values_that_end_the_mux_are_not_taken(self):
        for error, values in [
            (TypeError, (1.0, 5)), (TypeError, (1, 5.5)), (TypeError, ("1", 5)), (TypeError, (None, 5)),
            (TypeError, (True, 5)), (ValueError, (2**31, 5)), (ValueError, (1, 2**32)), (ValueError, (1, -(2**31) - 1)),
        ]:
            with self.subTest(values):
                self.assertRaises(error, Request, Operation.OPEN, *values)
        self.assertRaises(TypeError, Request, 10, 1, 5)

    def test_a_duration_is_needed_where_there_is_one_and_only_there(self):
        for error, operation, duration in [
            (TypeError, Operation.OPEN_CLOSE, None), (TypeError, Operation.OPEN_CLOSE, 2.5),
            (ValueError, Operation.OPEN_CLOSE, 0), (ValueError, Operation.EVENT_OPEN_CLOSE, 256),
            (ValueError, Operation.OPEN, 5),
        ]:
            with self.subTest(operation=operation, duration=duration):
                self.assertRaises(error, Request, operation, 1, 5, duration)

    def test_a_card_is_needed_where_there_is_one_and_only_there(self):
        card = Card("04", is_uid=True)
        self.assertRaises(ValueError, Request, Operation.ADD_CARD, 1, 5)
        self.assertRaises(ValueError, Request, Operation.OPEN, 1, 5, card=card)

    def test_a_card_has_whole_bytes_and_room(self):
        for data, is_uid, setup_number in [
            ("", True, 0), ("041", True, 0), ("0G", True, 0), ("04" * 11, True, 0), ("04" * 234, False, 0),
            ("04", False, 256), ("04", True, 1),
        ]:
            with self.subTest(data=data, is_uid=is_uid, setup_number=setup_number):
                self.assertRaises(ValueError, Card, data, is_uid=is_uid, setup_number=setup_number)
        self.assertRaises(TypeError, Card, b"04", is_uid=True)
        Card("04" * 233, is_uid=False, setup_number=255)

    def test_an_address_above_the_range_of_json_numbers_becomes_negative(self):
        data = json.loads(Request(Operation.OPEN, 1, 2**32 - 1).text("a"))["Data"]
        self.assertEqual(data, {"gatewayID": 1, "lockID": -1})

    def test_an_enumeration_may_name_gateways_and_locks(self):
        class Place(enum.IntEnum):
            HALL = 1
            FRONT_DOOR = 5

        data = json.loads(Request(Operation.OPEN, Place.HALL, Place.FRONT_DOOR).text("a"))["Data"]
        self.assertEqual(data, {"gatewayID": 1, "lockID": 5})


if __name__ == "__main__":
    unittest.main()
