-- Remembers from where on the receiver of a stream understands nothing more of it.
return function(parts)
    local connection_of = parts.stream.connection_of

    local LostStreams = {}
    LostStreams.__index = LostStreams

    -- `name` keeps the streams of one protocol apart from those of another in the same packet. Of a connection only
    -- one direction may be asked about.
    function LostStreams.new(name)
        return setmetatable({ mark = "mux_lost_" .. name, packets = {} }, LostStreams)
    end

    -- To be called when Wireshark begins with a capture.
    function LostStreams:forget()
        self.packets = {}
    end

    -- What comes behind this place of the stream is lost. Within the packet pinfo.private tells so: it lives as long
    -- as one dissection of the packet, and each dissection comes by this place again.
    function LostStreams:lose(pinfo)
        local connection = connection_of(pinfo)
        self.packets[connection] = self.packets[connection] or pinfo.number
        pinfo.private[self.mark] = "lost"
    end

    function LostStreams:is_lost(pinfo)
        local packet = self.packets[connection_of(pinfo)]
        return pinfo.private[self.mark] ~= nil or packet ~= nil and pinfo.number > packet
    end

    return LostStreams
end
