-- The protocol between the Mux and its lock gateways: binary frames, all numbers big-endian.
--
--   offset  0  total length        8  sequence counter (4)
--           1  magic FE FD        12  device address (4)
--           3  remaining length   16  command
--           4  header version     17  payload
--           5  reserved (2)       last two bytes: CRC-16/XMODEM of all before them
--           7  reference ID
return function(parts)
    local stream, codes = parts.stream, parts.codes
    local fields, experts = parts.gateway_fields.fields, parts.gateway_fields.experts
    local exchanges = parts.exchanges.new("brenk")
    local lost_streams = parts.lost_streams.new("brenk")

    local protocol = Proto("brenk", "Brenk Gateway Protocol")
    protocol.fields = fields
    protocol.experts = experts

    local outside = stream.outside(protocol, fields, experts, "BRENK", "frame")

    local MAGIC = "\254\253"
    local BYTES_TO_MAGIC_END = 3
    local PAYLOAD_OFFSET, CRC_BYTES = 17, 2
    local READS_NO_MORE = ": the Mux reads nothing more of this gateway"
    local HEADER_VERSION = 1
    local EVENT_ANSWER_BIT = 0x80

    -- The header up to the reference ID; the bytes behind it are dissect_frame's.
    local function dissect_header(tvb, tree)
        tree:add(fields.total_length, tvb(0, 1))
        tree:add(fields.magic, tvb(1, 2))
        local remaining = tree:add(fields.remaining_length, tvb(3, 1))
        if tvb(3, 1):uint() ~= tvb:len() - 5 then
            remaining:add_proto_expert_info(experts.bad_remaining_length)
        end
        local version = tree:add(fields.header_version, tvb(4, 1))
        if tvb(4, 1):uint() ~= HEADER_VERSION then
            version:add_proto_expert_info(experts.unknown_version)
        end
        tree:add(fields.reserved, tvb(5, 2))
    end

    -- The Mux looks at the low six bits only.
    local function dissect_reference(range, tree)
        tree:add(fields.reference_id, range)
        if range:bitfield(0, 2) ~= 0 then
            tree:add(fields.reference_top_bits, range)
        end
        return range:bitfield(2, 6)
    end

    local function dissect_command(range, tree, to_gateway)
        local item = tree:add(fields.command, range)
        if to_gateway and range:uint() >= EVENT_ANSWER_BIT then
            item:add(fields.answers_event, range)
        end
        return range:uint()
    end

    local function dissect_crc(tvb, checked, tree)
        if tvb:len() < checked + CRC_BYTES then
            return tree:add_proto_expert_info(experts.no_crc)
        end
        local range = tvb(checked, CRC_BYTES)
        local expected = parts.crc16.xmodem(tvb:raw(0, checked))
        local good = range:uint() == expected
        local item = tree:add(fields.crc, range)
        item:append_text(good and " (correct)" or string.format(" (should be 0x%04x)", expected))
        tree:add(fields.crc_status, range, good and 1 or 0):set_generated()
        if not good then
            item:add_proto_expert_info(experts.bad_crc)
        end
    end

    -- Requests that the Mux built within one period carry the same counter and reference ID, and each is answered. With
    -- another counter the reference IDs have gone round.
    local function link(pinfo, frame, to_gateway)
        if to_gateway then
            return exchanges:request(pinfo, frame.reference, frame.counter)
        elseif codes.events[frame.command] or frame.is_unheard then
            return exchanges:other(pinfo)
        end
        return exchanges:answer(pinfo, frame.reference)
    end

    local function command_text(frame, values)
        local name = codes.commands[frame.command] or string.format("Command 0x%02x", frame.command)
        if not values.response_code then
            return name
        end
        local result = codes.results[values.response_code]
        return name .. " " .. (result and result:gsub("^BRENK_RESPONSE_", "") or tostring(values.response_code))
    end

    local function summary_of(frame, values)
        return string.format("%s lock %d ref %d", command_text(frame, values), frame.address, frame.reference)
    end

    -- Whether the Mux reads a gateway's frame at all; after one that it cannot read it reads no other.
    local function remark_hearing(tvb, pinfo, tree, command)
        if lost_streams:is_lost(pinfo) then
            tree:add_proto_expert_info(experts.unheard)
            return false
        elseif not parts.gateway_payloads.is_readable(tvb, PAYLOAD_OFFSET, command) then
            tree:add_proto_expert_info(experts.last_read, "Too short for its command" .. READS_NO_MORE)
            lost_streams:lose(pinfo)
            return false
        end
        return true
    end

    -- A frame that is too short for a CRC has none, but the Mux takes it nevertheless.
    local function dissect_frame(tvb, pinfo, parent, to_gateway)
        local tree = parent:add(protocol, tvb())
        dissect_header(tvb, tree)
        local frame = { reference = dissect_reference(tvb(7, 1), tree), counter = tvb(8, 4):uint(),
            address = tvb(12, 4):uint() }
        tree:add(fields.sequence_counter, tvb(8, 4))
        tree:add(fields.device_address, tvb(12, 4))
        frame.command = dissect_command(tvb(16, 1), tree, to_gateway)
        local size = tvb:len() - PAYLOAD_OFFSET
        size = size >= CRC_BYTES and size - CRC_BYTES or size
        local values = parts.gateway_payloads.dissect(tvb, PAYLOAD_OFFSET, size, tree, frame.command, to_gateway)
        dissect_crc(tvb, PAYLOAD_OFFSET + size, tree)
        frame.is_unheard = not to_gateway and not remark_hearing(tvb, pinfo, tree, frame.command)
        parts.exchanges.show(link(pinfo, frame, to_gateway), tree, fields)
        local summary = summary_of(frame, values)
        tree:append_text(", " .. summary)
        parts.columns.add(pinfo, "BRENK", summary)
    end

    -- Where the next frame may begin at or behind `offset`: a byte before the next magic, or as far back from the end
    -- as the magic or the length before it may still be incomplete.
    local function find_frame(bytes, offset)
        local magic = bytes:find(MAGIC, offset + 2, true)
        if magic then
            return magic - 2
        end
        local kept = bytes:sub(-1) == MAGIC:sub(1, 1) and 2 or 1
        return math.max(offset, #bytes - kept)
    end

    -- Bytes that hold a magic but no frame, and at which the Mux stops to understand what comes from a gateway.
    local function skip_magic(range, pinfo, tree, remark, reason)
        if stream.is_to_server(pinfo) or lost_streams:is_lost(pinfo) then
            outside:show(range, pinfo, tree, remark)
        else
            outside:show(range, pinfo, tree, experts.last_read, reason .. READS_NO_MORE)
            lost_streams:lose(pinfo)
        end
    end

    -- A frame, or the beginning of one, stands at `offset`.
    local function next_frame(tvb, pinfo, tree, offset)
        local available = tvb:len() - offset
        if available < BYTES_TO_MAGIC_END then
            return outside:ask_or_show(tvb, pinfo, tree, offset)
        end
        local length = tvb(offset, 1):uint()
        if length < PAYLOAD_OFFSET then
            skip_magic(tvb(offset, BYTES_TO_MAGIC_END), pinfo, tree, experts.short_frame, "A total length below 17")
            return offset + BYTES_TO_MAGIC_END
        elseif length > available then
            return outside:ask_or_show(tvb, pinfo, tree, offset, length - available)
        end
        dissect_frame(tvb(offset, length):tvb(), pinfo, tree, stream.is_to_server(pinfo))
        return offset + length
    end

    -- The Mux, too, takes the next magic and the byte before it for the beginning of a frame, whatever comes first.
    function protocol.dissector(tvb, pinfo, tree)
        local bytes = tvb:range():raw()
        return stream.walk(tvb, function(offset)
            if bytes:sub(offset + 1, offset + #MAGIC) == MAGIC then
                skip_magic(tvb(offset, #MAGIC), pinfo, tree, experts.outside, "No length before FE FD")
                return offset + #MAGIC
            end
            local start = find_frame(bytes, offset)
            if start > offset then
                outside:show(tvb(offset, start - offset), pinfo, tree, experts.outside)
            end
            return next_frame(tvb, pinfo, tree, start)
        end)
    end

    function protocol.init()
        exchanges:forget()
        lost_streams:forget()
    end

    return protocol
end
