// The path fold's own table: 665 upper-case characters and their lower-case forms, in the manner of
// an early Unicode release's simple lower-case mapping. It covers only these ranges (hexadecimal):
//
//   41-5A, C0-DE, 100-12E, 132-136, 139-147, 14A-17D, 181-187, 18A-18B, 18E-198, 19C-1A4, 1A7-1A9,
//   1AC-1B8, 1BC, 1C4, 1C7, 1CA, 1CD-1DB, 1DE-1EE, 1F1, 1F4, 1FA-216, 386-3AB, 3E2-3EE, 401-42F,
//   460-480, 490-4BE, 4C1-4C3, 4C7, 4CB, 4D0-4EA, 4EE-4F4, 4F8, 531-556, 10A0-10C5, 1E00-1E94,
//   1EA0-1EF8, 1F08-1F0F, 1F18-1F1D, 1F28-1F2F, 1F38-1F3F, 1F48-1F4D, 1F59-1F5F, 1F68-1F6F,
//   1F88-1F8F, 1F98-1F9F, 1FA8-1FAF, 1FB8-1FB9, 1FD8-1FD9, 1FE8-1FE9, 24B6-24CF, FF21-FF3A
//
// Within them a character maps as today's Unicode simple mapping does, except in the older table's
// own rows, which are kept:
//   - 18E maps to 258 (today 1DD);
//   - 189 isn't in the table (it lies between the ranges), and neither is 40D, a later addition;
//   - the Georgian capitals 10A0-10C5 map to 10D0-10F5, the small letters of that time (today's
//     mapping to 2D00-2D25 names a block that didn't exist yet).
// Characters the table leaves alone go to towlower (qk_path.cpp), which takes 189 to 256 and 40D
// to 45D. tests/core/PathFoldTest.cpp checks every row against Core/data/casefold-bmp-16.0.txt.
#include "qk_path.h"

const qk_path_fold_run qk_path_fold_runs[] = {
    {0x41, 0x5A, 1, 32},     {0xC0, 0xD6, 1, 32},     {0xD8, 0xDE, 1, 32},     {0x100, 0x12E, 2, 1},
    {0x132, 0x136, 2, 1},    {0x139, 0x147, 2, 1},    {0x14A, 0x176, 2, 1},    {0x178, 0x178, 1, -121},
    {0x179, 0x17D, 2, 1},    {0x181, 0x181, 1, 210},  {0x182, 0x184, 2, 1},    {0x186, 0x186, 1, 206},
    {0x187, 0x187, 1, 1},    {0x18A, 0x18A, 1, 205},  {0x18B, 0x18B, 1, 1},    {0x18E, 0x18F, 1, 202},
    {0x190, 0x190, 1, 203},  {0x191, 0x191, 1, 1},    {0x193, 0x193, 1, 205},  {0x194, 0x194, 1, 207},
    {0x196, 0x196, 1, 211},  {0x197, 0x197, 1, 209},  {0x198, 0x198, 1, 1},    {0x19C, 0x19C, 1, 211},
    {0x19D, 0x19D, 1, 213},  {0x19F, 0x19F, 1, 214},  {0x1A0, 0x1A4, 2, 1},    {0x1A7, 0x1A7, 1, 1},
    {0x1A9, 0x1A9, 1, 218},  {0x1AC, 0x1AC, 1, 1},    {0x1AE, 0x1AE, 1, 218},  {0x1AF, 0x1AF, 1, 1},
    {0x1B1, 0x1B2, 1, 217},  {0x1B3, 0x1B5, 2, 1},    {0x1B7, 0x1B7, 1, 219},  {0x1B8, 0x1B8, 1, 1},
    {0x1BC, 0x1BC, 1, 1},    {0x1C4, 0x1C4, 1, 2},    {0x1C7, 0x1C7, 1, 2},    {0x1CA, 0x1CA, 1, 2},
    {0x1CD, 0x1DB, 2, 1},    {0x1DE, 0x1EE, 2, 1},    {0x1F1, 0x1F1, 1, 2},    {0x1F4, 0x1F4, 1, 1},
    {0x1FA, 0x216, 2, 1},    {0x386, 0x386, 1, 38},   {0x388, 0x38A, 1, 37},   {0x38C, 0x38C, 1, 64},
    {0x38E, 0x38F, 1, 63},   {0x391, 0x3A1, 1, 32},   {0x3A3, 0x3AB, 1, 32},   {0x3E2, 0x3EE, 2, 1},
    {0x401, 0x40C, 1, 80},   {0x40E, 0x40F, 1, 80},   {0x410, 0x42F, 1, 32},   {0x460, 0x480, 2, 1},
    {0x490, 0x4BE, 2, 1},    {0x4C1, 0x4C3, 2, 1},    {0x4C7, 0x4C7, 1, 1},    {0x4CB, 0x4CB, 1, 1},
    {0x4D0, 0x4EA, 2, 1},    {0x4EE, 0x4F4, 2, 1},    {0x4F8, 0x4F8, 1, 1},    {0x531, 0x556, 1, 48},
    {0x10A0, 0x10C5, 1, 48}, {0x1E00, 0x1E94, 2, 1},  {0x1EA0, 0x1EF8, 2, 1},  {0x1F08, 0x1F0F, 1, -8},
    {0x1F18, 0x1F1D, 1, -8}, {0x1F28, 0x1F2F, 1, -8}, {0x1F38, 0x1F3F, 1, -8}, {0x1F48, 0x1F4D, 1, -8},
    {0x1F59, 0x1F5F, 2, -8}, {0x1F68, 0x1F6F, 1, -8}, {0x1F88, 0x1F8F, 1, -8}, {0x1F98, 0x1F9F, 1, -8},
    {0x1FA8, 0x1FAF, 1, -8}, {0x1FB8, 0x1FB9, 1, -8}, {0x1FD8, 0x1FD9, 1, -8}, {0x1FE8, 0x1FE9, 1, -8},
    {0x24B6, 0x24CF, 1, 26}, {0xFF21, 0xFF3A, 1, 32},
};

const size_t qk_path_fold_run_count = sizeof qk_path_fold_runs / sizeof qk_path_fold_runs[0];
