-- Reads a JSON text and says where each value stands, so that Wireshark can show the bytes of a value, and where the
-- text ends, since the Mux writes its texts one after another with nothing between them.
--
-- A value is a table: `kind` ("object", "array", "string", "integer", "number", "boolean", "null"), `value` (what Lua
-- has for it; of an object its members by key, of which the first counts as it does for the Mux), of a number also its
-- `text`, and the positions of its first and last byte.
return function()
    local json_reader = {}

    -- Far beyond what messages have, and far from what exhausts Lua's stack.
    local DEEPEST = 1000

    local INCOMPLETE, MALFORMED, TOO_DEEP = {}, {}, {}
    local FAILURES = { [INCOMPLETE] = "incomplete", [MALFORMED] = "malformed", [TOO_DEEP] = "too deep" }
    local ESCAPES = { ['"'] = '"', ["\\"] = "\\", ["/"] = "/", b = "\b", f = "\f", n = "\n", r = "\r", t = "\t" }
    local WORDS = {
        ["true"] = { kind = "boolean", value = true },
        ["false"] = { kind = "boolean", value = false },
        ["null"] = { kind = "null" },
    }

    local read_value

    local function skip_blanks(text, position)
        return text:match("^[ \t\r\n]*()", position)
    end

    -- The character at a position that must be there for the text to go on.
    local function character_at(text, position)
        if position > #text then
            error(INCOMPLETE, 0)
        end
        return text:sub(position, position)
    end

    local function expect(text, position, character)
        if character_at(text, position) ~= character then
            error(MALFORMED, 0)
        end
        return position + 1
    end

    local function utf8_of(code)
        if code < 0x80 then
            return string.char(code)
        end
        local last = 0x80 + code % 0x40
        local rest = math.floor(code / 0x40)
        if rest < 0x20 then
            return string.char(0xC0 + rest, last)
        end
        local middle = 0x80 + rest % 0x40
        rest = math.floor(rest / 0x40)
        if rest < 0x10 then
            return string.char(0xE0 + rest, middle, last)
        end
        return string.char(0xF0 + math.floor(rest / 0x40), 0x80 + rest % 0x40, middle, last)
    end

    local function read_hexadecimal(text, position)
        local digits = text:match("^u(%x%x%x%x)", position)
        if not digits then
            error(position + 4 > #text and INCOMPLETE or MALFORMED, 0)
        end
        return tonumber(digits, 16), position + 5
    end

    local function is_between(number, lowest, highest)
        return number >= lowest and number <= highest
    end

    -- Behind the backslash of "\uXXXX"; two of them make one character beyond 0xFFFF.
    local function read_code_point(text, position)
        local code, after = read_hexadecimal(text, position)
        if not is_between(code, 0xD800, 0xDFFF) then
            return utf8_of(code), after
        end
        local low, after_low = read_hexadecimal(text, expect(text, after, "\\"))
        if not is_between(code, 0xD800, 0xDBFF) or not is_between(low, 0xDC00, 0xDFFF) then
            error(MALFORMED, 0)
        end
        return utf8_of(0x10000 + (code - 0xD800) * 0x400 + (low - 0xDC00)), after_low
    end

    local function read_escape(text, position)
        local character = character_at(text, position)
        if character == "u" then
            return read_code_point(text, position)
        end
        if not ESCAPES[character] then
            error(MALFORMED, 0)
        end
        return ESCAPES[character], position + 1
    end

    local function read_string(text, first)
        local pieces = {}
        local position = first + 1
        while true do
            local plain, after = text:match('^([^"\\\0-\31]*)()', position)
            pieces[#pieces + 1] = plain
            local character = character_at(text, after)
            if character == '"' then
                return { kind = "string", value = table.concat(pieces), first = first, last = after }
            end
            expect(text, after, "\\")
            pieces[#pieces + 1], position = read_escape(text, after + 1)
        end
    end

    -- A word or a number that reaches the end of the text may go on in bytes that are not there yet; at the outermost
    -- level it cannot.
    local function check_end(text, last, depth)
        if last == #text and depth > 0 then
            error(INCOMPLETE, 0)
        end
    end

    local function read_word(text, first, depth)
        local word = text:match("^%a*", first)
        local last = first + #word - 1
        check_end(text, last, depth)
        local known = WORDS[word]
        if not known then
            error(MALFORMED, 0)
        end
        return { kind = known.kind, value = known.value, first = first, last = last }
    end

    local function is_number(token)
        local whole, rest = token:match("^%-?(%d+)(.*)$")
        if not whole or whole:match("^0%d") then
            return false
        end
        rest = rest:gsub("^%.%d+", ""):gsub("^[eE][+-]?%d+", "")
        return rest == ""
    end

    -- The Mux takes no number for JSON that is greater than the greatest one of 64-bit floating point. An exponent is
    -- too great for it whatever it stands behind.
    local GREATEST_EXPONENT = 308
    local function is_too_great(token)
        local whole, decimals, exponent = token:match("^%-?(%d+)%.?(%d*)[eE]?%+?(%d*)$")
        return whole ~= nil and (tonumber(whole) + 0.0 == math.huge
            or exponent ~= "" and tonumber(exponent) > GREATEST_EXPONENT + #decimals)
    end

    local function read_number(text, first, depth)
        local token = text:match("^[-+.%deE]*", first)
        local last = first + #token - 1
        check_end(text, last, depth)
        if not is_number(token) or is_too_great(token) then
            error(MALFORMED, 0)
        end
        local kind = token:match("^%-?%d+$") and "integer" or "number"
        return { kind = kind, value = tonumber(token), text = token, first = first, last = last }
    end

    -- Walks through "first, second, third" up to `closing`; `read_item(position)` reads one of them and returns where
    -- it ends.
    local function read_list(text, first, closing, read_item)
        local position = skip_blanks(text, first + 1)
        if character_at(text, position) == closing then
            return position
        end
        while true do
            position = skip_blanks(text, read_item(position) + 1)
            if character_at(text, position) == closing then
                return position
            end
            position = skip_blanks(text, expect(text, position, ","))
        end
    end

    local function read_object(text, first, depth)
        local members = {}
        local last = read_list(text, first, "}", function(position)
            expect(text, position, '"')
            local key = read_string(text, position)
            position = expect(text, skip_blanks(text, key.last + 1), ":")
            local member = read_value(text, skip_blanks(text, position), depth + 1)
            members[key.value] = members[key.value] or member
            return member.last
        end)
        return { kind = "object", value = members, first = first, last = last }
    end

    local function read_array(text, first, depth)
        local items = {}
        local last = read_list(text, first, "]", function(position)
            items[#items + 1] = read_value(text, position, depth + 1)
            return items[#items].last
        end)
        return { kind = "array", value = items, first = first, last = last }
    end

    local READERS = { ["{"] = read_object, ["["] = read_array, ['"'] = read_string, t = read_word, f = read_word,
        n = read_word }

    function read_value(text, position, depth)
        if depth > DEEPEST then
            error(TOO_DEEP, 0)
        end
        local reader = READERS[character_at(text, position)] or read_number
        return reader(text, position, depth)
    end

    -- Reads the value that begins at `first`, blanks before it included. Returns it, or nil and "incomplete" when the
    -- text ends within it, "malformed", or "too deep" when it is nested deeper than is read here.
    function json_reader.read(text, first)
        local done, result = pcall(function()
            return read_value(text, skip_blanks(text, first), 0)
        end)
        if done then
            return result
        elseif FAILURES[result] then
            return nil, FAILURES[result]
        end
        error(result, 0)
    end

    -- Reads a text that holds one value and nothing else but blanks. Returns it, or nil and the failure.
    function json_reader.read_whole(text)
        local value, failure = json_reader.read(text, 1)
        if value and skip_blanks(text, value.last + 1) <= #text then
            return nil, "malformed"
        end
        return value, failure
    end

    return json_reader
end
