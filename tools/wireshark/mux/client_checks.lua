-- Which JSON of a client ends the Mux, and which it never answers. Members are looked at as the Mux does it: of two
-- with one name the first counts, and a value that is no number is another matter than a number that is no integer.
return function(parts)
    local codes = parts.codes
    local client_checks = {}

    -- Limits as digits without their sign: not every Lua has integers of 64 bits.
    local INT32 = { lowest = "2147483648", highest = "2147483647", text = "a 32-bit integer" }
    local UINT32 = { lowest = "0", highest = "4294967295", text = "an integer from 0 to 4294967295" }
    local INT64 = { lowest = "9223372036854775808", highest = "9223372036854775807", text = "a 64-bit integer" }

    local ENVELOPE = { { key = "Timestamp", range = INT64 }, { key = "MessageCode", range = INT32 } }
    local LOCK = {
        { key = "gatewayID", range = INT32, required = true },
        { key = "lockID", range = INT32, required = true },
    }
    local LOCK_AND_DURATION = { LOCK[1], LOCK[2], { key = "duration", range = UINT32, required = true } }
    -- Without the first the request is refused before the second is looked at.
    local LOCK_AND_CARD = {
        { key = "gatewayID", range = INT32, refused_without = true },
        { key = "lockID", range = INT32, refused_without = true },
    }

    -- The members of "Data" that matter, by message code. Other codes are refused whatever their "Data" holds.
    local DATA = {
        [10] = LOCK, [11] = LOCK, [12] = LOCK, [13] = LOCK_AND_DURATION, [14] = LOCK,
        [21] = LOCK_AND_CARD, [22] = LOCK, [23] = LOCK, [24] = LOCK, [25] = LOCK_AND_CARD,
        [110] = LOCK, [111] = LOCK, [113] = LOCK_AND_DURATION, [114] = LOCK,
    }

    local ID_OF_QUESTIONS = "requestNewSEQID-"

    local function is_number(json)
        return json ~= nil and (json.kind == "integer" or json.kind == "number")
    end

    local function is_at_most(digits, limit)
        return #digits < #limit or #digits == #limit and digits <= limit
    end

    local function is_within(json, range)
        local sign, digits = json.text:match("^(%-?)(%d+)$")
        return digits ~= nil and is_at_most(digits, sign == "-" and range.lowest or range.highest)
    end

    local function trouble_of(row, member)
        if member == nil and row.required then
            return string.format('No "%s"', row.key)
        elseif is_number(member) and not is_within(member, row.range) then
            return string.format('"%s" is not %s', row.key, row.range.text)
        end
    end

    local function first_trouble(rows, object)
        for _, row in ipairs(rows) do
            local member = object.value[row.key]
            local trouble = trouble_of(row, member)
            if trouble or row.refused_without and not is_number(member) then
                return trouble
            end
        end
    end

    -- What the Mux takes for the code: 0 when there is no number. Nil when the Mux does not survive the number.
    function client_checks.code_of(object)
        local code = object.value.MessageCode
        if not is_number(code) then
            return 0
        end
        return is_within(code, INT32) and code.value or nil
    end

    -- Why a message ends the Mux, or nil.
    function client_checks.why_it_ends_the_mux(object)
        local data = object.value.Data
        local rows = DATA[client_checks.code_of(object)]
        return first_trouble(ENVELOPE, object) or rows and data and data.kind == "object" and first_trouble(rows, data)
            or nil
    end

    -- Why a message is never answered, or nil; one that waits for an answer which may never come is none of these.
    function client_checks.why_it_is_not_answered(object)
        local code, id = client_checks.code_of(object), object.value.MessageID
        if codes.messages[code] and codes.messages[code].kind == "unanswered" then
            return "The Mux never answers this code"
        elseif DATA[code] and id and id.kind == "string" and id.value:find(ID_OF_QUESTIONS, 1, true) then
            return 'An ID with "' .. ID_OF_QUESTIONS .. '": no answer when it is done or there is no such lock'
        end
    end

    return client_checks
end
