-- What both protocols need to cut a TCP stream: direction, asking for the bytes that are missing, and showing those
-- that belong to nothing.
return function(parts)
    local stream = {}

    -- Whether the packet goes to the server of the connection: to the port by which this dissector was found.
    function stream.is_to_server(pinfo)
        return pinfo.match == pinfo.dst_port
    end

    -- Names the connection, the same in both directions. Wireshark's own number of it is no help: when a capture is
    -- read for the first time there are no fields to take it from.
    function stream.connection_of(pinfo)
        local source = tostring(pinfo.src) .. " " .. pinfo.src_port
        local destination = tostring(pinfo.dst) .. " " .. pinfo.dst_port
        return stream.is_to_server(pinfo) and source .. " " .. destination or destination .. " " .. source
    end

    -- Asks TCP to come back with the bytes from `offset` on when `count` more have arrived, or some more when `count`
    -- is nil. Returns false when TCP does not do so: it is told not to, or the capture has cut the packet short.
    function stream.ask_for(pinfo, offset, count)
        if pinfo.can_desegment == 0 then
            return false
        end
        pinfo.desegment_offset = offset
        pinfo.desegment_len = count or DESEGMENT_ONE_MORE_SEGMENT
        return true
    end

    -- Puts a remark on an item, with other words than the remark's own if there are any.
    function stream.remark(item, remark, words)
        if words then
            item:add_proto_expert_info(remark, words)
        else
            item:add_proto_expert_info(remark)
        end
    end

    -- How a protocol shows bytes that belong to none of its messages. `name` is that of the protocol's column, `whole`
    -- what it calls a message.
    local Outside = {}
    Outside.__index = Outside

    function stream.outside(protocol, fields, experts, name, whole)
        return setmetatable({ protocol = protocol, field = fields.unread, cut_short = experts.cut_short, name = name,
            whole = whole }, Outside)
    end

    -- Shows bytes with a remark.
    function Outside:show(tvb, pinfo, tree, remark, words)
        stream.remark(tree:add(self.protocol, tvb):add(self.field, tvb), remark, words)
        parts.columns.add(pinfo, self.name, tvb:len() .. " bytes outside a " .. self.whole)
    end

    -- Asks for more as `stream.ask_for` does, or shows the rest when TCP does not come back with what is missing.
    function Outside:ask_or_show(tvb, pinfo, tree, offset, count)
        if not stream.ask_for(pinfo, offset, count) then
            self:show(tvb(offset), pinfo, tree, self.cut_short)
        end
    end

    -- Walks through the messages in `tvb`. `next_message(offset)` dissects the one that begins there and returns where
    -- the next begins, or nil when no more can be read and the rest has been asked for or shown.
    function stream.walk(tvb, next_message)
        local offset = 0
        while offset and offset < tvb:len() do
            offset = next_message(offset)
        end
        return tvb:len()
    end

    return stream
end
