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

    -- Finds the fields of a payload that stands in `tvb` at `offset` and has `size` bytes. Calls `found(field, range)`
    -- for each; a payload that is too short is read as far as it goes. Returns what was read, by field, how many bytes
    -- that were, and whether it was too short.
    local function walk(rows, tvb, offset, size, found)
        local values, read, last = {}, 0, nil
        for _, row in ipairs(rows) do
            local width = row.width
            if type(width) == "function" then
                width = width(values)
            end
            if width and read + width > size then
                return values, size, true
            end
            if width ~= 0 then
                last = width and tvb(offset + read, width) or last
                found(row.field, last)
                values[row.field] = number_in(last)
                read = read + (width or 0)
            end
        end
        return values, read, false
    end

    -- Whether the Mux can read the payload of a gateway's frame. It knows nothing of where the CRC begins, and does not
    -- look into two of the events.
    local UNREAD_BY_THE_MUX = { [0x11] = true, [0x12] = true }
    function gateway_payloads.is_readable(frame, offset, command)
        local rows = not UNREAD_BY_THE_MUX[command] and RESPONSES[command] or NOTHING
        local _, _, is_short = walk(rows, frame, offset, frame:len() - offset, function() end)
        return not is_short
    end

    -- Shows the payload of a command, which stands in the frame at `offset` and has `size` bytes. Returns the numbers
    -- in it, by field.
    function gateway_payloads.dissect(frame, offset, size, tree, command, to_gateway)
        local rows = (to_gateway and REQUESTS or RESPONSES)[command]
        if not rows then
            tree:add_proto_expert_info(experts.unknown_command)
        end
        local values, read, is_short = walk(rows or NOTHING, frame, offset, size, function(field, range)
            tree:add(fields[field], range)
        end)
        if is_short then
            tree:add_proto_expert_info(experts.short_payload)
        elseif read < size then
            local rest = tree:add(fields.payload, frame(offset + read, size - read))
            if rows then
                rest:add_proto_expert_info(experts.long_payload)
            end
        end
        return values
    end

    return gateway_payloads
end
