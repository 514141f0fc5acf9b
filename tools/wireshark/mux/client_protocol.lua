-- The protocol between clients and the Mux.
--
-- Toward the Mux: packets of a 2-byte little-endian length (of the whole packet), "MUXM" and a JSON text. They are cut
-- as the Mux cuts them, by the length alone, whatever else they hold. From the Mux: JSON texts, one after another.
return function(parts)
    local stream, json_reader, codes = parts.stream, parts.json_reader, parts.codes
    local fields, experts = parts.client_fields.fields, parts.client_fields.experts
    local client_checks = parts.client_checks
    local exchanges = parts.exchanges.new("mux")
    local lost_streams = parts.lost_streams.new("mux")

    local protocol = Proto("mux", "Mux Client Protocol")
    protocol.fields = fields
    protocol.experts = experts

    local outside = stream.outside(protocol, fields, experts, "MUX", "message")

    local LENGTH_BYTES, HEADER_BYTES, MAGIC = 2, 6, "MUXM"
    -- How each text of the Mux begins: from here on a stream can be read whose beginning is not in the capture.
    local TEXT_START = '{"Timestamp":'

    -- The remark on a packet's text, by why it cannot be read.
    local FAILURE_EXPERTS = { incomplete = "not_json", malformed = "not_json", ["too deep"] = "too_deep" }
    local ENDS_THE_MUX = ": it ends the Mux"

    local function dissect_json(tvb, pinfo, tree)
        Dissector.get("json"):call(tvb, pinfo, tree)
    end

    -- What a JSON value must be to be shown as a field, and what the field gets.
    local function is_integer_within(lowest, highest)
        return function(json)
            return json.kind == "integer" and json.value >= lowest and json.value <= highest
        end
    end
    local KINDS = {
        integer = is_integer_within(-2 ^ 31, 2 ^ 31 - 1),
        unsigned = is_integer_within(0, 2 ^ 32 - 1),
        time = is_integer_within(0, 2 ^ 31 - 1),
        string = function(json) return json.kind == "string" end,
        boolean = function(json) return json.kind == "boolean" end,
    }

    local function field_value(kind, value)
        return kind == "time" and NSTime.new(value, 0) or value
    end

    -- Shows the members of `object` that `rows` name. Returns the values that were shown, by field.
    local function show_members(tree, tvb, object, rows)
        local shown = {}
        for _, row in ipairs(rows) do
            local member = object.value[row.key]
            if member and KINDS[row.kind](member) then
                local bytes = tvb(member.first - 1, member.last - member.first + 1)
                tree:add(fields[row.field], bytes, field_value(row.kind, member.value))
                shown[row.field] = member.value
            end
        end
        return shown
    end

    local function show_message(tree, tvb, object)
        local message = show_members(tree, tvb, object, parts.client_fields.envelope)
        message.code = client_checks.code_of(object)
        message.code_text = tostring(message.code or object.value.MessageCode.text)
        local data = object.value.Data
        if data and data.kind == "object" then
            message.data = show_members(tree, tvb, data, parts.client_fields.data)
        else
            message.data = {}
        end
        return message
    end

    local function short_name(message)
        local known = codes.messages[message.code]
        return known and known.name:gsub("^MUX_MESSAGE_", "") or "code " .. message.code_text
    end

    local function summary_of(message)
        local data = message.data
        local texts = { short_name(message) }
        local function add(format, value)
            if value ~= nil and value ~= "" then
                texts[#texts + 1] = string.format(format, tostring(value))
            end
        end
        add("gateway %s", data.gateway_id)
        add("lock %s", data.lock_id)
        add("card %s", data.card_data or data.rfid_data)
        add("(%s)", data.error_text)
        add('ID "%s"', message.message_id)
        return table.concat(texts, " ")
    end

    -- The Mux answers every request that is JSON, also one whose code means nothing, but no configuration.
    local function link(pinfo, message, to_server)
        local known = codes.messages[message.code]
        local key = message.message_id or ""
        if to_server and not message.ends_the_mux and not (known and known.kind == "unanswered") then
            return exchanges:request(pinfo, key)
        elseif not to_server and known and known.kind == "answer" then
            return exchanges:answer(pinfo, key)
        end
        return exchanges:other(pinfo)
    end

    local function remark_request(tree, object)
        local end_of_mux = client_checks.why_it_ends_the_mux(object)
        local silence = client_checks.why_it_is_not_answered(object)
        if end_of_mux then
            tree:add_proto_expert_info(experts.ends_the_mux, end_of_mux .. ENDS_THE_MUX)
        elseif silence then
            tree:add_proto_expert_info(experts.never_answered, silence)
        end
        return end_of_mux ~= nil
    end

    local function dissect_message(tvb, pinfo, tree, object, to_server)
        local message = show_message(tree, tvb, object)
        message.ends_the_mux = to_server and remark_request(tree, object)
        if message.code and not codes.messages[message.code] then
            tree:add_proto_expert_info(experts.unknown_code)
        end
        parts.exchanges.show(link(pinfo, message, to_server), tree, fields)
        dissect_json(tvb, pinfo, tree)
        local summary = summary_of(message)
        tree:append_text(", " .. summary)
        parts.columns.add(pinfo, "MUX", summary)
    end

    local function dissect_odd_text(tvb, pinfo, tree, remark, words)
        stream.remark(tree:add(fields.text, tvb), remark, words)
        tree:append_text(", not a message")
        parts.columns.add(pinfo, "MUX", "Not a message")
    end

    local function remark_no_text(pinfo, tree)
        tree:add_proto_expert_info(experts.never_answered, "No text: the Mux ignores it")
        parts.columns.add(pinfo, "MUX", "Not a message")
    end

    -- The JSON text of a packet; like the Mux it ends at the first NUL.
    local function dissect_text(tvb, pinfo, tree)
        local text = tvb:range():raw()
        local ending = text:find("\0", 1, true)
        if ending then
            tree:add(fields.ignored_text, tvb(ending - 1))
            text = text:sub(1, ending - 1)
        end
        local object, failure = json_reader.read_whole(text)
        if object and object.kind == "object" then
            dissect_message(tvb(0, #text):tvb(), pinfo, tree, object, true)
        elseif text == "" then
            remark_no_text(pinfo, tree)
        elseif failure then
            dissect_odd_text(tvb(0, #text), pinfo, tree, experts[FAILURE_EXPERTS[failure]])
        else
            local words = "JSON, but not an object" .. ENDS_THE_MUX
            dissect_odd_text(tvb(0, #text), pinfo, tree, experts.ends_the_mux, words)
        end
    end

    local function dissect_packet(tvb, pinfo, parent)
        local tree = parent:add(protocol, tvb())
        local length_bytes = math.min(LENGTH_BYTES, tvb:len())
        tree:add_le(fields.length, tvb(0, length_bytes))
        if tvb:len() < HEADER_BYTES or tvb(LENGTH_BYTES, #MAGIC):raw() ~= MAGIC then
            dissect_odd_text(tvb(length_bytes), pinfo, tree, experts.not_a_packet)
            return
        end
        tree:add(fields.magic, tvb(LENGTH_BYTES, #MAGIC))
        if tvb:len() > HEADER_BYTES then
            dissect_text(tvb(HEADER_BYTES):tvb(), pinfo, tree)
        else
            remark_no_text(pinfo, tree)
        end
    end

    local function next_packet(tvb, pinfo, tree, offset)
        local available = tvb:len() - offset
        if lost_streams:is_lost(pinfo) then
            return outside:show(tvb(offset), pinfo, tree, experts.behind_no_length)
        elseif available < LENGTH_BYTES then
            return outside:ask_or_show(tvb, pinfo, tree, offset)
        end
        local length = tvb(offset, LENGTH_BYTES):le_uint()
        if length == 0 then
            lost_streams:lose(pinfo)
            return outside:show(tvb(offset), pinfo, tree, experts.no_length)
        elseif length > available then
            return outside:ask_or_show(tvb, pinfo, tree, offset, length - available)
        end
        dissect_packet(tvb(offset, length):tvb(), pinfo, tree)
        return offset + length
    end

    -- Bytes that no text of the Mux begins with, up to the next that does.
    local function skip_outside(tvb, pinfo, tree, text, offset)
        local start = text:find(TEXT_START, offset + 2, true)
        local next_offset = start and start - 1 or #text
        outside:show(tvb(offset, next_offset - offset), pinfo, tree, experts.outside)
        return next_offset
    end

    local function next_text(tvb, pinfo, tree, text, offset)
        if text:sub(offset + 1, offset + 1) ~= "{" then
            return skip_outside(tvb, pinfo, tree, text, offset)
        end
        local object, failure = json_reader.read(text:sub(offset + 1), 1)
        if failure == "incomplete" then
            return outside:ask_or_show(tvb, pinfo, tree, offset)
        elseif failure then
            return skip_outside(tvb, pinfo, tree, text, offset)
        end
        local bytes = tvb(offset, object.last)
        dissect_message(bytes:tvb(), pinfo, tree:add(protocol, bytes), object, false)
        return offset + object.last
    end

    function protocol.dissector(tvb, pinfo, tree)
        if stream.is_to_server(pinfo) then
            return stream.walk(tvb, function(offset)
                return next_packet(tvb, pinfo, tree, offset)
            end)
        end
        local text = tvb:range():raw()
        return stream.walk(tvb, function(offset)
            return next_text(tvb, pinfo, tree, text, offset)
        end)
    end

    function protocol.init()
        exchanges:forget()
        lost_streams:forget()
    end

    return protocol
end
