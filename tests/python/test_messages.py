"""Messages from the Mux, those of the protocol and those of somebody else."""

import datetime
import json
import pickle
import unittest

import support
from dwmux import Answer, CardAdmitted, CardPresented, LockStatus, PinEntered, ProtocolError, Refused
from dwmux._parsing import lock_status, parse

TIME = datetime.datetime(2023, 11, 14, 22, 13, 20, tzinfo=datetime.timezone.utc)
LOCAL_TIME = "22:13:20 14-11-2023"


class DocumentedMessagesTest(unittest.TestCase):
    def test_every_answer_is_one(self):
        answers = support.examples("answer")
        self.assertGreater(len(answers), 15)
        for name, text in answers:
            message = json.loads(text)
            expected = Answer(message["MessageID"], message["MessageCode"] == 0, TIME, message["Data"])
            self.assertEqual(parse(text.encode()), expected, name)

    def test_events_are_those_of_the_protocol(self):
        events = {name: parse(text.encode()) for name, text in support.examples("event")}
        self.assertEqual(events, {
            "card": CardPresented(1, 5, TIME, LOCAL_TIME, "04A1B2C3"),
            "allowed": CardAdmitted(1, 5, TIME, LOCAL_TIME, "04A1B2C3"),
            "pin": PinEntered(1, 4464, TIME, LOCAL_TIME, "1234"),
        })

    def test_a_status_has_the_members_of_the_protocol(self):
        answer = parse(dict(support.examples("answer"))["status"].encode())
        self.assertEqual(lock_status(answer), LockStatus(3, 3, False, False, False, False, True))

    def test_a_refusal_has_code_and_text(self):
        refusal = Refused(parse(dict(support.examples("answer"))["whitelist-add-plain"].encode()))
        self.assertEqual((refusal.error_code, refusal.message), (2, "Already in whitelist."))
        self.assertEqual(str(refusal), refusal.message)

    def test_a_refusal_without_a_text_has_its_code(self):
        self.assertEqual(str(Refused(Answer("a", False, TIME, {"ErrorCode": 5, "Message": ""}))),
                         "refused with error code 5")

    def test_a_refusal_can_go_to_another_process(self):
        refusal = Refused(Answer("a", False, TIME, {"ErrorCode": 2, "Message": "Whitelist full."}))
        self.assertEqual(pickle.loads(pickle.dumps(refusal)).answer, refusal.answer)

    def test_a_pin_does_not_get_into_logs(self):
        self.assertNotIn("1234", repr(PinEntered(1, 5, TIME, LOCAL_TIME, "1234")))


class ForeignMessagesTest(unittest.TestCase):
    def test_a_code_of_later_versions_is_skipped(self):
        self.assertIsNone(parse(b'{"MessageCode":52}'))

    def test_what_no_mux_sends_is_an_error(self):
        for text in [
            b"{]", b"{\xff}", b'{"a":' + b"[" * 100_000, b'{"MessageID":"a"}', b'{"MessageCode":true}',
            b'{"Timestamp":1,"MessageID":"a","MessageCode":0}', b'{"Timestamp":1,"MessageCode":0,"Data":{}}',
            b'{"Timestamp":9999999999999999,"MessageID":"a","MessageCode":0,"Data":{}}',
            b'{"Timestamp":1,"MessageID":"e","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,"timestamp":""}}',
            b'{"Timestamp":1,"MessageID":"e","MessageCode":60,'
            b'"Data":{"gatewayID":1,"lockID":5,"timestamp":"","RFIDData":"x"}}',
        ]:
            with self.subTest(text[:60]):
                self.assertRaises(ProtocolError, parse, text)


if __name__ == "__main__":
    unittest.main()
