-- CRC-16/XMODEM, the checksum of a gateway frame: polynomial 0x1021, start 0, nothing reflected or inverted.
return function()
    local POLYNOMIAL = 0x1021

    -- Shifts one bit out at the top of a 16-bit register.
    local function shift(register)
        local shifted = bit.band(bit.lshift(register, 1), 0xFFFF)
        return register >= 0x8000 and bit.bxor(shifted, POLYNOMIAL) or shifted
    end

    local table_of_bytes = {}
    for byte = 0, 255 do
        local register = bit.lshift(byte, 8)
        for _ = 1, 8 do
            register = shift(register)
        end
        table_of_bytes[byte] = register
    end

    local crc16 = {}

    -- Takes the bytes as a Lua string, returns 0 to 0xFFFF.
    function crc16.xmodem(bytes)
        local register = 0
        for position = 1, #bytes do
            local index = bit.bxor(bit.rshift(register, 8), bytes:byte(position))
            register = bit.bxor(bit.band(bit.lshift(register, 8), 0xFFFF), table_of_bytes[index])
        end
        return register
    end

    return crc16
end
