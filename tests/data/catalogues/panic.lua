-- A texture entry that Lua can't index: the host stops with a Lua panic.
materials = { m = { textures = { a = 1 } } }
