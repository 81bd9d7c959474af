-- Fails on the entry "broken", after some others have been read.
materials = { alpha = {}, beta = {}, gamma = {}, broken = 1, delta = {}, epsilon = {} }
