-- The columns of the packet list, for packets that hold several messages.
return function()
    local columns = {}

    -- Adds a message's summary behind those of the same packet that came before it. To be called when no further
    -- dissector will run for the message: those write into the columns too.
    function columns.add(pinfo, protocol, summary)
        local before = pinfo.private.mux_summary
        local whole = before and before .. ", " .. summary or summary
        pinfo.private.mux_summary = whole
        pinfo.cols.protocol = protocol
        pinfo.cols.info = whole
    end

    return columns
end
