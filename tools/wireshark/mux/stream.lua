-- What both protocols need to cut a TCP stream: direction, and asking for the bytes that are missing.
return function()
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
