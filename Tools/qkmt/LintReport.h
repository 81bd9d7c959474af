// What `qkmt catalogue --lint` prints of the checker's findings (CatalogueLint.h).
//
// Text: one line per finding, "PATH: MESSAGE" ("PATH: error: MESSAGE" for one that fails the load
// or stops the host), texts made visible as in every output of the tool, and a closing count.
// JSON: {"file":..., "warnings":[{"path","code","message","suggestion"?,"fatal"}]}, the suggestion
// only where there is one.
#pragma once

#include <string>
#include <vector>

#include "CatalogueLint.h"

std::string lintText(const std::vector<LintFinding>& findings);
std::string lintJson(const std::string& file, const std::vector<LintFinding>& findings);
