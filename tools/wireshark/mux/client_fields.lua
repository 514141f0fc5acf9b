-- The fields and remarks of the protocol between clients and the Mux.
return function(parts)
    local codes = parts.codes
    local client_fields = {}

    local function message_names()
        local names = {}
        for code, message in pairs(codes.messages) do
            names[code] = message.name
        end
        return names
    end

    client_fields.fields = {
        length = ProtoField.uint16("mux.length", "Length", base.DEC, nil, nil, "The whole packet, this field included"),
        magic = ProtoField.string("mux.magic", "Magic"),
        unread = ProtoField.bytes("mux.unread", "Bytes outside a message"),
        text = ProtoField.string("mux.text", "Text"),
        ignored_text = ProtoField.bytes("mux.ignored_text", "Ignored from the first NUL on"),
        code = ProtoField.int32("mux.code", "Message code", base.DEC, message_names()),
        message_id = ProtoField.string("mux.message_id", "Message ID"),
        timestamp = ProtoField.absolute_time("mux.timestamp", "Timestamp", base.UTC),
        gateway_id = ProtoField.int32("mux.gateway_id", "Gateway ID"),
        lock_id = ProtoField.int32("mux.lock_id", "Lock ID"),
        duration = ProtoField.uint32("mux.duration", "Duration"),
        setup_number = ProtoField.uint32("mux.setup_number", "Setup number"),
        options = ProtoField.uint32("mux.options", "Options"),
        card_data = ProtoField.string("mux.card_data", "Card data"),
        is_uid_card = ProtoField.bool("mux.is_uid_card", "Is UID card"),
        success = ProtoField.bool("mux.success", "Success"),
        error_code = ProtoField.int32("mux.error_code", "Error code"),
        error_text = ProtoField.string("mux.error_text", "Error text"),
        battery_status = ProtoField.int32("mux.battery_status", "Battery status", base.DEC, codes.battery_status),
        qos = ProtoField.int32("mux.qos", "QoS (battery level)", base.DEC, codes.battery_level),
        mechanical_active = ProtoField.bool("mux.mechanical_active", "Mechanical active"),
        battery_warning = ProtoField.bool("mux.battery_warning", "Battery warning level"),
        battery_alarm = ProtoField.bool("mux.battery_alarm", "Battery alarm level"),
        scandinavian_fire_mode = ProtoField.bool("mux.scandinavian_fire_mode", "Scandinavian fire mode"),
        reader_connected = ProtoField.bool("mux.reader_connected", "Reader connected"),
        event_time = ProtoField.string("mux.event_time", "Event time"),
        rfid_data = ProtoField.string("mux.rfid_data", "RFID data"),
        response_in = ProtoField.framenum("mux.response_in", "Response in", base.NONE, frametype.RESPONSE),
        response_to = ProtoField.framenum("mux.response_to", "Response to", base.NONE, frametype.REQUEST),
        response_time = ProtoField.relative_time("mux.response_time", "Response time"),
    }

    client_fields.experts = {
        no_length = ProtoExpert.new("mux.length.zero", "Length 0: the Mux never gets past these bytes",
            expert.group.MALFORMED, expert.severity.ERROR),
        behind_no_length = ProtoExpert.new("mux.unread.lost", "Behind a length of 0: the Mux does not read it",
            expert.group.MALFORMED, expert.severity.WARN),
        not_a_packet = ProtoExpert.new("mux.magic.bad", "Not a packet with \"MUXM\": the Mux ignores it",
            expert.group.MALFORMED, expert.severity.WARN),
        not_json = ProtoExpert.new("mux.text.not_json", "Not a JSON text: the Mux does not answer it",
            expert.group.MALFORMED, expert.severity.WARN),
        ends_the_mux = ProtoExpert.new("mux.ends_the_mux", "It ends the Mux",
            expert.group.MALFORMED, expert.severity.ERROR),
        never_answered = ProtoExpert.new("mux.never_answered", "The Mux does not answer it",
            expert.group.PROTOCOL, expert.severity.WARN),
        too_deep = ProtoExpert.new("mux.text.too_deep", "Nested deeper than this dissector reads",
            expert.group.UNDECODED, expert.severity.NOTE),
        unknown_code = ProtoExpert.new("mux.code.unknown", "A message code that has no meaning",
            expert.group.PROTOCOL, expert.severity.WARN),
        outside = ProtoExpert.new("mux.unread.outside", "Bytes that belong to no message",
            expert.group.MALFORMED, expert.severity.WARN),
        cut_short = ProtoExpert.new("mux.unread.cut_short", "The rest of this message is not in the capture",
            expert.group.REASSEMBLE, expert.severity.NOTE),
    }

    -- Which member of the JSON object is which field, in the order in which they are shown. `kind` is that of the JSON
    -- value; a value of another kind is shown by Wireshark's own view of the text alone.
    client_fields.envelope = {
        { key = "MessageCode", field = "code", kind = "integer" },
        { key = "MessageID", field = "message_id", kind = "string" },
        { key = "Timestamp", field = "timestamp", kind = "time" },
    }
    client_fields.data = {
        { key = "gatewayID", field = "gateway_id", kind = "integer" },
        { key = "lockID", field = "lock_id", kind = "integer" },
        { key = "duration", field = "duration", kind = "unsigned" },
        { key = "setupNumber", field = "setup_number", kind = "unsigned" },
        { key = "options", field = "options", kind = "unsigned" },
        { key = "cardData", field = "card_data", kind = "string" },
        { key = "isUIDCard", field = "is_uid_card", kind = "boolean" },
        { key = "Success", field = "success", kind = "boolean" },
        { key = "ErrorCode", field = "error_code", kind = "integer" },
        { key = "Message", field = "error_text", kind = "string" },
        { key = "BatteryStatus", field = "battery_status", kind = "integer" },
        { key = "QoS", field = "qos", kind = "integer" },
        { key = "MechanicalActive", field = "mechanical_active", kind = "boolean" },
        { key = "BatteryWarningLevel", field = "battery_warning", kind = "boolean" },
        { key = "BatteryAlarmLevel", field = "battery_alarm", kind = "boolean" },
        { key = "ScandinavianFireMode", field = "scandinavian_fire_mode", kind = "boolean" },
        { key = "ReaderConnected", field = "reader_connected", kind = "boolean" },
        { key = "timestamp", field = "event_time", kind = "string" },
        { key = "RFIDData", field = "rfid_data", kind = "string" },
    }

    return client_fields
end
