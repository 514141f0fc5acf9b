-- The fields and remarks of the protocol between the Mux and its lock gateways.
return function(parts)
    local codes = parts.codes
    local gateway_fields = {}

    gateway_fields.fields = {
        total_length = ProtoField.uint8("brenk.total_length", "Total length", base.DEC),
        magic = ProtoField.uint16("brenk.magic", "Magic", base.HEX),
        remaining_length = ProtoField.uint8("brenk.remaining_length", "Remaining length", base.DEC, nil, nil,
            "From the byte behind the header version to the end"),
        header_version = ProtoField.uint8("brenk.header_version", "Header version", base.DEC),
        reserved = ProtoField.bytes("brenk.reserved", "Reserved"),
        reference_id = ProtoField.uint8("brenk.reference_id", "Reference ID", base.DEC, nil, 0x3F),
        reference_top_bits = ProtoField.uint8("brenk.reference_id.top_bits", "Top bits, without a meaning", base.DEC,
            nil, 0xC0),
        sequence_counter = ProtoField.uint32("brenk.sequence_counter", "Sequence counter", base.DEC),
        device_address = ProtoField.uint32("brenk.device_address", "Device address (lock ID)", base.DEC),
        command = ProtoField.uint8("brenk.command", "Command", base.HEX, codes.commands),
        answers_event = ProtoField.bool("brenk.command.answers_event", "Answers an event", 8, nil, 0x80),
        payload = ProtoField.bytes("brenk.payload", "Payload"),
        unread = ProtoField.bytes("brenk.unread", "Bytes outside a frame"),
        crc = ProtoField.uint16("brenk.crc", "CRC-16/XMODEM", base.HEX),
        crc_status = ProtoField.uint8("brenk.crc.status", "CRC status", base.DEC, { [0] = "Bad", [1] = "Good" }),
        response_in = ProtoField.framenum("brenk.response_in", "Response in", base.NONE, frametype.RESPONSE),
        response_to = ProtoField.framenum("brenk.response_to", "Response to", base.NONE, frametype.REQUEST),
        response_time = ProtoField.relative_time("brenk.response_time", "Response time"),

        duration = ProtoField.uint8("brenk.open_close.duration", "Duration", base.DEC),
        open_first = ProtoField.uint16("brenk.open.first_value", "First value", base.DEC),
        open_second = ProtoField.uint16("brenk.open.second_value", "Second value (time)", base.DEC),
        close_delay = ProtoField.uint16("brenk.close.delay", "Delay", base.DEC),

        setup_number = ProtoField.uint8("brenk.whitelist.setup_number", "Setup number", base.DEC),
        whitelist_option = ProtoField.uint8("brenk.whitelist.option", "Whitelist option", base.DEC),
        card_length = ProtoField.uint8("brenk.whitelist.card_length", "Card data length", base.DEC),
        card_data = ProtoField.bytes("brenk.whitelist.card_data", "Card data"),

        response_code = ProtoField.uint8("brenk.response.code", "Response code", base.DEC, codes.results),
        current_counter = ProtoField.uint32("brenk.response.sequence_counter", "Gateway's current sequence counter",
            base.DEC),

        battery_status = ProtoField.uint8("brenk.status.battery_status", "Battery status", base.DEC,
            codes.battery_status, 0x03),
        battery_level = ProtoField.uint8("brenk.status.battery_level", "Battery level", base.DEC,
            codes.battery_level, 0x0C),
        mechanical_active = ProtoField.bool("brenk.status.mechanical_active", "Mechanical active", 8, nil, 0x04),
        battery_warning = ProtoField.bool("brenk.status.battery_warning", "Battery warning", 8, nil, 0x08),
        battery_alarm = ProtoField.bool("brenk.status.battery_alarm", "Battery alarm", 8, nil, 0x10),
        reader_connected = ProtoField.bool("brenk.status.reader_connected", "Reader connected", 8, nil, 0x40),
        status_undecoded = ProtoField.bytes("brenk.status.undecoded", "Without a known meaning"),

        event_header = ProtoField.bytes("brenk.event.header", "Event header"),
        event_byte_1 = ProtoField.uint8("brenk.event.byte_1", "Event byte 1", base.HEX),
        event_byte_2 = ProtoField.uint8("brenk.event.byte_2", "Event byte 2", base.HEX),
        event_byte_3 = ProtoField.uint8("brenk.event.byte_3", "Event byte 3", base.HEX),
        event_length = ProtoField.uint8("brenk.event.data_length", "Data length", base.DEC),
        event_rfid = ProtoField.bytes("brenk.event.rfid", "RFID data"),
        event_pin = ProtoField.bytes("brenk.event.pin", "PIN"),
    }

    gateway_fields.experts = {
        bad_crc = ProtoExpert.new("brenk.crc.bad", "Wrong CRC", expert.group.CHECKSUM, expert.severity.ERROR),
        bad_remaining_length = ProtoExpert.new("brenk.remaining_length.bad",
            "Remaining length is not the total length less 5", expert.group.PROTOCOL, expert.severity.WARN),
        unknown_version = ProtoExpert.new("brenk.header_version.unknown", "Header version is not 1",
            expert.group.PROTOCOL, expert.severity.WARN),
        unknown_command = ProtoExpert.new("brenk.command.unknown", "A command that has no meaning in this direction",
            expert.group.PROTOCOL, expert.severity.WARN),
        short_payload = ProtoExpert.new("brenk.payload.short", "Payload ends before the command's last field",
            expert.group.MALFORMED, expert.severity.ERROR),
        long_payload = ProtoExpert.new("brenk.payload.long", "Payload goes on behind the command's last field",
            expert.group.PROTOCOL, expert.severity.WARN),
        short_frame = ProtoExpert.new("brenk.total_length.short", "No frame is as short as this length says",
            expert.group.MALFORMED, expert.severity.ERROR),
        no_crc = ProtoExpert.new("brenk.crc.missing", "No room for the CRC",
            expert.group.MALFORMED, expert.severity.ERROR),
        last_read = ProtoExpert.new("brenk.unheard.from_here", "The Mux reads nothing more of this gateway",
            expert.group.MALFORMED, expert.severity.ERROR),
        unheard = ProtoExpert.new("brenk.unheard", "The Mux does not read this: it understands this gateway no more",
            expert.group.PROTOCOL, expert.severity.WARN),
        outside = ProtoExpert.new("brenk.unread.outside", "Bytes that belong to no frame",
            expert.group.MALFORMED, expert.severity.WARN),
        cut_short = ProtoExpert.new("brenk.unread.cut_short", "The rest of this frame is not in the capture",
            expert.group.REASSEMBLE, expert.severity.NOTE),
    }

    return gateway_fields
end
