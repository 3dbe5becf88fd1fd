-- Opens the session again and prints the value of every parameter of the instrument.
local session = load_session(os.getenv("SESSION_FOLDER"), "song")
assert(session, "no session")
local insert = session:route_by_name("Zephra"):nth_plugin(0)
assert(not insert:isnil(), "the plug-in could not be loaded")
for index = 0, insert:to_insert():plugin(0):parameter_count() - 1 do
    print("value", index, string.format("%.9g", ARDOUR.LuaAPI.get_processor_param(insert, index)))
end
close_session()
