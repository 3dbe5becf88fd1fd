-- Makes a session with a MIDI track that plays the instrument, moves some of its controls, writes
-- automation of one, saves, and prints the value of every parameter.
local folder, name = os.getenv("SESSION_FOLDER"), "song"
local session = create_session(folder, name, 48000)
assert(session, "no session")

local info
for plugin in ARDOUR.LuaAPI.list_plugins():iter() do
    if plugin.name == "The Zephra" and plugin.type == ARDOUR.PluginType[os.getenv("PLUGIN_TYPE")] then
        info = plugin
    end
end
assert(info, "Ardour does not know the plug-in")

local function channels(kind, count) return ARDOUR.ChanCount(ARDOUR.DataType(kind), count) end
local tracks = session:new_midi_track(channels("midi", 1), channels("audio", 2), true, info, nil,
                                      nil, 1, "Zephra", -1, ARDOUR.TrackMode.Normal, false)
-- Ardour connects new tracks to the master bus on a thread of its own.
local output = tracks:front():output():audio(0)
for _ = 1, 1000 do
    if output:connected() then break end
    ARDOUR.LuaAPI.usleep(10000)
end
assert(output:connected(), "the track is not connected")

local insert = tracks:front():nth_plugin(0)
assert(not insert:isnil(), "the plug-in could not be loaded")

-- Of the first control among Ardour's parameters.
local first = tonumber(os.getenv("FIRST_CONTROL"))

local function value_at(index, way) -- 0..1
    local _, _, range = ARDOUR.LuaAPI.plugin_automation(insert, index)
    if range.logarithmic then return range.lower * (range.upper / range.lower) ^ way end
    return range.lower + way * (range.upper - range.lower)
end

for index, way in pairs({[27] = 0.7, [28] = 0.3, [34] = 0.8, [35] = 0.4, [36] = 0.35, [38] = 0.61,
                         [46] = 0.52, [71] = 0.25, [72] = 0.5, [73] = 0.75}) do
    assert(ARDOUR.LuaAPI.set_processor_param(insert, first + index, value_at(first + index, way)))
end
ARDOUR.LuaAPI.usleep(500000) -- ports are read when the audio runs

local cutoff = first + 34
local _, control = ARDOUR.LuaAPI.plugin_automation(insert, cutoff)
control:set_interpolation(Evoral.InterpolationStyle.Discrete)
for _, point in ipairs({{0, 0.8}, {240000, 0.3}, {288000, 0.55}}) do -- samples
    control:add(Temporal.timepos_t(point[1]), value_at(cutoff, point[2]), false, false)
end
local id = insert:to_insert():plugin(0):nth_parameter(cutoff, false)
local automated = Evoral.Parameter(ARDOUR.AutomationType.PluginAutomation, 0, id)
insert:to_automatable():automation_control(automated, true):set_automation_state(
    ARDOUR.AutoState.Play)

for index = first, first + 74 do
    print("value", index, string.format("%.9g", ARDOUR.LuaAPI.get_processor_param(insert, index)))
end
session:save_state("", false, false, false, false, false)
close_session()
