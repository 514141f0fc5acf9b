-- Finds the answer to a request and the request to an answer, and shows each where the other is.
--
-- Wireshark dissects a packet when it first reads it, in order, and then again whenever it is looked at. What belongs
-- together is found the first time and kept; a packet that is looked at again finds what was kept.
return function(parts)
    local connection_of = parts.stream.connection_of

    local Exchanges = {}
    Exchanges.__index = Exchanges

    -- `name` keeps the messages of one protocol apart from those of another in the same packet.
    function Exchanges.new(name)
        return setmetatable({ name = name, records = {}, waiting = {} }, Exchanges)
    end

    -- To be called when Wireshark begins with a capture.
    function Exchanges:forget()
        self.records, self.waiting = {}, {}
    end

    -- pinfo.private lives as long as one dissection of one packet: with it the messages of a packet are counted.
    local function count_message(name, pinfo)
        local key = "mux_messages_" .. name
        local count = tonumber(pinfo.private[key] or "0") + 1
        pinfo.private[key] = tostring(count)
        return count
    end

    -- The record of the message that is being dissected, and whether it was made only now.
    function Exchanges:record(pinfo)
        local place = pinfo.number .. ":" .. count_message(self.name, pinfo)
        local known = self.records[place]
        if known then
            return known, false
        end
        local record = { frame = pinfo.number, time = pinfo.rel_ts }
        self.records[place] = record
        return record, true
    end

    function Exchanges:waiting_under(pinfo, key)
        local place = connection_of(pinfo) .. ":" .. key
        local queue = self.waiting[place] or {}
        self.waiting[place] = queue
        return queue
    end

    -- A message that is neither a request nor an answer; counted, so that those behind it are found again.
    function Exchanges:other(pinfo)
        return (self:record(pinfo))
    end

    -- A request that is answered under `key`. One that waits there with another `generation` is given up: whoever has to
    -- answer did not, and answers the one that has the key now. Whoever has asked may see it otherwise.
    function Exchanges:request(pinfo, key, generation)
        local record, is_new = self:record(pinfo)
        if is_new then
            local queue = self:waiting_under(pinfo, key)
            record.generation = generation
            while queue[1] and queue[1].generation ~= generation do
                table.remove(queue, 1)
            end
            table.insert(queue, record)
        end
        return record
    end

    -- An answer under `key`: to the request that has waited longest there.
    function Exchanges:answer(pinfo, key)
        local record, is_new = self:record(pinfo)
        if is_new then
            record.request = table.remove(self:waiting_under(pinfo, key), 1)
            if record.request then
                record.request.answer = record
            end
        end
        return record
    end

    local function duration(from, to)
        local microseconds = math.floor((to.time - from.time) * 1e6 + 0.5)
        local seconds = math.floor(microseconds / 1e6)
        return NSTime.new(seconds, (microseconds - seconds * 1e6) * 1000)
    end

    -- Shows the other half. `fields` has response_in, response_to and response_time.
    function Exchanges.show(record, tree, fields)
        if record.answer then
            tree:add(fields.response_in, record.answer.frame):set_generated()
        end
        if record.request then
            tree:add(fields.response_to, record.request.frame):set_generated()
            tree:add(fields.response_time, duration(record.request, record)):set_generated()
        end
    end

    return Exchanges
end
