-- tour.lua: the material plug-in driven as the host would drive it.   qkmt run examples/tour.lua
local host = require "host"

-- A scene: a wall with a diffuse map, and a multi-material holding it and a floor.
local bricks = host.texmap("bricks")
local wall = host.material("Wall", { { name = "Diffuse Color", map = bricks } })
local floor = host.material("Floor")
host.scene({ host.multi("Building", { wall, floor }) })

host.tool(1000)                                -- "Make Cool": an attribute on every material
host.SetMaterial(wall, "building")             -- as a script of the host would
local panel = host.panel(wall)                 -- the rollup, as the artist sees it
panel:select(1028, 3)                          -- decal order 3
panel:set_text(1010, "wetness=0.5\r\n")
panel:enter(1010)                              -- Enter in the uniforms box

local d = host.describe(wall)                  -- what an exporter reads
print(d.name, d.shader_name, d.decal, d.user_uniforms)

host.save(arg[1] or "tour.qks")                -- then: qkmt scene tour.qks
