-- Writes the settings a showing starts with to standard output: the tree's data/config.lua line
-- for line, with only the values below replaced, so that a compo crew who opens the released
-- file sees the same keys and comments the authors saw. A key the file does not set is added at
-- its end. A key set any other way than once, by a plain value on a line of its own (twice, from
-- an expression, inside a block), cannot be rewritten safely: that ends with a message instead.
--
-- Usage: lua5.1 scripts/release/showing.lua data/config.lua > config.lua

local showing = {
    {"DEBUG", "false"}, {"FULLSCREEN", "true"}, {"WIDTH", "1920"}, {"HEIGHT", "1080"},
    {"VSYNC", "true"}, {"AUDIO", '"auto"'},
}

local path = arg[1]

local function fail(message)
    io.stderr:write("release: ", message, "\n")
    os.exit(1)
end

-- Runs settings, named `name` in Lua's messages, in an environment of their own; returns the
-- globals they set.
local function settings(text, name)
    local chunk, message = loadstring(text, "=" .. name)
    if not chunk then fail(message) end
    local globals = setmetatable({}, {__index = _G})
    setfenv(chunk, globals)
    local ran, error = pcall(chunk)
    if not ran then fail(tostring(error)) end
    return globals
end

local file = io.open(path, "r") or fail("cannot read " .. path)
local text = file:read("*a")
file:close()
settings(text, path)

-- The values a line may hold to be rewritten, each followed by nothing or a comment only
local literal = {"true", "false", "nil", "%-?[%d.]+[%deE+-]*", '"[^"\\]*"', "'[^'\\]*'"}
local lines = {}
for line in text:gmatch("([^\n]*)\n?") do lines[#lines + 1] = line end
if lines[#lines] == "" then lines[#lines] = nil end

-- The one line that assigns `key`, comments aside; nil when none does
local function assignment(key)
    local found
    for i, line in ipairs(lines) do
        if line:gsub("%-%-.*", ""):match("%f[%w_]" .. key .. "%s*=%f[^=]") then
            if found then fail(path .. ": " .. key .. " is set more than once, so it cannot be set for a showing") end
            found = i
        end
    end
    return found
end

for _, setting in ipairs(showing) do
    local key, value = setting[1], setting[2]
    local line = assignment(key)
    if not line then
        lines[#lines + 1] = key .. " = " .. value
    else
        local before, rest = lines[line]:match("^([ \t]*" .. key .. "[ \t]*=[ \t]*)(.*)$")
        local after
        for _, form in ipairs(literal) do
            after = rest and (rest:match("^" .. form .. "([ \t]*%-%-.*)$") or rest:match("^" .. form .. "[ \t]*$") and "")
            if after then break end
        end
        if not after then fail(path .. ": " .. key .. " is not set by a plain value on a line of its own, so it cannot be set to " .. value) end
        lines[line] = before .. value .. after
    end
end
text = table.concat(lines, "\n") .. "\n"

-- What the rewritten file really sets, read back as the program will read it.
local result = settings(text, path .. " as rewritten for a showing")
for _, setting in ipairs(showing) do
    local key, value = setting[1], setting[2]
    if tostring(result[key]) ~= tostring(loadstring("return " .. value)()) then
        fail(path .. ": " .. key .. " cannot be set to " .. value .. ": the file sets it to " .. tostring(result[key]))
    end
end
io.write(text)
