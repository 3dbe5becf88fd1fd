-- Opens the session again, prints the value of every parameter of the instrument and removes it,
-- without saving that.
local session = load_session(os.getenv("SESSION_FOLDER"), "song")
assert(session, "no session")
local track = session:route_by_name("Zephra")
local insert = track:nth_plugin(0)
assert(not insert:isnil(), "the plug-in could not be loaded")
local first = tonumber(os.getenv("FIRST_CONTROL"))
for index = first, first + 74 do
    print("value", index, string.format("%.9g", ARDOUR.LuaAPI.get_processor_param(insert, index)))
end
track:remove_processor(insert, nil, true)
assert(track:nth_plugin(0):isnil(), "the plug-in stays")
close_session()
