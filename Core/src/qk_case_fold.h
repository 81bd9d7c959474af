// Case folding of UTF-16 units: the Unicode simple case folding (statuses C and S, Unicode 16.0)
// limited to the Basic Multilingual Plane. Cherokee therefore folds to its upper case (U+AB70 to
// U+13A0), U+1E9E folds to U+00DF, and nothing beyond U+FFFF is reached, as units are 16 bits.
//
// The table is two-level and constant: 256 page pointers by the high byte (null for a page that
// folds to itself), pages of 256 units by the low byte. It is generated into qk_case_fold_table.cpp
// by scripts/gen_case_fold.py from Core/data/casefold-bmp-16.0.txt.
#pragma once

#include <cstdint>

extern const uint16_t* const qk_case_fold_pages[256];

// The folded unit: two loads.
inline uint16_t qk_case_fold(uint16_t unit) {
  const uint16_t* page = qk_case_fold_pages[unit >> 8];
  return page ? page[unit & 0xFF] : unit;
}
