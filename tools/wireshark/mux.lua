-- Packet dissector for Wireshark and tshark: the two protocols of the Mux.
--
--   mux    between clients and the Mux (TCP port 5555): JSON texts, in packets toward the Mux and bare from it
--   brenk  between the Mux and its lock gateways (TCP port 2101): binary frames
--
-- To install it, copy this file and the folder "mux" beside it into Wireshark's folder for personal Lua plugins
-- ("Help", "About Wireshark", "Folders"), or name this file for one run: tshark -X lua_script:tools/wireshark/mux.lua
-- Other ports: preferences mux.ports and brenk.ports, as in tshark -o mux.ports:5555,6000
--
-- Runs with Lua 5.2 (Wireshark 4.0) to 5.4 (Wireshark 4.4).

-- In the order in which they need each other. Wireshark also runs each file of its plugin folder by itself: so a part
-- only returns a function, and nothing happens until that is called here.
local part_names = {
    "codes", "crc16", "columns", "stream", "exchanges", "lost_streams", "ports",
    "json_reader", "client_fields", "client_checks", "client_protocol",
    "gateway_fields", "gateway_payloads", "gateway_protocol",
}

-- Not from Wireshark's __DIR__: since 4.4 a plugin is not given one.
local folder = debug.getinfo(1, "S").source:match("^@(.*)mux%.lua$") .. "mux/"
local parts = {}
for _, name in ipairs(part_names) do
    parts[name] = dofile(folder .. name .. ".lua")(parts)
end

parts.ports.register(parts.client_protocol, 5555, "clients")
parts.ports.register(parts.gateway_protocol, 2101, "lock gateways")
