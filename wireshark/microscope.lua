-- Wireshark dissector for the microscope's remote control: control channel and data channel.
-- The messages are described in docs/protocol.md.

local microscope = Proto("microscope", "Microscope Remote Control")

microscope.prefs.ports = Pref.range("TCP ports", "8300-8301",
    "Ports of the microscope: control channel and, at the next one, data channel", 65535)

local header_bytes, name_bytes, scan_head_bytes = 32, 16, 20
local largest_body = 0x10000000
local largest_odd_body = 0x100000 -- of a message whose name is not known
local most_overtaken = 64 -- a reply that comes later belongs to nothing

-- Fields of the header, and what is worked out ------------------------------------------------------

local header = {
    name = ProtoField.string("microscope.name", "Name"),
    size = ProtoField.uint32("microscope.size", "Body size"),
    flags = ProtoField.uint8("microscope.flags", "Flags"),
    rest = ProtoField.bytes("microscope.header_rest", "Header bytes other than zero"),
    command = ProtoField.bool("microscope.command", "Command"),
    reply = ProtoField.bool("microscope.reply", "Reply"),
    command_in = ProtoField.framenum("microscope.command_in", "Command in frame", base.NONE,
        frametype.REQUEST),
    reply_in = ProtoField.framenum("microscope.reply_in", "Reply in frame", base.NONE,
        frametype.RESPONSE),
    time = ProtoField.relative_time("microscope.time", "Response time"),
    body = ProtoField.bytes("microscope.body", "Body"),
    pixels = ProtoField.uint32("microscope.scan.pixels", "Pixels"),
    captured = ProtoField.uint32("microscope.scan.captured", "Pixels captured"),
    stray = ProtoField.bytes("microscope.stray", "Bytes outside a message"),
}

local expert_fields = {
    unknown = ProtoExpert.new("microscope.unknown_name", "Unknown name",
        expert.group.UNDECODED, expert.severity.WARN),
    size = ProtoExpert.new("microscope.wrong_size", "Body of a wrong size",
        expert.group.MALFORMED, expert.severity.ERROR),
    text = ProtoExpert.new("microscope.bad_text", "Text that is not well formed",
        expert.group.MALFORMED, expert.severity.ERROR),
    number = ProtoExpert.new("microscope.no_number", "Text that is no number",
        expert.group.MALFORMED, expert.severity.ERROR),
    finite = ProtoExpert.new("microscope.not_finite", "Number that is not finite",
        expert.group.PROTOCOL, expert.severity.WARN),
    huge = ProtoExpert.new("microscope.huge", "Announces more than 256 MiB",
        expert.group.PROTOCOL, expert.severity.WARN),
    stray = ProtoExpert.new("microscope.no_message", "No message header",
        expert.group.MALFORMED, expert.severity.ERROR),
    odd_name = ProtoExpert.new("microscope.odd_name", "Name with bytes other than letters and padding",
        expert.group.PROTOCOL, expert.severity.WARN),
    unanswered = ProtoExpert.new("microscope.unanswered", "No reply was captured",
        expert.group.SEQUENCE, expert.severity.NOTE),
    unasked = ProtoExpert.new("microscope.unasked", "Reply without a command",
        expert.group.SEQUENCE, expert.severity.NOTE),
}

-- The values of bodies ------------------------------------------------------------------------------

local fields = {}
for _, field in pairs(header) do
    fields[#fields + 1] = field
end

local makers = { int = ProtoField.int32, uint = ProtoField.uint32, real = ProtoField.double,
                 string = ProtoField.string }

local function value(kind, abbreviation, label, unit)
    local field = makers[kind]("microscope." .. abbreviation, label)
    fields[#fields + 1] = field
    return { kind = kind, field = field, unit = unit and " " .. unit or "" }
end

local result = value("int", "result", "Result")
local channel = value("int", "channel", "Channel")
local view_field = value("real", "view_field", "View field", "mm")
local position = {
    value("real", "stage.x", "Stage x", "mm"),
    value("real", "stage.y", "Stage y", "mm"),
    value("real", "stage.value3", "Stage value 3"),
    value("real", "stage.value4", "Stage value 4"),
    value("real", "stage.value5", "Stage value 5"),
}
local unused_int = value("int", "unused", "Unused")
local unused_uint = value("uint", "unused_unsigned", "Unused")

-- Of every name the values of command and reply. Where there are none of a reply, a microscope need not
-- send one, and nobody reads what it says.
local messages = {
    TcpRegDataPort = {
        command = { value("uint", "data_port", "Data port of the host") }, reply = { result } },
    TcpGetVersion = { command = {}, reply = { value("string", "version", "Version") } },
    TcpGetSWVersion = {
        command = {}, reply = { value("string", "software_version", "Software version") } },
    DtEnumDetectors = { command = {}, reply = { value("string", "detectors", "Detectors") } },
    DtSelect = { command = { channel, value("int", "detector", "Detector") } },
    DtEnable = { command = { channel, value("int", "enabled", "Enabled"),
                             value("int", "depth", "Bits per pixel") } },
    DtAutoSignal = { command = { channel } },
    DtGetGainBlack = {
        command = { channel },
        reply = { value("string", "gain", "Gain"), value("string", "black", "Black level") } },
    GetWD = {
        command = {}, reply = { value("real", "working_distance", "Working distance", "mm") } },
    GetViewField = { command = {}, reply = { view_field } },
    SetViewField = { command = { view_field } },
    ScScanXY = {
        command = {
            unused_uint,
            value("uint", "scan.width", "Frame width", "pixels"),
            value("uint", "scan.height", "Frame height", "pixels"),
            value("uint", "scan.left", "First column"),
            value("uint", "scan.top", "First row"),
            value("uint", "scan.right", "Last column"),
            value("uint", "scan.bottom", "Last row"),
            unused_int,
            value("uint", "scan.dwell", "Dwell time", "ns"),
        },
        reply = { result } },
    ScStopScan = { command = {} },
    StgGetPosition = { command = {}, reply = position },
    StgMoveTo = { command = position },
    ScData = {
        data = { unused_uint, unused_int,
                 value("uint", "scan.first", "First pixel"), unused_int, unused_uint } },
}

microscope.fields = fields
microscope.experts = expert_fields

-- Readers return the value, the bytes it takes, and the bytes that hold it; nil where the body ends
-- too early. A problem is the name of an expert remark.

local readers = {}

function readers.int(tvb, at)
    if tvb:len() - at >= 4 then
        return tvb(at, 4):le_int(), 4, tvb(at, 4)
    end
end

function readers.uint(tvb, at)
    if tvb:len() - at >= 4 then
        return tvb(at, 4):le_uint(), 4, tvb(at, 4)
    end
end

local function from_latin1(text)
    return (text:gsub("[\128-\255]", function(letter)
        local code = letter:byte()
        return string.char(0xC0 + math.floor(code / 64), 0x80 + code % 64)
    end))
end

function readers.string(tvb, at)
    local length = readers.uint(tvb, at)
    if not length or length > tvb:len() - at - 4 then
        return nil
    end
    local raw = length > 0 and tvb:raw(at + 4, length) or ""
    local text = raw:match("^[^%z]*")
    local problem = (length % 4 ~= 0 or #text == #raw) and "text" or nil
    return from_latin1(text), 4 + length, tvb(at, 4 + length), problem
end

local nan = -(0 / 0) -- the division's has a sign
local words = { inf = math.huge, ["+inf"] = math.huge, ["-inf"] = -math.huge, nan = nan,
                ["-nan"] = nan }

function readers.real(tvb, at)
    local text, bytes, range, problem = readers.string(tvb, at)
    if not text then
        return nil
    end
    local number = words[text:lower()]
        or text:match("^[%d%s.eE+-]+$") and tonumber(text) -- no hexadecimal numbers
    if not number then
        return 0, bytes, range, problem or "number", text
    end
    local finite = number == number and number ~= math.huge and number ~= -math.huge
    return number, bytes, range, problem or not finite and "finite" or nil
end

local function shown(number)
    return type(number) == "number" and string.format("%.7g", number)
        or '"' .. tostring(number):gsub("\n", " ") .. '"'
end

-- Adds the values of a body to the tree. Returns where the values end, or nil if they do not fit,
-- and the values as text.
local function add_values(tvb, at, values, tree)
    local texts = {}
    for _, entry in ipairs(values) do
        local read, bytes, range, problem, text = readers[entry.kind](tvb, at)
        if read == nil then
            return nil, texts
        end
        local item
        if entry.kind == "string" or entry.kind == "real" then
            item = tree:add(entry.field, range, read)
        else
            item = tree:add_le(entry.field, range)
        end
        item:append_text(entry.unit .. (text and ' from "' .. text .. '"' or ""))
        if problem then
            item:add_proto_expert_info(expert_fields[problem])
        end
        texts[#texts + 1] = shown(read)
        at = at + bytes
    end
    return at, texts
end

-- Replies and their commands ------------------------------------------------------------------------

local stream_of, time_of = Field.new("tcp.stream"), Field.new("frame.time_epoch")
local sequence_of, length_in = Field.new("tcp.seq"), Field.new("tcp.len")
local waiting, matched = {}, {}
local servers = {} -- by stream: the port that accepted the connection
local understood = {} -- by stream: the first frame with a known name
local ends, continued = {}, {} -- where messages end that were not captured whole
local lost, out_of_step = {}, {} -- by direction: a header was not captured; the frames behind it

function microscope.init()
    waiting, matched, servers, understood, ends, continued = {}, {}, {}, {}, {}, {}
    lost, out_of_step = {}, {}
end

local function key_of(tvb, pinfo)
    return string.format("%d:%d:%d", pinfo.number, tvb:offset(), tvb:len())
end

-- The oldest command of the queue, unless the microscope has gone past that without answering it.
-- Neighbouring replies may come in each other's place.
local function take_asked(asked, queue)
    while queue[2] and (queue[1].overtaken > 1
            or queue[1].overtaken == 1 and queue[2].number > queue[1].overtaken_after) do
        table.remove(queue, 1)
    end
    local found = table.remove(queue, 1)
    for _, others in pairs(asked.queues) do
        for _, other in ipairs(others) do
            if other.number >= found.number then
                break
            end
            other.overtaken = other.overtaken + 1
            other.overtaken_after = other.overtaken_after or asked.sent
        end
        while others[1] and others[1].overtaken > most_overtaken do
            table.remove(others, 1)
        end
    end
    return found
end

-- Works out on the first pass which reply belongs to which command.
local function match(tvb, pinfo, name, is_command)
    local key = key_of(tvb, pinfo)
    local stream = stream_of()
    if pinfo.visited or not stream then
        return matched[key]
    end
    local asked = waiting[stream.value] or { sent = 0, queues = {} }
    waiting[stream.value] = asked
    local queue = asked.queues[name] or {}
    asked.queues[name] = queue
    if is_command then
        asked.sent = asked.sent + 1
        queue[#queue + 1] = { key = key, frame = pinfo.number, time = time_of().value,
                              number = asked.sent, overtaken = 0 }
    elseif queue[1] then
        local command = take_asked(asked, queue)
        matched[key] = { frame = command.frame, time = time_of().value - command.time }
        matched[command.key] = { frame = pinfo.number }
    end
    return matched[key]
end

local function add_match(tree, pinfo, found, is_command, is_expected)
    if not found then
        if not is_command then
            tree:add_proto_expert_info(expert_fields.unasked)
        elseif is_expected and pinfo.visited then
            tree:add_proto_expert_info(expert_fields.unanswered)
        end
        return
    end
    tree:add(is_command and header.reply_in or header.command_in, found.frame):set_generated()
    if found.time then
        tree:add(header.time, found.time):set_generated()
    end
end

-- One message ---------------------------------------------------------------------------------------

-- Returns the name, and whether it is a word.
local function name_at(tvb, at)
    local field = tvb:raw(at, name_bytes)
    return from_latin1(field:match("^[^%z]*")), field:find("^[!-~]+%z*$") ~= nil
end

-- What is no word, or begins in the middle of something, is believed if its size can be.
local function is_header(tvb, at, pinfo)
    local name, is_word = name_at(tvb, at)
    local stream = stream_of()
    local first = stream and understood[stream.value]
    if messages[name] then
        if stream and not first then
            understood[stream.value] = pinfo.number
        end
        return true
    end
    local in_step = is_word and first and first <= pinfo.number
    return tvb(at + 16, 4):le_uint() <= (in_step and largest_body or largest_odd_body)
end

local function add_header(tvb, tree, name)
    tree:add(header.name, tvb(0, name_bytes), name)
    tree:add_le(header.size, tvb(16, 4))
    tree:add(header.flags, tvb(25, 1))
    for _, range in ipairs({ tvb(20, 5), tvb(26, 6) }) do
        if range:bytes():tohex():find("[^0]") then
            tree:add(header.rest, range)
        end
    end
end

local function add_scan_data(tvb, size, tree)
    local at, texts = add_values(tvb, header_bytes, messages.ScData.data, tree)
    if not at then
        return nil, "without its place"
    end
    local pixels, captured = size - scan_head_bytes, tvb:len() - at
    tree:add(header.pixels, pixels):set_generated()
    tree:add(header.captured, captured):set_generated()
    if captured > 0 then
        tree:add(header.body, tvb(at))
    end
    return at + captured, string.format("%d pixels from %s", pixels, texts[3])
end

-- Returns the message in short.
local function add_body(tvb, pinfo, name, size, from_microscope, tree)
    local known = messages[name]
    local is_data = known and known.data and from_microscope
    local values = known and (is_data and known.data or known[from_microscope and "reply" or "command"])
    local body = tvb:len() > header_bytes and tvb(header_bytes) or nil
    if not values then
        if not (known and known.command) then
            tree:add_proto_expert_info(expert_fields.unknown,
                (from_microscope and "No reply is called " or "No command is called ") .. name)
        end
        if body then
            tree:add(header.body, body)
        end
        return string.format("%s, %d bytes", name, size)
    end
    local at, short
    if is_data then
        at, short = add_scan_data(tvb, size, tree)
    else
        local texts
        at, texts = add_values(tvb, header_bytes, values, tree)
        short = table.concat(texts, " ")
    end
    local cut = tvb:len() < header_bytes + size -- by the capture
    if size <= largest_body and not cut and at ~= tvb:len() then
        tree:add_proto_expert_info(expert_fields.size, string.format(
            "%s with a body of %d bytes, which its values do not %s", name, size,
            at and "fill" or "fit"))
        if body then
            tree:add(header.body, body)
        end
    end
    return short == "" and name or name .. " " .. short
end

-- Bytes that are no message.
local function add_other(tvb, root, what, problem)
    local text = string.format(what, tvb:reported_len())
    local tree = root:add(microscope, tvb(), "Microscope, " .. text)
    if tvb:len() > 0 then
        tree:add(header.stray, tvb())
    end
    if problem then
        tree:add_proto_expert_info(problem)
    end
    return text
end

local function add_message(tvb, pinfo, root, from_microscope)
    if tvb:len() < header_bytes and tvb:reported_len() >= header_bytes then
        return add_other(tvb, root, "%d bytes, not captured")
    end
    if tvb:len() < header_bytes or not is_header(tvb, 0, pinfo) then
        local stream = stream_of()
        if stream and not understood[stream.value] and not servers[stream.value] then
            return add_other(tvb, root, "%d bytes of a message that began before the capture")
        end
        return add_other(tvb, root, "%d bytes outside a message", expert_fields.stray)
    end
    local name, is_word = name_at(tvb, 0)
    local size = tvb(16, 4):le_uint()
    local tree = root:add(microscope, tvb())
    add_header(tvb, tree, name)
    if not is_word then
        tree:add_proto_expert_info(expert_fields.odd_name)
    end
    if size > largest_body then
        tree:add_proto_expert_info(expert_fields.huge, string.format("Announces %d bytes", size))
    end
    local is_data = from_microscope and messages[name] and messages[name].data
    if not is_data then
        tree:add(from_microscope and header.reply or header.command, true):set_generated()
    end
    local short = add_body(tvb, pinfo, name, size, from_microscope, tree)
    local kind = is_data and "data" or from_microscope and "reply" or "command"
    tree:set_text(string.format("Microscope, %s: %s", kind, short))
    if not is_data then
        local found = match(tvb, pinfo, name, not from_microscope)
        add_match(tree, pinfo, found, not from_microscope, messages[name] and messages[name].reply)
    end
    return kind == "reply" and short .. " (reply)" or short
end

-- The stream ----------------------------------------------------------------------------------------

local function length_of(tvb, pinfo, offset)
    local rest = tvb:reported_len() - offset
    local size = tvb(offset + 16, 4):le_uint()
    if size > largest_body or not is_header(tvb, offset, pinfo) then
        return math.max(rest, header_bytes) -- nobody knows where the next one begins
    end
    return header_bytes + size
end

local is_ours = {} -- the ports of the preference

local function read_ports(range)
    is_ours = {}
    for first, last in tostring(range):gmatch("(%d+)%-?(%d*)") do
        for port = tonumber(first), tonumber(last) or tonumber(first) do
            is_ours[port] = true
        end
    end
end

-- "Decode As" may name either end's port.
local function comes_from_microscope(pinfo, stream)
    local server = stream and servers[stream.value]
        or is_ours[pinfo.match_uint] and pinfo.match_uint
        or math.min(pinfo.src_port, pinfo.dst_port)
    return pinfo.src_port == server
end

local opening, is_accepted = Listener.new("frame", "tcp.flags.syn == 1"), Field.new("tcp.flags.ack")

function opening.packet(pinfo)
    local stream = stream_of()
    if stream then
        servers[stream.value] = is_accepted().value and pinfo.src_port or pinfo.dst_port
    end
end

-- TCP puts no message together of segments that were captured in part: how much of this one belongs to
-- a message that began before it.
local function continued_bytes(tvb, pinfo, direction)
    local length, sequence = length_in(), sequence_of()
    if not pinfo.visited and ends[direction] and length and length.value == tvb:reported_len() then
        local left = (ends[direction] - sequence.value) % 0x100000000
        continued[pinfo.number] = left <= largest_body and math.min(left, length.value) or nil
    end
    return length and length.value == tvb:reported_len() and continued[pinfo.number] or 0
end

-- Whether a header before this segment was not captured, and it begins with none that is known.
local function is_out_of_step(tvb, pinfo, direction)
    if not pinfo.visited and lost[direction] then
        lost[direction] = tvb:len() < header_bytes or not messages[name_at(tvb, 0)]
        out_of_step[pinfo.number] = lost[direction]
    end
    return out_of_step[pinfo.number]
end

function microscope.dissector(tvb, pinfo, root)
    local stream = stream_of()
    local from_microscope = comes_from_microscope(pinfo, stream)
    local direction = (stream and stream.value or "") .. (from_microscope and "<" or ">")
    local texts = {}
    pinfo.cols.protocol = "Microscope"
    local function show(text)
        texts[#texts + 1] = text
        pinfo.cols.info:set(table.concat(texts, " | "))
    end
    local function dissect(message)
        if message:len() < header_bytes and not pinfo.visited then
            lost[direction] = message:len() < message:reported_len()
        end
        show(add_message(message, pinfo, root, from_microscope))
        return message:len()
    end
    local function measured(part, _, offset)
        local length = length_of(part, pinfo, offset)
        local beyond = length - (part:reported_len() - offset)
        if beyond > 0 and part:len() < part:reported_len() and not pinfo.visited then
            ends[direction] = sequence_of().value + length_in().value + beyond
        end
        return length
    end
    local skipped = continued_bytes(tvb, pinfo, direction)
    if skipped > 0 then
        show(add_other(tvb(0, math.min(skipped, tvb:len())):tvb(), root,
            string.format("continuation, %d bytes", skipped)))
    end
    if skipped < tvb:reported_len() and skipped >= tvb:len() then
        lost[direction] = true
    elseif skipped == 0 and is_out_of_step(tvb, pinfo, direction) then
        show(add_other(tvb, root, "%d bytes behind a header that was not captured"))
    elseif skipped < tvb:len() then
        local rest = skipped > 0 and tvb(skipped):tvb() or tvb
        local good, problem = pcall(dissect_tcp_pdus, rest, root, header_bytes, measured, dissect)
        if not good then
            if tvb:len() == tvb:reported_len() then
                error(problem)
            end
            -- a header lies behind what was captured of the packet
            lost[direction] = true
            root:add(microscope, rest(), "Microscope, the rest was not captured")
        end
        if skipped > 0 and pinfo.desegment_len ~= 0 then
            pinfo.desegment_offset = pinfo.desegment_offset + skipped
        end
    end
    pinfo.cols.info:fence()
end

local ports = DissectorTable.get("tcp.port")
local registered = microscope.prefs.ports
read_ports(registered)
ports:add(registered, microscope)
ports:add_for_decode_as(microscope)

function microscope.prefs_changed()
    if registered ~= microscope.prefs.ports then
        ports:remove(registered, microscope)
        registered = microscope.prefs.ports
        ports:add(registered, microscope)
        read_ports(registered)
    end
end
