"""Frames between the Mux and its lock gateways, as tshark shows them."""
import unittest

from dissection import ConnectionTest, main
from frames import frame, with_crc

EXPERT = "_ws.expert.message"
SHORT = "Payload ends before the command's last field"
READS_NO_MORE = ": the Mux reads nothing more of this gateway"
UNHEARD = "The Mux does not read this: it understands this gateway no more"

# Command, payload, and the fields that the payload is shown as.
REQUESTS = [
    (0x01, "", {}),
    (0x03, "00 01 0A 00 00 00 00 00 00 C3 B2 A1 04", {
        "brenk.whitelist.setup_number": "0", "brenk.whitelist.option": "1", "brenk.whitelist.card_length": "10",
        "brenk.whitelist.card_data": "000000000000c3b2a104"}),
    (0x04, "07 00 02 BC 0A", {
        "brenk.whitelist.setup_number": "7", "brenk.whitelist.option": "0", "brenk.whitelist.card_length": "2",
        "brenk.whitelist.card_data": "bc0a"}),
    (0x04, "00 00 00", {"brenk.whitelist.card_length": "0", "brenk.whitelist.card_data": ""}),
    (0x05, "", {}),
    (0x06, "", {}),
    (0x07, "", {}),
    (0x08, "", {"brenk.command.answers_event": ""}),
    (0x88, "", {"brenk.command.answers_event": "1"}),
    (0x09, "2C", {"brenk.open_close.duration": "44"}),
    (0x89, "01", {"brenk.open_close.duration": "1", "brenk.command.answers_event": "1"}),
    (0x0A, "00 00 00 05", {"brenk.open.first_value": "0", "brenk.open.second_value": "5"}),
    (0x8A, "01 02 03 04", {"brenk.open.first_value": "258", "brenk.open.second_value": "772",
                           "brenk.command.answers_event": "1"}),
    (0x0B, "01 2C", {"brenk.close.delay": "300"}),
    (0x8B, "00 00", {"brenk.close.delay": "0", "brenk.command.answers_event": "1"}),
]

NAMES = {
    0x01: "GET_STATUS", 0x03: "ADD_TO_WHITELIST", 0x04: "REMOVE_FROM_WHITELIST", 0x05: "DELETE_WHOLE_WHITELIST",
    0x06: "DISABLE_WHITELIST", 0x07: "ENABLE_WHITELIST", 0x08: "ACCESS_DENIED",
    0x88: "ACCESS_DENIED (answers an event)", 0x09: "OPEN_CLOSE_LOCK", 0x89: "OPEN_CLOSE_LOCK (answers an event)",
    0x0A: "OPEN_LOCK", 0x8A: "OPEN_LOCK (answers an event)", 0x0B: "CLOSE_LOCK", 0x8B: "CLOSE_LOCK (answers an event)",
}

RESULTS = {
    0: "BRENK_RESPONSE_OK (0)", 1: "Unknown (1)", 2: "BRENK_RESPONSE_ALREADY_IN_WHITELIST (2)",
    3: "BRENK_RESPONSE_WHITELIST_FULL (3)", 4: "BRENK_RESPONSE_NOT_IN_WHITELIST (4)",
    5: "BRENK_RESPONSE_UNKNOWN_HEADER_VERSION (5)", 6: "BRENK_RESPONSE_NOT_SUPPORTED (6)",
    7: "BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR (7)", 8: "BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR (8)",
    9: "BRENK_RESPONSE_DATA_LENGTH_MISMATCH (9)", 10: "BRENK_RESPONSE_MESSAGE_UNESPECTED (10)",
    11: "BRENK_RESPONSE_SETUP_NUMBER_MISMATCH (11)", 12: "BRENK_RESPONSE_SYSTEM_INCONSISTENCY (12)",
}


class GatewayTest(ConnectionTest):
    protocol = "brenk"
    port = 2101


class Fields(GatewayTest):
    """What stands in a frame."""

    # Written by hand; the CRC is what binascii.crc_hqx makes of the bytes before it.
    def test_every_field_of_the_header_is_shown(self):
        self.connection.to_server(bytes.fromhex("13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32"))
        self.assert_fields(self.capture, [{
            "brenk.total_length": "19", "brenk.magic": "0xfefd", "brenk.remaining_length": "14",
            "brenk.header_version": "1", "brenk.reserved": "0000", "brenk.reference_id": "5",
            "brenk.sequence_counter": "42", "brenk.device_address": "258", "brenk.command": "0x05",
            "brenk.payload": "", "brenk.crc": "0x7532", "brenk.crc.status": "1", EXPERT: ""}])

    def test_every_request_is_shown_with_its_payload(self):
        for command, payload, _ in REQUESTS:
            self.connection.to_server(frame(command, bytes.fromhex(payload)))
        self.assert_fields(self.capture, [
            {"brenk.command": f"0x{command:02x}", "brenk.crc.status": "1", EXPERT: "", **fields}
            for command, _, fields in REQUESTS])

    def test_every_request_is_called_by_its_name(self):
        for command, payload, _ in REQUESTS:
            self.connection.to_server(frame(command, bytes.fromhex(payload), address=7, reference=9))
        names = [f"Brenk Gateway Protocol, {NAMES[command]} lock 7 ref 9" for command, _, _ in REQUESTS]
        self.assertEqual([line for line in self.details(self.capture, "brenk") if line.startswith("Brenk")], names)

    def test_every_result_is_called_by_its_name(self):
        for result in RESULTS:
            self.connection.from_server(frame(0x00, bytes([result]) + (bytes(4) if result == 7 else b"")))
        self.assertEqual([line for line in self.details(self.capture, "brenk") if line.startswith("Response code")],
                         [f"Response code: {name}" for name in RESULTS.values()])

    def test_a_sequence_counter_error_has_the_counter_of_the_gateway(self):
        self.connection.from_server(frame(0x00, bytes.fromhex("07 00 00 01 00")))
        self.connection.from_server(frame(0x00, bytes.fromhex("03")))
        self.assert_fields(self.capture, [
            {"brenk.response.code": "7", "brenk.response.sequence_counter": "256", EXPERT: ""},
            {"brenk.response.code": "3", "brenk.response.sequence_counter": "", EXPERT: ""}])

    def test_a_status_is_shown_bit_by_bit(self):
        names = ["battery_status", "battery_level", "mechanical_active", "battery_warning", "battery_alarm",
                 "reader_connected", "undecoded"]
        table = {
            "0E 00 1C 00 00 00 00": "2 3 1 1 1 0 00|00000000",
            "03 11 40 22 33 44 55": "3 0 0 0 0 1 11|22334455",
            "04 00 08 00 00 00 00": "0 1 0 1 0 0 00|00000000",
        }
        for status in table:
            self.connection.from_server(frame(0x01, bytes.fromhex(status)))
        self.assert_fields(self.capture, [
            {f"brenk.status.{name}": value for name, value in zip(names, values.split())}
            for values in table.values()])

    def test_an_event_is_shown_with_its_card_or_pin(self):
        payload = bytes.fromhex("01 02 03 04 0A 0B 0C 04 04 A1 B2 C3")
        commands = [0x0E, 0x0F, 0x11, 0x12, 0x16]
        for command in commands:
            self.connection.from_server(frame(command, payload))
        header = {"brenk.event.header": "01020304", "brenk.event.byte_1": "0x0a", "brenk.event.byte_2": "0x0b",
                  "brenk.event.byte_3": "0x0c", "brenk.event.data_length": "4", EXPERT: ""}
        card = {"brenk.event.rfid": "04a1b2c3", "brenk.event.pin": ""}
        pin = {"brenk.event.rfid": "", "brenk.event.pin": "04a1b2c3"}
        self.assert_fields(self.capture, [{**header, **card}] * 4 + [{**header, **pin}])


class Remarks(GatewayTest):
    """What is wrong with a frame."""

    def test_a_wrong_crc_is_an_error_and_the_right_one_is_told(self):
        self.connection.to_server(bytes.fromhex("13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 33"))
        self.assert_fields(self.capture, [{
            "brenk.crc": "0x7533", "brenk.crc.status": "0", EXPERT: "Wrong CRC",
            "_ws.expert.severity": str(0x00800000)}])
        self.assertIn("CRC-16/XMODEM: 0x7533 (should be 0x7532)", self.details(self.capture, "brenk"))

    def test_a_payload_that_ends_early_is_read_as_far_as_it_goes(self):
        self.connection.to_server(frame(0x0A, bytes.fromhex("00 00 00")))
        self.connection.from_server(frame(0x0E, bytes.fromhex("01 02 03 04 0A 0B 0C 06 04 A1 B2 C3")))
        self.connection.from_server(frame(0x00))
        remark = {EXPERT: "Payload ends before the command's last field", "brenk.crc.status": "1"}
        self.assert_fields(self.capture, [
            {**remark, "brenk.open.first_value": "0", "brenk.open.second_value": ""},
            {**remark, "brenk.event.data_length": "6", "brenk.event.rfid": ""},
            {**remark, "brenk.response.code": ""}])

    # It reads on into the CRC, whatever is meant by it.
    def test_a_payload_that_ends_behind_its_frame_is_the_last_that_the_mux_reads(self):
        last = f"{SHORT}|Too short for its command{READS_NO_MORE}"
        rows = {
            frame(0x01, bytes(5)): SHORT, frame(0x01, bytes(4)): last, frame(0x00): SHORT,
            frame(0x00, bytes.fromhex("07 00 00")): SHORT, frame(0x00, bytes.fromhex("07 00")): last,
            frame(0x0E, bytes.fromhex("01 02 03 04 0A 0B 0C 03 04")): SHORT,
            frame(0x16, bytes.fromhex("01 02 03 04 0A 0B 0C 04 04")): last,
            frame(0x11, bytes.fromhex("01")): SHORT, frame(0x12): SHORT,
        }
        for each in rows:
            self.capture.connection(self.port).from_server(each)
        self.assert_fields(self.capture, [{EXPERT: remark} for remark in rows.values()])

    def test_a_command_without_a_meaning_in_its_direction_is_remarked(self):
        for command in (0x02, 0x0E, 0x81):
            self.connection.to_server(frame(command, b"\x01"))
        for command in (0x02, 0x05, 0x80):
            self.connection.from_server(frame(command, b"\x01"))
        self.assert_fields(self.capture, [
            {EXPERT: "A command that has no meaning in this direction", "brenk.payload": "01"}] * 6)

    def test_a_header_that_is_not_as_it_should_be_is_remarked(self):
        self.connection.to_server(with_crc(bytes.fromhex("13 FE FD 0D 01 00 00 05 00 00 00 2A 00 00 01 02 05")))
        self.connection.to_server(with_crc(bytes.fromhex("13 FE FD 0E 02 00 00 05 00 00 00 2A 00 00 01 02 05")))
        self.assert_fields(self.capture, [
            {EXPERT: "Remaining length is not the total length less 5"}, {EXPERT: "Header version is not 1"}])


class Exchanges(GatewayTest):
    """Which answer belongs to which request."""

    def test_a_request_and_its_answer_name_each_other_and_the_time_between(self):
        self.connection.to_server(frame(0x0A, bytes(4), reference=3), at=1.5)
        self.connection.from_server(frame(0x00, b"\0", reference=3), at=1.75025)
        self.assert_fields(self.capture, [
            {"brenk.response_in": "2", "brenk.response_to": "", "brenk.response_time": ""},
            {"brenk.response_in": "", "brenk.response_to": "1", "brenk.response_time": "0.250250000"}])

    def test_answers_are_matched_by_reference_id_in_whatever_order_they_come(self):
        self.connection.to_server(frame(0x0A, bytes(4), reference=62))
        self.connection.to_server(frame(0x01, reference=63))
        self.connection.from_server(frame(0x01, bytes(7), reference=63))
        self.connection.from_server(frame(0x00, b"\0", reference=62))
        self.assert_links(("4", ""), ("3", ""), ("", "2"), ("", "1"))

    def test_the_top_bits_of_a_reference_id_do_not_count(self):
        self.connection.to_server(frame(0x05, reference=5))
        self.connection.from_server(frame(0x00, b"\0", reference=0xC5))
        self.assert_fields(self.capture, [
            {"brenk.response_in": "2", "brenk.reference_id.top_bits": ""},
            {"brenk.response_to": "1", "brenk.reference_id": "5", "brenk.reference_id.top_bits": "3"}])

    def test_an_event_answers_nothing(self):
        self.connection.to_server(frame(0x05, reference=5))
        for command in (0x0E, 0x0F, 0x11, 0x12, 0x16):
            self.connection.from_server(frame(command, bytes(8), reference=5))
        self.assert_links(*[("", "")] * 6)

    def test_requests_built_in_one_period_share_a_reference_id_and_are_answered_in_turn(self):
        self.connection.to_server(frame(0x0A, bytes(4), reference=5, counter=42))
        self.connection.to_server(frame(0x0B, bytes(2), reference=5, counter=42))
        self.connection.from_server(frame(0x00, b"\0", reference=5))
        self.connection.from_server(frame(0x00, bytes.fromhex("07 00 00 00 2A"), reference=5))
        self.assert_links(("3", ""), ("4", ""), ("", "1"), ("", "2"))

    def test_a_request_without_an_answer_is_given_up_when_its_reference_id_comes_round(self):
        self.connection.to_server(frame(0x05, reference=5, counter=42))
        self.connection.to_server(frame(0x05, reference=5, counter=105))
        self.connection.from_server(frame(0x00, b"\0", reference=5))
        self.assert_links(("", ""), ("3", ""), ("", "2"))


class Stream(GatewayTest):
    """How frames are cut out of what TCP carries."""

    def test_a_segment_may_end_anywhere_within_a_frame(self):
        self.assert_cut_anywhere("brenk.reference_id", (frame(0x05, reference=1), frame(0x06, reference=2)), ("1", "2"))

    def test_bytes_before_a_frame_are_remarked_and_the_frame_is_found(self):
        self.connection.from_server(bytes.fromhex("00 FF FE 11") + frame(0x00, b"\0", 7))
        self.assert_fields(self.capture, [{
            "brenk.unread": "00fffe11", "brenk.reference_id": "7", EXPERT: "Bytes that belong to no frame"}])

    def test_a_frame_behind_other_bytes_is_found_wherever_the_segment_ends(self):
        stream = bytes.fromhex("AA BB CC") + frame(0x00, b"\0", 7)
        for cut in (1, 2, 3, 4, 5, 6, 10):
            connection = self.capture.connection(self.port)
            connection.from_server(stream[:cut])
            connection.from_server(stream[cut:])
        rows = self.rows(self.capture, ["brenk.reference_id"])
        self.assertEqual([row["brenk.reference_id"] for row in rows], ["", "7"] * 7)

    def test_a_magic_without_a_length_before_it_is_the_last_that_the_mux_reads(self):
        headless = frame(0x00, b"\0", 7)[1:]
        self.connection.from_server(headless + frame(0x00, b"\0", 8))
        self.assert_fields(self.capture, [{
            "brenk.unread": f"fefd|{headless[2:].hex()}", "brenk.reference_id": "8",
            EXPERT: f"No length before FE FD{READS_NO_MORE}|Bytes that belong to no frame|{UNHEARD}"}])

    def test_a_length_that_no_frame_has_is_the_last_that_the_mux_reads(self):
        self.connection.from_server(bytes.fromhex("10 FE FD") + frame(0x00, b"\0", 8))
        self.assert_fields(self.capture, [{
            "brenk.unread": "10fefd", "brenk.reference_id": "8",
            EXPERT: f"A total length below 17{READS_NO_MORE}|{UNHEARD}"}])

    def test_what_the_mux_does_not_read_is_nobodys_answer_and_stays_unread_in_later_packets(self):
        self.connection.to_server(frame(0x05, reference=8))
        self.connection.from_server(bytes.fromhex("10 FE FD"))
        self.connection.from_server(frame(0x00, b"\0", 8))
        self.connection.from_server(bytes.fromhex("10 FE FD") + frame(0x00, reference=8))
        self.connection.to_server(frame(0x05, reference=9))
        other = self.capture.connection(self.port)
        other.from_server(frame(0x00, b"\0", 8))
        self.assert_fields(self.capture, [
            {"brenk.response_in": "", EXPERT: ""},
            {EXPERT: f"A total length below 17{READS_NO_MORE}"},
            {"brenk.response_to": "", EXPERT: UNHEARD},
            {EXPERT: "No frame is as short as this length says|Payload ends before the command's last field|"
                     + UNHEARD},
            {EXPERT: ""},
            {EXPERT: ""}])

    def test_a_frame_whose_rest_tcp_does_not_bring_is_shown_as_bytes(self):
        self.connection.from_server(frame(0x00, b"\0", 7) + frame(0x00, b"\0", 8)[:10])
        self.assert_fields(self.capture, [{
            "brenk.reference_id": "7", "brenk.unread": "14fefd0f010000080000",
            EXPERT: "The rest of this frame is not in the capture"}],
            arguments=["-o", "tcp.desegment_tcp_streams:FALSE"])


if __name__ == "__main__":
    main()
