-- The TCP ports of a protocol, as a preference that can be changed while Wireshark runs.
return function()
    local ports = {}

    -- `peers` is the plural of who connects there or listens there, for the texts in Wireshark's preferences.
    function ports.register(protocol, default_port, peers)
        local tcp_ports = DissectorTable.get("tcp.port")
        local registered = tostring(default_port)
        protocol.prefs.ports = Pref.range("TCP ports", registered,
            "TCP ports of the connections with " .. peers .. ", for example " .. registered .. ",6000-6010", 65535)
        tcp_ports:add(registered, protocol)

        function protocol.prefs_changed()
            if protocol.prefs.ports == registered then
                return
            end
            if registered ~= "" then
                tcp_ports:remove(registered, protocol)
            end
            registered = protocol.prefs.ports
            if registered ~= "" then
                tcp_ports:add(registered, protocol)
            end
        end
    end

    return ports
end
