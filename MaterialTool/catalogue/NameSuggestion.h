// NameSuggestion: "did you mean" for a word that names nothing, by edit distance.
//
// The distance is the optimal string alignment distance (insert, delete, replace, and swapping two
// neighbours each count 1), with ASCII letters compared without regard to case, so that "textrues"
// is 1 from "textures" and "mesh" 0 from "Mesh". Plain functions; any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

size_t editDistance(std::string_view a, std::string_view b);

// The candidate closest to `word` when it is close enough to be a slip of the keyboard: at most 1
// edit for a word of up to 4 bytes, 2 up to 8, 3 beyond. The first of equally close candidates
// wins. Empty when none is close enough.
std::string closestName(std::string_view word, const std::vector<std::string_view>& candidates);
