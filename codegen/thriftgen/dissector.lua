-- The decoder: the binary protocol (strict and non-strict) and the compact
-- protocol, over the buffered transport (messages back to back in the TCP
-- stream) and the framed one (a four-byte length before each message).

-- The exception a processor answers with; its type by name.
contract.enums.TApplicationExceptionType = {
  [0] = "UNKNOWN", [1] = "UNKNOWN_METHOD", [2] = "INVALID_MESSAGE_TYPE", [3] = "WRONG_METHOD_NAME",
  [4] = "BAD_SEQUENCE_ID", [5] = "MISSING_RESULT", [6] = "INTERNAL_ERROR", [7] = "PROTOCOL_ERROR",
  [8] = "INVALID_TRANSFORM", [9] = "INVALID_PROTOCOL", [10] = "UNSUPPORTED_CLIENT_TYPE",
}
contract.records.TApplicationException = {
  {1, "message", "string", "What went wrong"},
  {2, "type", "TApplicationExceptionType", "The kind of failure"},
}

local NAME = contract.name
local MAX_SIZE = 16384000 -- the runtime's largest frame: a bigger size is forged
local MAX_DEPTH = 64
local MESSAGE_TYPES = { [1] = "call", [2] = "reply", [3] = "exception", [4] = "oneway" }
-- Wire types, as the binary protocol numbers them; the compact ones map onto them.
local WIRE_NAMES = { [2] = "bool", [3] = "byte", [4] = "double", [6] = "i16", [8] = "i32", [10] = "i64",
                     [11] = "string", [12] = "struct", [13] = "map", [14] = "set", [15] = "list" }
local COMPACT_TYPES = { [1] = 2, [2] = 2, [3] = 3, [4] = 6, [5] = 8, [6] = 10, [7] = 4, [8] = 11,
                        [9] = 15, [10] = 14, [11] = 13, [12] = 12 }
local DECLARED_WIRE = { bool = 2, i32 = 8, enum = 8, double = 4, string = 11, struct = 12, list = 15 }

local proto = Proto(NAME, contract.service .. " service")
local F = {
  transport = ProtoField.string(NAME .. ".transport", "Transport"),
  frame = ProtoField.uint32(NAME .. ".frame_length", "Frame length", base.DEC),
  protocol = ProtoField.string(NAME .. ".protocol", "Protocol"),
  type = ProtoField.string(NAME .. ".type", "Message type", base.ASCII,
                           "call, reply, exception or oneway"),
  call = ProtoField.string(NAME .. ".call", "Call"),
  seqid = ProtoField.int32(NAME .. ".seqid", "Sequence id", base.DEC),
  unknown = ProtoField.none(NAME .. ".unknown", "Field not in the contract"),
  list = ProtoField.none(NAME .. ".list", "List"),
}
local E = {
  malformed = ProtoExpert.new(NAME .. ".malformed", "Malformed message", expert.group.MALFORMED,
                              expert.severity.ERROR),
  unknown = ProtoExpert.new(NAME .. ".unknown_field", "Field id not in the contract", expert.group.UNDECODED,
                            expert.severity.WARN),
  wrong_type = ProtoExpert.new(NAME .. ".wrong_type", "Wire type differs from the declared type",
                               expert.group.PROTOCOL, expert.severity.WARN),
  unknown_call = ProtoExpert.new(NAME .. ".unknown_call", "Call not in the contract", expert.group.UNDECODED,
                                 expert.severity.WARN),
  trailing = ProtoExpert.new(NAME .. ".trailing", "Bytes after the message in its frame",
                             expert.group.MALFORMED, expert.severity.WARN),
}

-- Declared types, resolved from their spelling: i32, eCategory, list<stDTC>.
local function resolve(spelling)
  local elem = spelling:match("^list<(.+)>$")
  if elem then
    return { kind = "list", name = spelling, elem = resolve(elem) }
  elseif contract.enums[spelling] then
    return { kind = "enum", name = spelling, members = contract.enums[spelling] }
  elseif contract.records[spelling] then
    return { kind = "struct", name = spelling }
  end
  return { kind = spelling, name = spelling }
end

-- One field per record member, named <proto>.<record>.<member> and typed as
-- the member (as its elements, for a list), so that filters compare values.
local function protofield(abbr, label, t, doc)
  while t.kind == "list" do t = t.elem end
  if t.kind == "bool" then return ProtoField.bool(abbr, label, base.NONE, nil, nil, doc) end
  if t.kind == "i32" then return ProtoField.int32(abbr, label, base.DEC, nil, nil, doc) end
  if t.kind == "enum" then return ProtoField.int32(abbr, label, base.DEC, t.members, nil, doc) end
  if t.kind == "double" then return ProtoField.double(abbr, label, doc) end
  if t.kind == "string" then return ProtoField.string(abbr, label, base.UNICODE, doc) end
  return ProtoField.none(abbr, label, doc)
end

local records = {}
for rname, fields in pairs(contract.records) do
  local rec = { name = rname, field = ProtoField.none(NAME .. "." .. rname, rname), by_id = {} }
  for _, f in ipairs(fields) do
    local t = resolve(f[3])
    rec.by_id[f[1]] = { id = f[1], name = f[2], type = t,
                        pf = protofield(NAME .. "." .. rname .. "." .. f[2], f[2], t, f[4] ~= "" and f[4] or nil) }
  end
  records[rname] = rec
end

local all_fields = {}
for _, pf in pairs(F) do all_fields[#all_fields + 1] = pf end
for _, rec in pairs(records) do
  all_fields[#all_fields + 1] = rec.field
  for _, f in pairs(rec.by_id) do all_fields[#all_fields + 1] = f.pf end
end
proto.fields = all_fields
local experts = {}
for _, e in pairs(E) do experts[#experts + 1] = e end
proto.experts = experts

-- A tree that keeps nothing: the first pass over a message only measures it.
local NULL = {}
setmetatable(NULL, { __index = function() return function() return NULL end end })

-- Errors raised while decoding: SHORT when the bytes so far end inside the
-- message and more may come; {malformed = text} when the message is wrong.
local SHORT = {}

local Reader = {}
Reader.__index = Reader

function Reader:bad(text) error({ malformed = text }, 0) end

function Reader:take(n)
  if self.pos + n > self.limit then
    if self.final then self:bad(string.format("cut short: %d bytes missing at offset %d", self.pos + n - self.limit, self.pos)) end
    error(SHORT, 0)
  end
  local range = self.tvb:range(self.pos, n)
  self.pos = self.pos + n
  return range
end

function Reader:range(start) return self.tvb:range(start, self.pos - start) end
function Reader:u8() return self:take(1):uint() end

function Reader:varint(max_bytes)
  local value, scale = 0, 1
  for _ = 1, max_bytes do
    local b = self:u8()
    value = value + (b % 128) * scale
    if b < 128 then return value end
    scale = scale * 128
  end
  self:bad("varint longer than " .. max_bytes .. " bytes")
end

local function zigzag(n) if n % 2 == 0 then return n / 2 end return -(n + 1) / 2 end

function Reader:i16() if self.compact then return zigzag(self:varint(3)) end return self:take(2):int() end
function Reader:i32() if self.compact then return zigzag(self:varint(5)) end return self:take(4):int() end
function Reader:i64()
  if self.compact then return zigzag(self:varint(10)) end -- beyond 2^53 the value shown is rounded
  return self:take(8):int64()
end
function Reader:byte() return self:take(1):int() end
-- The compact protocol writes a bool outside a field header as 1 (true) or 2.
function Reader:bool() if self.compact then return self:u8() == 1 end return self:u8() ~= 0 end
function Reader:double() local r = self:take(8); if self.compact then return r:le_float() end return r:float() end

-- A size or count: at least one byte follows per unit, so one larger than
-- the bytes left is forged when no more can come.
function Reader:check_size(n)
  if n < 0 then self:bad("negative size " .. n) end
  if n > self.limit - self.pos then
    if self.final or n > MAX_SIZE then
      self:bad(string.format("forged size %d: %d bytes left", n, self.limit - self.pos))
    end
    error(SHORT, 0)
  end
  return n
end
function Reader:size() return self:check_size(self.compact and self:varint(5) or self:take(4):int()) end
function Reader:string() return self:take(self:size()):string(ENC_UTF_8) end

function Reader:wire(t, compact_type)
  local w = compact_type and COMPACT_TYPES[t] or (WIRE_NAMES[t] and t)
  if not w then self:bad("unknown wire type " .. t) end
  return w
end

-- The next field header: wire type (0 at the end of the struct), id, and
-- for a compact bool its value.
function Reader:field(last_id)
  local b = self:u8()
  if b == 0 then return 0 end
  if not self.compact then return self:wire(b), self:i16() end
  local ct, delta = b % 16, math.floor(b / 16)
  local w = self:wire(ct, true)
  local id = delta == 0 and self:i16() or last_id + delta
  if w == 2 then return w, id, ct == 1 end
  return w, id
end

function Reader:list()
  if not self.compact then return self:wire(self:u8()), self:size() end
  local b = self:u8()
  local n = math.floor(b / 16)
  n = n == 15 and self:size() or self:check_size(n)
  return self:wire(b % 16, true), n
end

function Reader:map()
  if not self.compact then
    local k, v = self:wire(self:u8()), self:wire(self:u8())
    return k, v, self:size()
  end
  local n = self:size()
  if n == 0 then return 2, 2, 0 end
  local b = self:u8()
  return self:wire(math.floor(b / 16), true), self:wire(b % 16, true), n
end

local function fmt_double(v)
  local s = string.format("%.15g", v)
  if tonumber(s) ~= v then s = string.format("%.17g", v) end
  return s
end

local function quote(s) return '"' .. s:gsub("[%c\"\\]", function(c) return string.format("\\%03d", c:byte()) end) .. '"' end

local read_struct

-- An item of a field without a value (a record, a list), with its label.
local function node(tree, pf, range, label)
  local item = tree:add(pf, range)
  item:set_text(label)
  return item
end

-- A value whose declared type is unknown (a field not in the contract, or
-- one whose wire type differs): shown by its wire type. Returns the item.
local function read_any(r, tree, w, label, start, bool_value, depth)
  if depth > MAX_DEPTH then r:bad("nested deeper than " .. MAX_DEPTH) end
  local text
  if w == 2 then
    if bool_value == nil then bool_value = r:bool() end
    text = tostring(bool_value)
  elseif w == 3 then text = tostring(r:byte())
  elseif w == 6 then text = tostring(r:i16())
  elseif w == 8 then text = tostring(r:i32())
  elseif w == 10 then text = tostring(r:i64())
  elseif w == 4 then text = fmt_double(r:double())
  elseif w == 11 then text = quote(r:string())
  end
  if text then return node(tree, F.unknown, r:range(start), label .. ": " .. WIRE_NAMES[w] .. " = " .. text) end
  local item = node(tree, F.unknown, r.tvb:range(start, 0), label .. ": " .. WIRE_NAMES[w])
  if w == 12 then
    read_struct(r, item, nil, depth + 1)
  elseif w == 13 then
    local k, v, n = r:map()
    item:append_text(string.format("<%s, %s>, %d entries", WIRE_NAMES[k], WIRE_NAMES[v], n))
    for i = 1, n do
      read_any(r, item, k, "key " .. i, r.pos, nil, depth + 1)
      read_any(r, item, v, "value " .. i, r.pos, nil, depth + 1)
    end
  else
    local e, n = r:list()
    item:append_text(string.format("<%s>, %d elements", WIRE_NAMES[e], n))
    for i = 1, n do read_any(r, item, e, "[" .. (i - 1) .. "]", r.pos, nil, depth + 1) end
  end
  item:set_len(r.pos - start)
  return item
end

-- A value of declared type t, its wire type checked. Returns its short text.
local function read_value(r, tree, t, pf, label, start, bool_value, depth)
  if t.kind == "bool" then
    if bool_value == nil then bool_value = r:bool() end
    tree:add(pf, r:range(start), bool_value, label .. ": " .. tostring(bool_value))
    return tostring(bool_value)
  elseif t.kind == "i32" or t.kind == "enum" then
    local v = r:i32()
    local text, shown = tostring(v), tostring(v)
    if t.kind == "enum" and t.members[v] then
      text, shown = t.members[v], t.members[v] .. " (" .. v .. ")"
    elseif t.kind == "enum" then
      shown = v .. " (no member of " .. t.name .. ")"
    end
    tree:add(pf, r:range(start), v, label .. ": " .. shown)
    return text
  elseif t.kind == "double" then
    local v = r:double()
    tree:add(pf, r:range(start), v, label .. ": " .. fmt_double(v))
    return fmt_double(v)
  elseif t.kind == "string" then
    local s = r:string()
    tree:add(pf, r:range(start), s, label .. ": " .. quote(s))
    return quote(s)
  end
  local item = node(tree, t.kind == "struct" and pf or F.list, r.tvb:range(start, 0), label)
  if t.kind == "struct" then
    read_struct(r, item, records[t.name], depth + 1)
    item:set_len(r.pos - start)
    return t.name
  end
  local e, n = r:list()
  item:set_text(label .. ": " .. n .. (n == 1 and " element" or " elements"))
  if n > 0 and e ~= DECLARED_WIRE[t.elem.kind] then
    item:add_proto_expert_info(E.wrong_type, "elements are " .. WIRE_NAMES[e] .. ", declared " .. t.elem.name)
    for i = 1, n do read_any(r, item, e, "[" .. (i - 1) .. "]", r.pos, nil, depth + 1) end
  else
    for i = 1, n do read_value(r, item, t.elem, pf, "[" .. (i - 1) .. "]", r.pos, nil, depth + 1) end
  end
  item:set_len(r.pos - start)
  return string.format("%s[%d]", t.name, n)
end

-- The fields of a struct, by the record `rec` (nil: unknown). Returns the
-- short text of each field read, by id.
read_struct = function(r, tree, rec, depth)
  if depth > MAX_DEPTH then r:bad("nested deeper than " .. MAX_DEPTH) end
  local values, last = {}, 0
  while true do
    local start = r.pos
    local w, id, bool_value = r:field(last)
    if w == 0 then break end
    last = id
    local f = rec and rec.by_id[id]
    if f and DECLARED_WIRE[f.type.kind] == w then
      values[id] = read_value(r, tree, f.type, f.pf, string.format("%s (%d: %s)", f.name, id, f.type.name),
                              start, bool_value, depth)
    elseif f then
      local item = read_any(r, tree, w, string.format("%s (%d: %s)", f.name, id, f.type.name), start, bool_value, depth)
      item:add_proto_expert_info(E.wrong_type, "wire type " .. WIRE_NAMES[w] .. ", declared " .. f.type.name)
    else
      local item = read_any(r, tree, w, string.format("field %d (unknown id)", id), start, bool_value, depth)
      item:add_proto_expert_info(E.unknown, string.format("field id %d is not in %s", id, rec and rec.name or "the contract"))
    end
  end
  return values
end

-- The message header: protocol, type, name, sequence id.
local function read_header(r)
  local b0 = r.tvb:range(r.pos, 1):uint()
  if b0 == 0x82 then
    r.compact = true
    r:u8()
    local b = r:u8()
    if b % 32 ~= 1 then r:bad("compact protocol version " .. b % 32) end
    local seqid = r:varint(5)
    if seqid >= 2 ^ 31 then seqid = seqid - 2 ^ 32 end
    return "compact", math.floor(b / 32), r:string(), seqid
  elseif b0 >= 0x80 then
    local v = r:take(4):uint()
    if math.floor(v / 65536) ~= 0x8001 then r:bad(string.format("binary protocol version 0x%08x", v)) end
    local name = r:string()
    return "binary", v % 256, name, r:i32()
  end
  local name = r:string()
  local mtype = r:byte()
  return "binary (non-strict)", mtype, name, r:i32()
end

-- One message from tvb[pos, limit) into tree; msg.info takes its Info text.
local function decode(tvb, pos, limit, final, tree, msg)
  local r = setmetatable({ tvb = tvb, pos = pos, limit = limit, final = final }, Reader)
  local protocol, mtype, name, seqid = read_header(r)
  local mname = MESSAGE_TYPES[mtype] or ("type " .. mtype)
  tree:add(F.protocol, r.tvb:range(pos, 1), protocol)
  tree:add(F.type, r:range(pos), mname)
  local call_item = tree:add(F.call, r:range(pos), name)
  tree:add(F.seqid, r:range(pos), seqid)
  msg.info = string.format("%s %s #%d", mname, name, seqid)
  local rec
  if mtype == 3 then
    rec = records.TApplicationException
  elseif mtype == 2 then
    rec = records[name .. "_result"]
  elseif MESSAGE_TYPES[mtype] then
    rec = records[name .. "_args"]
  else
    r:bad("message type " .. mtype)
  end
  if not rec then call_item:add_proto_expert_info(E.unknown_call, name .. " is not a call of " .. contract.service) end
  local start = r.pos
  local body = node(tree, rec and rec.field or F.unknown, r.tvb:range(start, 0), rec and rec.name or "arguments or result")
  local values = read_struct(r, body, rec, 1)
  body:set_len(r.pos - start)
  if mtype == 2 then
    msg.info = "reply " .. name .. (values[0] and " = " .. values[0] or "")
  elseif mtype == 3 then
    msg.info = "exception " .. (values[2] or "?") .. " " .. (values[1] or "")
  end
  return r.pos
end

-- Frames start with a length whose first byte is 0 (no frame is 16 MiB),
-- then a message: 0x80 0x01 (strict binary), 0x82 (compact) or 0 (the
-- length of a non-strict name).
local function is_framed(tvb, off)
  if tvb:range(off, 1):uint() ~= 0 then return tvb:range(off, 1):uint() < 0x80 end
  local b4, b5 = tvb:range(off + 4, 1):uint(), tvb:range(off + 5, 1):uint()
  return (b4 == 0x80 and b5 == 1) or (b4 == 0x82 and b5 % 32 == 1) or b4 == 0
end

-- The message at `off`: the bytes it takes, or nil when more must come.
local function dissect_one(tvb, pinfo, tree, off, infos)
  local rest = tvb:len() - off
  local more = pinfo.can_desegment > 0
  if rest < 6 and more then return nil end
  local b0 = tvb:range(off, 1):uint()
  local framed = rest >= 6 and b0 ~= 0x80 and b0 ~= 0x82 and is_framed(tvb, off)
  local start, limit, size = off, off + rest, nil
  if framed then
    size = tvb:range(off, 4):uint()
    if size <= MAX_SIZE and 4 + size > rest and more then return nil end
    start = off + 4
    if size <= MAX_SIZE then limit = math.min(start + size, limit) end
  end
  local forged = framed and size > MAX_SIZE
  local ok, res = true, limit
  if not forged then
    ok, res = pcall(decode, tvb, start, limit, framed or not more, NULL, {})
    if not ok and res == SHORT then return nil end
  end
  local used = (framed or not ok) and limit - off or res - off
  local item = tree:add(proto, tvb:range(off, used))
  item:add(F.transport, tvb:range(off, framed and 4 or 0), framed and "framed" or "buffered")
  if framed then item:add(F.frame, tvb:range(off, 4), size) end
  local msg = {}
  if forged then
    ok, res = false, { malformed = string.format("forged frame size %d", size) }
  else
    ok, res = pcall(decode, tvb, start, limit, true, item, msg)
  end
  local info = msg.info or "message"
  if not ok then
    local text = type(res) == "table" and res.malformed or ("decoder error: " .. tostring(res))
    item:add_proto_expert_info(E.malformed, text)
    info = info .. " [malformed: " .. text .. "]"
  elseif framed and res < limit then
    item:add_proto_expert_info(E.trailing, (limit - res) .. " bytes after the message")
  elseif framed and start + size > limit then
    item:add_proto_expert_info(E.malformed, "frame cut short")
  end
  item:append_text(", " .. info)
  infos[#infos + 1] = info
  return used
end

function proto.dissector(tvb, pinfo, tree)
  local off, infos = 0, {}
  while off < tvb:len() do
    local used = dissect_one(tvb, pinfo, tree, off, infos)
    if not used then
      pinfo.desegment_offset = off
      pinfo.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
      break
    end
    off = off + used
  end
  if #infos > 0 then
    pinfo.cols.protocol = string.upper(NAME)
    pinfo.cols.info = table.concat(infos, "; ")
  end
  return tvb:len()
end

-- The TCP ports of the service: a preference, 9090 by default.
proto.prefs.ports = Pref.range("TCP ports", "9090", "TCP ports of the " .. contract.service .. " service", 65535)
local tcp_ports = DissectorTable.get("tcp.port")
local registered = "9090"
tcp_ports:add(registered, proto)
function proto.prefs_changed()
  if proto.prefs.ports ~= registered then
    tcp_ports:remove(registered, proto)
    registered = proto.prefs.ports
    tcp_ports:add(registered, proto)
  end
end
