"""Messages between clients and the Mux, as tshark shows them."""
import unittest

from dissection import ConnectionTest, main
from frames import message, packet

EXPERT = "_ws.expert.message"
LOCK = {"gatewayID": 1, "lockID": 5}
SHOWN_LOCK = {"mux.gateway_id": "1", "mux.lock_id": "5"}

NAMES = {
    0: "ACK", 1: "NACK", 2: "CONFIGURE", 10: "LOCK_OPEN", 11: "LOCK_CLOSE", 12: "LOCK_GET_STATUS",
    13: "LOCK_OPEN_CLOSE", 14: "ACCESS_DENIED", 20: "WHITELIST_GET", 21: "LOCK_WHITELIST_SET", 22: "CLEAR_WHITELIST",
    23: "ENABLE_WHITELIST", 24: "DISABLE_WHITELIST", 25: "LOCK_WHITELIST_REMOVE", 50: "ACCESS_ALLOWED",
    51: "EVENT_CARD_READER", 60: "EVENT_INFO", 110: "EVENT_LOCK_OPEN", 111: "EVENT_LOCK_CLOSE",
    113: "EVENT_LOCK_OPEN_CLOSE", 114: "EVENT_ACCESS_DENIED",
}


class ClientTest(ConnectionTest):
    protocol = "mux"
    port = 5555

    def request(self, code, message_id="a1", data=None):
        self.connection.to_server(packet(message(code, message_id, LOCK if data is None else data)))

    def answer(self, code, message_id="a1", data=None):
        self.connection.from_server(message(code, message_id, {} if data is None else data).encode())


class Fields(ClientTest):
    """What stands in a message."""

    # Length 89, little-endian: the 83 characters of the text and the 6 bytes of the header.
    def test_every_part_of_a_packet_is_shown(self):
        text = '{"MessageID":"a1","MessageCode":10,"Timestamp":0,"Data":{"gatewayID":1,"lockID":5}}'
        self.connection.to_server(bytes.fromhex("59 00 4D 55 58 4D") + text.encode())
        self.assert_fields(self.capture, [{
            "mux.length": "89", "mux.magic": "MUXM", "mux.code": "10", "mux.message_id": "a1", **SHOWN_LOCK,
            "mux.unread": "", "mux.text": "", EXPERT: ""}])

    def test_the_text_is_handed_to_the_json_dissector(self):
        self.request(13, data={**LOCK, "duration": 44})
        self.assert_fields(self.capture, [{
            "json.key": "Timestamp|MessageID|MessageCode|gatewayID|lockID|duration|Data",
            "json.value.number": "0|13|1|5|44"}])

    def test_every_code_is_called_by_its_name(self):
        for code in NAMES:
            self.request(code)
        self.assertEqual([line for line in self.details(self.capture, "mux") if line.startswith("Message code")],
                         [f"Message code: MUX_MESSAGE_{name} ({code})" for code, name in NAMES.items()])

    def test_the_packet_list_tells_what_each_message_of_a_packet_is_about(self):
        self.request(10)
        refusal = message(1, "a1", {"ErrorCode": 0, "Message": "Error in request"})
        self.connection.from_server((refusal + message(51, "e1", {**LOCK, "RFIDData": "04A1"})).encode())
        lines = [line.split(" MUX ")[1].split(" ", 1)[1] for line in self.tshark(self.capture).splitlines()]
        self.assertEqual(lines, [
            'LOCK_OPEN gateway 1 lock 5 ID "a1"',
            'NACK (Error in request) ID "a1", EVENT_CARD_READER gateway 1 lock 5 card 04A1 ID "e1"'])

    def test_what_a_request_says_about_a_card_is_shown(self):
        card = {"setupNumber": 4294967295, "options": 1, "cardData": "A1B2C3", "isUIDCard": True}
        self.request(21, data={**LOCK, **card})
        self.request(25, data={**LOCK, "setupNumber": -1, "cardData": 5, "isUIDCard": "no"})
        self.assert_fields(self.capture, [
            {**SHOWN_LOCK, "mux.setup_number": "4294967295", "mux.options": "1", "mux.card_data": "A1B2C3",
             "mux.is_uid_card": "1"},
            {**SHOWN_LOCK, "mux.setup_number": "", "mux.options": "", "mux.card_data": "", "mux.is_uid_card": ""}])

    def test_what_an_answer_says_is_shown(self):
        self.answer(0, data={"Success": True, "ErrorCode": 0})
        self.answer(1, data={"ErrorCode": -12, "Message": "No route for the requested device. "})
        self.answer(0)
        self.connection.from_server(b'{"Timestamp":0,"MessageID":"a1","MessageCode":0,"Data":null}')
        self.assert_fields(self.capture, [
            {"mux.success": "1", "mux.error_code": "0", "mux.error_text": ""},
            {"mux.success": "", "mux.error_code": "-12", "mux.error_text": "No route for the requested device. "},
            {"mux.code": "0", "mux.success": "", EXPERT: ""},
            {"mux.code": "0", "mux.success": "", EXPERT: ""}])

    def test_a_status_is_shown_with_what_its_numbers_mean(self):
        self.answer(0, data={
            "BatteryStatus": 2, "QoS": 3, "MechanicalActive": True, "BatteryWarningLevel": False,
            "BatteryAlarmLevel": True, "ScandinavianFireMode": False, "ReaderConnected": True})
        self.assert_fields(self.capture, [{
            "mux.battery_status": "2", "mux.qos": "3", "mux.mechanical_active": "1", "mux.battery_warning": "0",
            "mux.battery_alarm": "1", "mux.scandinavian_fire_mode": "0", "mux.reader_connected": "1"}])
        lines = self.details(self.capture, "mux")
        self.assertIn("Battery status: Battery status medium. (2)", lines)
        self.assertIn("QoS (battery level): minimum 95% (3)", lines)

    def test_an_event_is_shown_with_its_card(self):
        self.answer(51, "lockEventMessage-1700000000", {**LOCK, "timestamp": "22:13:20 14-11-2023", "RFIDData": "04A1"})
        self.assert_fields(self.capture, [{
            **SHOWN_LOCK, "mux.code": "51", "mux.message_id": "lockEventMessage-1700000000",
            "mux.event_time": "22:13:20 14-11-2023", "mux.rfid_data": "04A1"}])

    def test_escapes_in_a_string_are_undone(self):
        self.connection.to_server(packet(r'{"MessageID":"a\"\/\b\u00e9\u20AC\ud83d\uDE00","MessageCode":10}'))
        self.assert_fields(self.capture, [{"mux.message_id": 'a"/\\b\u00e9\u20ac\U0001F600', EXPERT: ""}])


class Remarks(ClientTest):
    """What the Mux does not do what the client hopes for with."""

    def assert_remark(self, remark, *payloads):
        for payload in payloads:
            self.connection.to_server(payload)
        self.assert_fields(self.capture, [{EXPERT: remark, "mux.code": ""}] * len(payloads))

    def test_a_length_of_0_stops_the_stream(self):
        self.assert_remark("Length 0: the Mux never gets past these bytes", bytes.fromhex("00 00 4D 55 58 4D 7B 7D"))

    def test_behind_a_length_of_0_nothing_is_read(self):
        self.request(10, "before")
        self.connection.to_server(bytes.fromhex("00 00"))
        self.request(10, "behind")
        self.answer(0, "before")
        self.connection = self.capture.connection(self.port)
        self.request(10, "of another client")
        self.assert_fields(self.capture, [
            {"mux.message_id": "before", "mux.response_in": "4", EXPERT: ""},
            {EXPERT: "Length 0: the Mux never gets past these bytes"},
            {"mux.message_id": "", EXPERT: "Behind a length of 0: the Mux does not read it"},
            {"mux.message_id": "before", EXPERT: ""},
            {"mux.message_id": "of another client", EXPERT: ""}])

    def test_a_packet_without_the_magic_is_ignored(self):
        self.assert_remark('Not a packet with "MUXM": the Mux ignores it', bytes.fromhex("08 00 4D 55 58 4E 7B 7D"),
                           bytes.fromhex("05 00 4D 55 58"), bytes.fromhex("02 00"))

    def test_a_text_that_is_not_json_is_not_answered(self):
        texts = ["{", "{}x", "nul", '{"a":1,}', '{"a" 1}', "{'a':1}", '{"a":01}', '{"a":1.}', '{"a":+1}', '{"a":tru}',
                 '{"a":1e999}', '{"a":1e309}',
                 '{"a":1' + "0" * 309 + "}",
                 '{"a":"\\x"}', '{"a":"\\ud800"}', '{"a":"\\udc00\\udc00"}', '{"a":"\n"}', '{"a":[1 2]}', '{"a":1']
        self.assert_remark("Not a JSON text: the Mux does not answer it", *map(packet, texts))

    def test_a_text_that_is_json_but_no_object_ends_the_mux(self):
        self.assert_remark("JSON, but not an object: it ends the Mux",
                           *map(packet, ["[]", " [1, 2] ", '"a"', "-1.5e3", "true", "null", "0"]))

    def test_a_number_that_is_no_integer_ends_the_mux(self):
        troubles = {
            '{"MessageCode":10.0}': '"MessageCode" is not a 32-bit integer',
            '{"MessageCode":2147483648}': '"MessageCode" is not a 32-bit integer',
            '{"MessageCode":-2147483649}': '"MessageCode" is not a 32-bit integer',
            '{"MessageCode":1e1}': '"MessageCode" is not a 32-bit integer',
            '{"Timestamp":9223372036854775808}': '"Timestamp" is not a 64-bit integer',
            '{"Timestamp":1.5,"MessageCode":10}': '"Timestamp" is not a 64-bit integer',
            '{"MessageCode":10,"Data":{"gatewayID":1.0,"lockID":5}}': '"gatewayID" is not a 32-bit integer',
            '{"MessageCode":21,"Data":{"gatewayID":1,"lockID":4294967295}}': '"lockID" is not a 32-bit integer',
            '{"MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":-1}}':
                '"duration" is not an integer from 0 to 4294967295',
        }
        for text in troubles:
            self.connection.to_server(packet(text))
        self.answer(1, "")
        self.assert_fields(self.capture, [
            *({EXPERT: f"{trouble}: it ends the Mux", "mux.response_in": ""} for trouble in troubles.values()),
            {"mux.code": "1", "mux.response_to": ""}])

    def test_a_missing_member_of_a_request_ends_the_mux(self):
        for code in (10, 11, 12, 13, 14, 22, 23, 24, 110, 111, 113, 114):
            self.request(code, data={"gatewayID": 1})
        self.request(110, data={})
        self.request(13)
        self.request(113)
        missing = ["lockID"] * 12 + ["gatewayID", "duration", "duration"]
        self.assert_fields(self.capture, [{EXPERT: f'No "{name}": it ends the Mux'} for name in missing])

    def test_what_is_never_answered_is_remarked(self):
        reserved = 'An ID with "requestNewSEQID-": no answer when it is done or there is no such lock'
        remarks = {
            '{"MessageCode":2}': "The Mux never answers this code",
            message(10, "x-requestNewSEQID-1", LOCK): reserved,
            message(20, "x-requestNewSEQID-1", LOCK): "",
        }
        for text in remarks:
            self.connection.to_server(packet(text))
        self.assert_fields(self.capture, [{EXPERT: remark} for remark in remarks.values()])

    def test_a_message_that_ends_the_mux_is_found_by_one_filter(self):
        for text in ("[]", '{"MessageCode":10.0}', "{}"):
            self.connection.to_server(packet(text))
        self.assertEqual(len(self.rows(self.capture, ["mux.code"], ["-Y", "mux.ends_the_mux"])), 2)

    def test_a_code_without_a_meaning_is_remarked(self):
        self.request(112)
        self.request(3)
        self.assert_fields(self.capture, [
            {"mux.code": "112", EXPERT: "A message code that has no meaning"},
            {"mux.code": "3", EXPERT: "A message code that has no meaning"}])

    def test_a_text_ends_at_its_first_nul(self):
        self.connection.to_server(packet(b'{"MessageCode":10}\0garbage'))
        self.assert_fields(self.capture, [{"mux.code": "10", "mux.ignored_text": b"\0garbage".hex(), EXPERT: ""}])


class Exchanges(ClientTest):
    """Which answer belongs to which request."""

    def test_a_request_and_its_answer_name_each_other_and_the_time_between(self):
        self.connection.to_server(packet(message(10, "a1", LOCK)), at=0.9)
        self.connection.from_server(message(0, "a1", {}).encode(), at=3.512)
        self.assert_fields(self.capture, [
            {"mux.response_in": "2", "mux.response_time": ""},
            {"mux.response_to": "1", "mux.response_time": "2.612000000"}])

    def test_answers_are_matched_by_message_id_in_whatever_order_they_come(self):
        self.request(10, "first")
        self.request(11, "second")
        self.answer(1, "second")
        self.answer(0, "first")
        self.assert_links(("4", ""), ("3", ""), ("", "2"), ("", "1"))

    def test_events_answer_nothing_and_a_configuration_is_not_answered(self):
        self.request(2, "a1")
        self.request(10, "a1")
        self.answer(51, "a1")
        self.answer(0, "a1")
        self.assert_links(("", ""), ("4", ""), ("", ""), ("", "2"))

    def test_a_request_without_an_id_and_one_without_a_meaning_are_answered_too(self):
        self.connection.to_server(packet("{}"))
        self.request(112)
        self.answer(1, "a1")
        self.answer(1, "")
        self.assert_links(("4", ""), ("3", ""), ("", "2"), ("", "1"))


class Stream(ClientTest):
    """How messages are cut out of what TCP carries."""

    def test_a_segment_may_end_anywhere_within_a_packet(self):
        packets = tuple(packet(message(10, name, LOCK)) for name in "xy")
        self.assert_cut_anywhere("mux.message_id", packets, ("x", "y"))

    def test_a_segment_may_end_anywhere_within_an_answer(self):
        answers = (rb'{"Timestamp":-1.5e+3,"MessageID":"x}\"\u00e9","MessageCode":0,"Data":{"Data":[true,null,{}]}}',
                   b'{"Timestamp":17,"MessageID":"y","MessageCode":0,"Data":{}}')
        self.assert_cut_anywhere("mux.message_id", answers, ('x}"\u00e9', "y"), way="from_server")

    def test_a_message_whose_rest_tcp_does_not_bring_is_shown_as_bytes(self):
        self.connection.to_server(packet(message(10, "x", LOCK)) + b"\x59\x00MUXM{")
        self.connection.from_server(message(0, "x", {}).encode() + b'{"Time')
        cut_short = "The rest of this message is not in the capture"
        self.assert_fields(self.capture, [
            {"mux.message_id": "x", "mux.unread": b"\x59\x00MUXM{".hex(), EXPERT: cut_short},
            {"mux.message_id": "x", "mux.unread": b'{"Time'.hex(), EXPERT: cut_short}],
            arguments=["-o", "tcp.desegment_tcp_streams:FALSE"])


if __name__ == "__main__":
    main()
