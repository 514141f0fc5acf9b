-- The payload of each gateway command, as rows of fields, and the one function that walks them.
--
-- A row names its `field` and its `width` in bytes, which may be a function of the values read before it. Rows without
-- `width` show further bits of the bytes of the row before them.
return function(parts)
    local codes, fields, experts = parts.codes, parts.gateway_fields.fields, parts.gateway_fields.experts
    local gateway_payloads = {}

    local function value_of(name)
        return function(values)
            return values[name]
        end
    end

    local OPEN_CLOSE = { { field = "duration", width = 1 } }
    local OPEN = { { field = "open_first", width = 2 }, { field = "open_second", width = 2 } }
    local CLOSE = { { field = "close_delay", width = 2 } }
    local WHITELIST_ENTRY = {
        { field = "setup_number", width = 1 },
        { field = "whitelist_option", width = 1 },
        { field = "card_length", width = 1 },
        { field = "card_data", width = value_of("card_length") },
    }
    local NOTHING = {}

    local RESPONSE = {
        { field = "response_code", width = 1 },
        { field = "current_counter", width = function(values)
            return values.response_code == codes.sequence_counter_error and 4 or 0
        end },
    }
    local STATUS = {
        { field = "battery_status", width = 1 },
        { field = "battery_level" },
        { field = "status_undecoded", width = 1 },
        { field = "mechanical_active", width = 1 },
        { field = "battery_warning" },
        { field = "battery_alarm" },
        { field = "reader_connected" },
        { field = "status_undecoded", width = 4 },
    }

    local function event(data_field)
        return {
            { field = "event_header", width = 4 },
            { field = "event_byte_1", width = 1 },
            { field = "event_byte_2", width = 1 },
            { field = "event_byte_3", width = 1 },
            { field = "event_length", width = 1 },
            { field = data_field, width = value_of("event_length") },
        }
    end

    -- By command, toward the gateway and from it.
    local REQUESTS = {
        [0x01] = NOTHING,
        [0x03] = WHITELIST_ENTRY,
        [0x04] = WHITELIST_ENTRY,
        [0x05] = NOTHING,
        [0x06] = NOTHING,
        [0x07] = NOTHING,
        [0x08] = NOTHING, [0x88] = NOTHING,
        [0x09] = OPEN_CLOSE, [0x89] = OPEN_CLOSE,
        [0x0A] = OPEN, [0x8A] = OPEN,
        [0x0B] = CLOSE, [0x8B] = CLOSE,
    }
    local RESPONSES = {
        [0x00] = RESPONSE,
        [0x01] = STATUS,
        [0x0E] = event("event_rfid"),
        [0x0F] = event("event_rfid"),
        [0x11] = event("event_rfid"),
        [0x12] = event("event_rfid"),
        [0x16] = event("event_pin"),
    }

    -- Only numbers decide about what follows, and none of them is wider.
    local function number_in(bytes)
        return bytes:len() <= 4 and bytes:uint() or nil
    end

    -- Shows the fields of a payload. Returns what was read, by field; a payload that is too short is read as far as it
    -- goes.
    local function walk(rows, tvb, tree)
        local values, offset, last = {}, 0, nil
        for _, row in ipairs(rows) do
            local width = row.width
            if type(width) == "function" then
                width = width(values)
            end
            if width and offset + width > tvb:len() then
                tree:add_proto_expert_info(experts.short_payload)
                return values, tvb:len()
            end
            if width ~= 0 then
                last = width and tvb(offset, width) or last
                tree:add(fields[row.field], last)
                values[row.field] = number_in(last)
                offset = offset + (width or 0)
            end
        end
        return values, offset
    end

    -- Shows the payload of a command and returns the numbers in it, by field.
    function gateway_payloads.dissect(tvb, tree, command, to_gateway)
        local rows = (to_gateway and REQUESTS or RESPONSES)[command]
        if not rows then
            tree:add_proto_expert_info(experts.unknown_command)
        end
        local values, read = walk(rows or NOTHING, tvb, tree)
        if read < tvb:len() then
            local rest = tree:add(fields.payload, tvb(read))
            if rows then
                rest:add_proto_expert_info(experts.long_payload)
            end
        end
        return values
    end

    return gateway_payloads
end
