// qkmt catalogue [FILE] [--plugcfg DIR] [--json] [--lint]: what the plug-in makes of a catalogue
// script, and the error box an artist would see if it is broken; with --lint, what the artist
// would meet silently (CatalogueLint.h) instead.
//
// The file: FILE, else DIR/materials.lua where DIR is --plugcfg, else $QKMT_PLUGCFG, else the
// working directory when it holds materials.lua, else the bundled examples (ToolPaths.h). One
// line on standard error names it before it is read. What the catalogue script writes to standard
// output goes to standard error, so that standard output holds the report alone.
//
// Exit status: 0 loaded (an empty catalogue too) or, with --lint, no findings; 1 the load failed
// or, with --lint, there are findings; 2 usage error.
#pragma once

#include "ToolCommand.h"

std::unique_ptr<ToolCommand> makeCatalogueCommand();
