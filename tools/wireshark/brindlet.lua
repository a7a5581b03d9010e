-- What a Brindlet box and its routers say to each other, for Wireshark and tshark: the commands on TCP 55000, 55100 and
-- 49190, and the heartbeats on UDP 60001 and 60002. docs/protocol.md tells what it all means; the README beside this file, how
-- to install it.
--
-- A message is read as the box reads what comes to it: what it takes is shown as fields, what it skips as bytes, and why
-- as expert information. Nothing here reads beyond what was captured, whatever a message claims.

-- Where the box listens; and where the updater does, whom the box dials.
local kBoxPorts = {55000, 55100}
local kUpdaterPort = 49190
local kHeartbeatPorts = {60001, 60002}
local kHeaderSize = 8
local kMaxLength = 16 * 1024 * 1024
local kDeskCommand = 5

-- What isn't known is believed to be a message only where the next known one, or the end of what is there, follows on at
-- most so many of them, of no more bytes each: behind a lost segment any bytes may stand where a header should.
local kMostUnknown = 8
local kMaxUnknownLength = 4096

local kHeartbeatSize = 12
local kBoxType = 2

-- Wireshark gives a frame up whose tree has a million items; a message may have more entries than that.
local kMaxEntriesShown = 4096

-- A text longer than this isn't repeated in the summary of its message.
local kMaxTextInSummary = 32

local kNone = {[0xFFFFFFFF] = "none"}
local kLinks = {[0] = "primary", [1] = "secondary"}
local kRates = {[0] = "48 kHz", [1] = "96 kHz", [2] = "44.1 kHz", [3] = "88.2 kHz"}
local kOffOn = {[0] = "off"}
local kDeviceTypes = {[1] = "router", [2] = "box", [5] = "router that has to claim", [6] = "router"}
local kAudioPorts = {}
for output, audioPort in ipairs({7, 6, 5, 4, 2, 3, 0, 1}) do
    kAudioPorts[audioPort] = "output port " .. output - 1
end
for other = 1, 255 do
    kOffOn[other] = "on"
end

local function HexWord(abbreviation, name, texts)
    return ProtoField.uint32(abbreviation, name, base.HEX, texts)
end

local function CentiBel(make, abbreviation, name)
    return make(abbreviation, name, base.UNIT_STRING, {" cB"})
end

-- The commands

local klv = Proto("brindlet", "Brindlet KLV")

local kTypeTexts = {[kDeskCommand] = "command"}
local kCommandTexts = {
    [800] = "IoInfoReq", [801] = "IoInfo", [802] = "IoSetInputParams", [806] = "IoActiveRouter",
    [807] = "IoActiveAudio", [808] = "IoSetOutputGain", [815] = "PortBitmapCmd", [816] = "IoOutputMuteCmd",
    [874] = "IoSampleRateCapabilities", [875] = "IoSetSampleRateCmd", [891] = "IoSyncSwap", [892] = "IoSyncFail",
}

local header = {
    message = ProtoField.none("brindlet.message", "Message"),
    key = ProtoField.uint32("brindlet.key", "Key", base.HEX),
    type = ProtoField.uint32("brindlet.type", "Type", base.DEC, kTypeTexts, 0xF8000000),
    revision = ProtoField.uint32("brindlet.revision", "Revision", base.DEC, nil, 0x07C00000),
    id = ProtoField.uint32("brindlet.id", "Command", base.DEC, kCommandTexts, 0x003FFFFF),
    length = ProtoField.uint32("brindlet.length", "Length", base.UNIT_STRING, {" byte", " bytes"}),
    raw = ProtoField.bytes("brindlet.raw", "Bytes not decoded"),
    textLength = ProtoField.uint32("brindlet.text_length", "Length of text", base.UNIT_STRING, {" byte", " bytes"}),
    count = ProtoField.uint32("brindlet.count", "Number of entries", base.DEC),
    entry = ProtoField.none("brindlet.entry", "Entry"),
}

local function Enable(name, label, mask)
    return ProtoField.bool("brindlet.enables." .. name, label, 8, {"meant", "not meant by this bit"}, mask)
end

-- The gain is meant, with operating level and headroom, where any of three bits is set.
local enables = {
    Enable("gain0", "Gain, level and headroom", 0x01),
    Enable("phantom_power", "Phantom power", 0x04),
    Enable("gain3", "Gain, level and headroom", 0x08),
    Enable("impedance", "Impedance", 0x10),
    Enable("gain5", "Gain, level and headroom", 0x20),
    ProtoField.uint8("brindlet.enables.other", "Without meaning", base.HEX, nil, 0xC2),
}

local function Meant(value)
    local parts = {}
    if value % 2 >= 1 or math.floor(value / 8) % 2 >= 1 or math.floor(value / 32) % 2 >= 1 then
        parts[#parts + 1] = "gain"
    end
    if math.floor(value / 4) % 2 >= 1 then
        parts[#parts + 1] = "phantom power"
    end
    if math.floor(value / 16) % 2 >= 1 then
        parts[#parts + 1] = "impedance"
    end
    return "meant: " .. (#parts > 0 and table.concat(parts, " and ") or "nothing")
end

-- What a field is in Wireshark, its width in bytes, and how its message's summary tells of it:
-- `brief` names it there, `signed`, `texts` and `unit` say how its value is written; `tell` writes all of that.
local fields = {
    hid = {pf = HexWord("brindlet.hid", "HID"), width = 4},
    flags = {pf = ProtoField.uint8("brindlet.flags", "Flags", base.HEX), width = 1},
    port = {pf = ProtoField.uint16("brindlet.port", "Port", base.DEC), width = 2, brief = "port"},
    gain = {pf = CentiBel(ProtoField.int32, "brindlet.gain", "Gain"), width = 4, brief = "gain", signed = true,
            unit = " cB"},
    reserved = {pf = ProtoField.uint8("brindlet.reserved", "Reserved", base.HEX), width = 1},
    phantomPower = {pf = ProtoField.uint8("brindlet.phantom_power", "Phantom power", base.DEC, kOffOn), width = 1,
                    brief = "phantom power", texts = kOffOn},
    operatingLevel = {pf = CentiBel(ProtoField.int16, "brindlet.operating_level", "Operating level"), width = 2},
    impedance = {pf = ProtoField.int16("brindlet.impedance", "Impedance", base.DEC), width = 2},
    micHeadroom = {pf = CentiBel(ProtoField.int16, "brindlet.mic_headroom", "Microphone headroom"), width = 2},
    enables = {pf = ProtoField.uint8("brindlet.enables", "Enables", base.HEX), width = 1, bits = enables,
               tell = Meant},
    link = {pf = ProtoField.uint16("brindlet.link", "Link", base.DEC, kLinks), width = 2,
            brief = "link", texts = kLinks},
    first = {pf = HexWord("brindlet.first", "First endpoint's HID", kNone), width = 4},
    firstPort = {pf = ProtoField.uint16("brindlet.first_port", "First endpoint's port", base.DEC), width = 2},
    second = {pf = HexWord("brindlet.second", "Second endpoint's HID", kNone), width = 4},
    secondPort = {pf = ProtoField.uint16("brindlet.second_port", "Second endpoint's port", base.DEC), width = 2},
    audioPort = {pf = ProtoField.uint16("brindlet.audio_port", "Audio port", base.DEC, kAudioPorts), width = 2,
                 brief = "audio port"},
    srcHid = {pf = HexWord("brindlet.src_hid", "Source's HID"), width = 4},
    route = {pf = ProtoField.uint8("brindlet.route", "Route", base.DEC, kLinks), width = 1, brief = "route",
             texts = kLinks},
    mute = {pf = ProtoField.uint8("brindlet.mute", "Mute", base.DEC, kOffOn), width = 1,
            brief = "mute", texts = kOffOn},
    currentRate = {pf = ProtoField.uint32("brindlet.current_rate", "Present rate", base.DEC, kRates), width = 4,
                   brief = "at", texts = kRates},
    rates = {pf = ProtoField.uint32("brindlet.rates", "Rate", base.DEC, kRates), width = 4},
    rate = {pf = ProtoField.uint8("brindlet.rate", "Rate", base.DEC, kRates), width = 1,
            brief = "rate", texts = kRates},
    parameter = {pf = HexWord("brindlet.parameter", "Parameter"), width = 4},
    wait = {pf = ProtoField.uint32("brindlet.wait_ms", "Wait", base.UNIT_STRING, {" ms"}), width = 4, brief = "wait",
            unit = " ms"},
}
for number = 1, 5 do
    local name = number == 1 and "Text 1 (model)" or "Text " .. number
    fields["text" .. number] = {pf = ProtoField.string("brindlet.text" .. number, name), isText = true,
                                brief = number == 1 and "model" or nil}
end

for name, field in pairs(fields) do
    field.name = name:gsub("%u", function(letter) return "_" .. letter:lower() end)
end

-- A list of entries of one field has them as plain items; of several, as subtrees. The least width is what the box
-- holds the count against before it reads an entry.
local function List(least, ...)
    local list = {entries = {...}, least = least, width = 0}
    for _, field in ipairs(list.entries) do
        list.width = list.width + field.width
    end
    return list
end

-- What the box sends and nobody sends to it.
local kFromBox = {[801] = true, [807] = true, [874] = true}

-- The fields of each, in wire order.
local kCommands = {
    [800] = {},
    [801] = {fields.hid, fields.flags, fields.text1, fields.text2, fields.text3, fields.text4, fields.text5},
    [802] = {fields.hid, fields.port, fields.gain, fields.reserved, fields.phantomPower, fields.operatingLevel,
             fields.impedance, fields.micHeadroom, fields.enables},
    [806] = {},
    [807] = {fields.hid, fields.link},
    [808] = {fields.hid, fields.port, fields.gain},
    [815] = {fields.hid, fields.first, fields.firstPort, fields.second, fields.secondPort,
             List(2, fields.audioPort, fields.srcHid, fields.route)},
    [816] = {fields.hid, fields.port, fields.mute},
    [874] = {fields.hid, fields.currentRate, List(4, fields.rates)},
    [875] = {fields.rate, fields.parameter, fields.wait},
    [891] = {fields.hid},
    [892] = {},
}

local kWarn, kError, kNote = expert.severity.WARN, expert.severity.ERROR, expert.severity.NOTE
local kMalformed, kUndecoded = expert.group.MALFORMED, expert.group.UNDECODED
local experts = {
    fieldPastEnd = ProtoExpert.new("brindlet.field_past_end", "A field passes the message's end", kMalformed, kError),
    countTooBig = ProtoExpert.new("brindlet.count_too_big", "A count is more than the message can hold", kMalformed,
                                  kError),
    bytesBehind = ProtoExpert.new("brindlet.bytes_behind", "Bytes behind the last field", kMalformed, kWarn),
    lengthTooBig = ProtoExpert.new("brindlet.length_too_big", "The announced length is above 16 MiB", kMalformed,
                                   kError),
    unknownType = ProtoExpert.new("brindlet.unknown_type", "Unknown type of message", kUndecoded, kWarn),
    unknownCommand = ProtoExpert.new("brindlet.unknown_command", "Unknown command", kUndecoded, kWarn),
    wrongWay = ProtoExpert.new("brindlet.wrong_way", "Only a box sends this; the box skips it unread", kUndecoded, kWarn),
    outOfStep = ProtoExpert.new("brindlet.out_of_step", "No message is known to begin here: a segment is missing or out of " ..
        "order, the capture begins within a message, or the sender is at fault", kUndecoded, kWarn),
    cutShort = ProtoExpert.new("brindlet.cut_short", "The message isn't whole here", expert.group.REASSEMBLE, kNote),
    notShown = ProtoExpert.new("brindlet.not_shown", "More entries than are shown", kUndecoded, kNote),
}

do
    local all = {}
    for _, field in pairs(header) do
        all[#all + 1] = field
    end
    for _, bit in ipairs(enables) do
        all[#all + 1] = bit
    end
    for _, field in pairs(fields) do
        all[#all + 1] = field.pf
    end
    klv.fields = all
    klv.experts = experts
end

local function Plural(count, singular, plural)
    return string.format("%d %s", count, count == 1 and singular or plural)
end

local function KeyParts(key)
    return math.floor(key / 2 ^ 27), math.floor(key / 2 ^ 22) % 32, key % 2 ^ 22
end

-- A value that is being read: `tvb` and `position` are where, `stop` is where the value ends, `captured` what there is
-- of it. `failed` once something didn't fit, and then all reads fail.
local Reader = {}
Reader.__index = Reader

function Reader:Left()
    return self.stop - self.position
end

-- The next bytes, or nil where the value doesn't hold them; `tree` gets the reason.
function Reader:Take(size, tree, what)
    if self.failed then
        return nil
    end
    if size > self:Left() then
        self.failed = true
        self.isMalformed = true
        tree:add_proto_expert_info(experts.fieldPastEnd,
            string.format("%s takes %s, of which the message has %d", what,
                          Plural(size, "byte", "bytes"), self:Left()))
        return nil
    end
    if self.position + size > self.captured then
        self.failed = true
        return nil
    end
    local range = size > 0 and self.tvb(self.position, size) or nil
    self.position = self.position + size
    return range, true
end

local function Brief(field, value)
    local text = field.texts and field.texts[value]
    if not text then
        text = string.format("%d", value) .. (field.unit or "")
    end
    return field.brief .. " " .. text
end

function Reader:ReadText(field, tree, summary)
    local lengthRange = self:Take(4, tree, "The length of " .. field.name)
    if not lengthRange then
        return
    end
    local length = lengthRange:le_uint()
    tree:add_le(header.textLength, lengthRange)
    local range, isThere = self:Take(length, tree, "The text " .. field.name)
    if not isThere then
        return
    end
    if not range then
        tree:add(field.pf, lengthRange, "")
        return
    end
    tree:add_packet_field(field.pf, range, ENC_UTF_8)
    if field.brief and length <= kMaxTextInSummary then
        -- The column would end at a NUL.
        summary[#summary + 1] = field.brief .. " " .. range:string(ENC_UTF_8):gsub("%c", ".")
    end
end

function Reader:ReadNumber(field, tree, summary)
    local range = self:Take(field.width, tree, "The field " .. field.name)
    if not range then
        return
    end
    local item = tree:add_le(field.pf, range)
    for _, bit in ipairs(field.bits or {}) do
        item:add_le(bit, range)
    end
    if field.tell then
        summary[#summary + 1] = field.tell(range:le_uint())
    elseif field.brief then
        summary[#summary + 1] = Brief(field, field.signed and range:le_int() or range:le_uint())
    end
end

function Reader:ReadEntry(list, tree)
    if #list.entries == 1 then
        self:ReadNumber(list.entries[1], tree, {})
        return
    end
    local start = self.position
    if start >= self.captured then
        self:Take(list.width, tree, "An entry")
        return
    end
    local item = tree:add(header.entry, self.tvb(start, math.min(self.captured - start, list.width)))
    local summary = {}
    for _, field in ipairs(list.entries) do
        self:ReadNumber(field, item, summary)
    end
    item:append_text(": " .. table.concat(summary, ", "))
end

function Reader:ReadList(list, tree, summary)
    local range = self:Take(4, tree, "The number of entries")
    if not range then
        return
    end
    local count = range:le_uint()
    local item = tree:add_le(header.count, range)
    if count > math.floor(self:Left() / list.least) then
        self.failed = true
        self.isMalformed = true
        item:add_proto_expert_info(experts.countTooBig,
            string.format("%.0f entries are more than %s can hold", count,
                          Plural(self:Left(), "byte", "bytes")))
        return
    end
    for _ = 1, math.min(count, kMaxEntriesShown) do
        self:ReadEntry(list, tree)
        if self.failed then
            return
        end
    end
    summary[#summary + 1] = Plural(count, "entry", "entries")
    self:SkipEntries(list, count - kMaxEntriesShown, tree)
end

-- Those that are too many to be shown: `count` of them, none where it isn't positive.
function Reader:SkipEntries(list, count, tree)
    if count <= 0 then
        return
    end
    tree:add_proto_expert_info(experts.notShown, string.format("%d more entries aren't shown", count))
    local whole = math.min(count, math.floor(self:Left() / list.width))
    self:Take(whole * list.width, tree, "The entries")
    if whole < count then
        self:Take(list.width, tree, "An entry")
    end
end

function Reader:ReadFields(command, tree, summary)
    for _, field in ipairs(command) do
        if self.failed then
            return
        end
        if field.isText then
            self:ReadText(field, tree, summary)
        elseif field.entries then
            self:ReadList(field, tree, summary)
        else
            self:ReadNumber(field, tree, summary)
        end
    end
end

-- What of the value no field has taken.
function Reader:ShowRest(tree)
    if self.position < self.captured then
        return tree:add(header.raw, self.tvb(self.position, self.captured - self.position))
    end
    return tree
end

local function ShowValue(reader, command, type, tree, summary)
    if not command then
        local what = type == kDeskCommand and experts.unknownCommand or experts.unknownType
        reader:ShowRest(tree):add_proto_expert_info(what)
        return
    end
    reader:ReadFields(command, tree, summary)
    local rest = reader:ShowRest(tree)
    if reader:Left() > 0 and not reader.failed then
        reader.isMalformed = true
        rest:add_proto_expert_info(experts.bytesBehind,
            string.format("%s behind the last field", Plural(reader:Left(), "byte", "bytes")))
    end
end

local function ShowHeader(tvb, offset, tree)
    local key = tree:add_le(header.key, tvb(offset, 4))
    key:add_le(header.type, tvb(offset, 4))
    key:add_le(header.revision, tvb(offset, 4))
    key:add_le(header.id, tvb(offset, 4))
    return tree:add_le(header.length, tvb(offset + 4, 4))
end

local function NameOf(type, id)
    if type ~= kDeskCommand then
        return string.format("Unknown type %d", type), nil
    end
    return kCommandTexts[id] or string.format("Unknown command %d", id), kCommands[id]
end

local function IsToBox(pinfo)
    for _, port in ipairs(kBoxPorts) do
        if pinfo.dst_port == port then
            return true
        end
    end
    return pinfo.src_port == kUpdaterPort
end

-- One message, of which the header at least is there; `length` of the value as announced. Gives its summary.
local function ShowMessage(tvb, pinfo, offset, length, tree)
    local type, _, id = KeyParts(tvb(offset, 4):le_uint())
    local name, command = NameOf(type, id)
    local captured = math.min(tvb:len(), offset + kHeaderSize + length)
    local item = tree:add(header.message, tvb(offset, captured - offset))
    item:set_text("Message: " .. name)
    ShowHeader(tvb, offset, item)
    if command and kFromBox[id] and IsToBox(pinfo) then
        item:add_proto_expert_info(experts.wrongWay)
    end
    local reader = setmetatable({tvb = tvb, position = offset + kHeaderSize, captured = captured,
                                 stop = offset + kHeaderSize + length}, Reader)
    local summary = {}
    ShowValue(reader, command, type, item, summary)
    if captured < reader.stop then
        item:add_proto_expert_info(experts.cutShort, string.format("Of the value %.0f of %.0f bytes are there",
            captured - offset - kHeaderSize, length))
        summary[#summary + 1] = "not whole"
    end
    if reader.isMalformed then
        summary[#summary + 1] = "malformed"
    end
    local details = table.concat(summary, ", ")
    if details ~= "" then
        item:append_text(", " .. details)
        return name .. " (" .. details .. ")"
    end
    return name
end

local function LengthAt(tvb, offset)
    return tvb(offset + 4, 4):le_uint()
end

local function IsKnown(tvb, offset)
    local type, _, id = KeyParts(tvb(offset, 4):le_uint())
    return type == kDeskCommand and kCommands[id] ~= nil
end

-- A header that ends the stream, as the box closes it; with luck what is behind begins another.
local function ShowBrokenHeader(tvb, offset, tree)
    local item = tree:add(header.message, tvb(offset, kHeaderSize))
    item:set_text("Header that announces too much")
    ShowHeader(tvb, offset, item):add_proto_expert_info(experts.lengthTooBig,
        string.format("%.0f bytes are announced, and 16,777,216 are the most", LengthAt(tvb, offset)))
end

-- Where the next header of a known command begins, from `offset` on; nil where none is there as a whole.
local function NextKnown(tvb, offset)
    if tvb:len() - offset < kHeaderSize then
        return nil
    end
    local bytes = tvb:raw(offset)
    local position = 1
    while true do
        -- All known ids have the same second byte, and type and revision share the last two.
        position = bytes:find(".\x03[\0\x40\x80\xC0][\x28-\x2F]", position)
        if not position or position + kHeaderSize - 1 > #bytes then
            return nil
        end
        local found = offset + position - 1
        if IsKnown(tvb, found) and LengthAt(tvb, found) <= kMaxLength then
            return found
        end
        position = position + 1
    end
end

-- Whether what is unknown here may be a message that the box skips, and whether more is needed to tell.
local function LeadsOn(tvb, offset)
    local known = NextKnown(tvb, offset + 1)
    for _ = 1, kMostUnknown do
        local length = LengthAt(tvb, offset)
        offset = offset + kHeaderSize + length
        if length > kMaxUnknownLength or known and offset > known then
            return false, false
        end
        if offset == known or tvb:len() - offset < kHeaderSize then
            return true, offset > tvb:reported_len()
        end
    end
    return false, false
end

-- Asks for more of the stream, from `offset` on; false where Wireshark has been told not to put segments together, or
-- can't.
local function AskForMore(pinfo, offset, missing)
    if pinfo.can_desegment == 0 then
        return false
    end
    pinfo.desegment_offset = offset
    pinfo.desegment_len = missing
    return true
end

-- What begins at `offset`: a "message", with its length; a "broken" header; "strange" bytes; the "part" of a header; or
-- nothing that can be said before there is "more" of the stream, which has been asked for.
local function Judge(tvb, pinfo, offset)
    local reported = tvb:reported_len() - offset
    if tvb:len() - offset < kHeaderSize then
        local isAsked = reported < kHeaderSize and AskForMore(pinfo, offset, DESEGMENT_ONE_MORE_SEGMENT)
        return isAsked and "more" or "part"
    end
    local length = LengthAt(tvb, offset)
    local isBelieved, wanted = true, math.max(0, kHeaderSize + length - reported)
    if not IsKnown(tvb, offset) then
        local isMoreNeeded
        isBelieved, isMoreNeeded = LeadsOn(tvb, offset)
        wanted = isMoreNeeded and DESEGMENT_ONE_MORE_SEGMENT or 0
    elseif length > kMaxLength then
        return "broken"
    end
    if wanted > 0 and AskForMore(pinfo, offset, wanted) then
        return "more"
    end
    return isBelieved and "message" or "strange", length
end

-- Shows bytes that are no message, and gives where to go on: at the next known header, or at what may be the beginning of
-- one that goes on in the next segment.
local function ShowStrangeBytes(tvb, pinfo, offset, tree)
    local stop = NextKnown(tvb, offset + 1)
    if not stop then
        stop = tvb:len()
        local tail = math.max(offset + 1, stop - kHeaderSize + 1)
        if tvb:len() == tvb:reported_len() and AskForMore(pinfo, tail, DESEGMENT_ONE_MORE_SEGMENT) then
            stop = tail
        end
    end
    tree:add(header.raw, tvb(offset, stop - offset)):add_proto_expert_info(experts.outOfStep)
    return stop, pinfo.desegment_len ~= 0
end

-- Shows what begins at `offset`. Gives its summary, and where to go on; or nil, where more of the stream is needed.
local function ShowNext(tvb, pinfo, offset, makeTree)
    local kind, length = Judge(tvb, pinfo, offset)
    if kind == "message" then
        return ShowMessage(tvb, pinfo, offset, length, makeTree()), offset + kHeaderSize + length
    elseif kind == "broken" then
        ShowBrokenHeader(tvb, offset, makeTree())
        return "Length above 16 MiB", offset + kHeaderSize
    elseif kind == "part" then
        makeTree():add(header.raw, tvb(offset)):add_proto_expert_info(experts.cutShort, "Part of a header")
        return "Part of a header", tvb:len()
    elseif kind == "strange" then
        local stop, isAsked = ShowStrangeBytes(tvb, pinfo, offset, makeTree())
        return "Bytes of no message", isAsked and tvb:len() or stop
    end
    return nil
end

function klv.dissector(tvb, pinfo, tree)
    local summaries = {}
    local subtree
    local function Tree()
        subtree = subtree or tree:add(klv, tvb())
        return subtree
    end

    local offset = 0
    while offset < tvb:len() do
        local summary, next = ShowNext(tvb, pinfo, offset, Tree)
        if not summary then
            break
        end
        summaries[#summaries + 1] = summary
        offset = next
    end
    if subtree then
        pinfo.cols.protocol = "Brindlet"
        -- A frame that ends one message and brings others is handed over twice, and keeps what was said first.
        local earlier = pinfo.private["brindlet"] and "; " or ""
        pinfo.private["brindlet"] = "shown"
        pinfo.cols.info = earlier .. table.concat(summaries, "; ")
    end
    return tvb:len()
end

-- The heartbeats

local heartbeat = Proto("brindlet_hb", "Brindlet heartbeat")

local beat = {
    hid = HexWord("brindlet_hb.hid", "Sender's HID"),
    deviceType = ProtoField.uint32("brindlet_hb.device_type", "Device type", base.DEC, kDeviceTypes),
    status = ProtoField.uint32("brindlet_hb.status", "Status", base.HEX),
    raw = ProtoField.bytes("brindlet_hb.raw", "Bytes not decoded"),
}
-- From bit 0 on.
local kStatusBits = {"Valid", "PSU0", "PSU1", "FAN", "RAIL48V", "RAIL15V0", "RAIL15V1", "MADIOK0", "MADIOK1", "DCOK",
                     "DCRANGE", "DCPROTECTION", "ACOK"}
local statusBits = {}
for number, name in ipairs(kStatusBits) do
    statusBits[number] = ProtoField.bool("brindlet_hb.status." .. name:lower(), name, 32, {"healthy", "not healthy"},
                                         2 ^ (number - 1))
end
local beatExperts = {
    size = ProtoExpert.new("brindlet_hb.wrong_size", "A heartbeat has 12 bytes", kMalformed, kError),
    cutShort = ProtoExpert.new("brindlet_hb.cut_short", "Not all of it was captured", expert.group.REASSEMBLE, kNote),
    unhealthy = ProtoExpert.new("brindlet_hb.not_healthy", "The box isn't healthy", expert.group.RESPONSE_CODE, kNote),
}

do
    local all = {beat.hid, beat.deviceType, beat.status, beat.raw}
    for _, bit in ipairs(statusBits) do
        all[#all + 1] = bit
    end
    heartbeat.fields = all
    heartbeat.experts = beatExperts
end

local function NotHealthy(status)
    local names = {}
    for number, name in ipairs(kStatusBits) do
        if math.floor(status / 2 ^ (number - 1)) % 2 == 0 then
            names[#names + 1] = name
        end
    end
    return table.concat(names, ", ")
end

-- The bits are the box's; what a router puts there has no meaning that anybody knows of. Gives what isn't healthy.
local function ShowStatus(range, deviceType, tree)
    local item = tree:add_le(beat.status, range)
    if deviceType ~= kBoxType then
        return ""
    end
    for _, bit in ipairs(statusBits) do
        item:add_le(bit, range)
    end
    local notHealthy = NotHealthy(range:le_uint())
    if notHealthy ~= "" then
        item:add_proto_expert_info(beatExperts.unhealthy, "Not healthy: " .. notHealthy)
    end
    return notHealthy
end

local function ShowStrange(tvb, pinfo, tree)
    local size = tvb:reported_len()
    if tvb:len() > 0 then
        tree:add(beat.raw, tvb())
    end
    tree:add_proto_expert_info(beatExperts.size,
        string.format("A heartbeat has 12 bytes; this has %d, and the box ignores it", size))
    pinfo.cols.info = string.format("No heartbeat: %s", Plural(size, "byte", "bytes"))
end

-- A capture may have less of a frame than was sent.
local function ShowCutShort(tvb, pinfo, tree)
    local summary = "Heartbeat"
    if tvb:len() >= 4 then
        tree:add_le(beat.hid, tvb(0, 4))
        summary = string.format("Heartbeat of 0x%x", tvb(0, 4):le_uint())
    end
    if tvb:len() >= 8 then
        tree:add_le(beat.deviceType, tvb(4, 4))
    end
    tree:add_proto_expert_info(beatExperts.cutShort)
    pinfo.cols.info = summary .. ", not whole"
end

function heartbeat.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "Brindlet-HB"
    local subtree = tree:add(heartbeat, tvb())
    if tvb:reported_len() ~= kHeartbeatSize then
        ShowStrange(tvb, pinfo, subtree)
        return tvb:len()
    end
    if tvb:len() < kHeartbeatSize then
        ShowCutShort(tvb, pinfo, subtree)
        return tvb:len()
    end
    local hid, deviceType = tvb(0, 4):le_uint(), tvb(4, 4):le_uint()
    subtree:add_le(beat.hid, tvb(0, 4))
    subtree:add_le(beat.deviceType, tvb(4, 4))
    local notHealthy = ShowStatus(tvb(8, 4), deviceType, subtree)
    local summary = string.format("Heartbeat of 0x%x, %s", hid,
                                  kDeviceTypes[deviceType] or string.format("device type %.0f", deviceType))
    pinfo.cols.info = notHealthy == "" and summary or summary .. ", not healthy: " .. notHealthy
    return tvb:len()
end

for _, port in ipairs(kBoxPorts) do
    DissectorTable.get("tcp.port"):add(port, klv)
end
DissectorTable.get("tcp.port"):add(kUpdaterPort, klv)
for _, port in ipairs(kHeartbeatPorts) do
    DissectorTable.get("udp.port"):add(port, heartbeat)
end
