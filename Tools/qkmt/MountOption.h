// --mount SOURCE:MOUNTPOINT[:append][:tag=TAG]: the tool's mounts into the process's Manager.
//
// SOURCE is a real folder, zip file or .qkpk archive, as the user spells it (case counts on Linux;
// "data/pack" also finds data/pack.zip and data/pack.qkpk, as the Manager's drivers look for them);
// MOUNTPOINT is a virtual path, which begins with "/". The mount point starts at the first ":"
// that a "/" follows (or, with none, at the first ":"), so a source may hold colons of its own.
// Where paths have drives, the source's drive ("C:\\data:/d", "Z:/x:/mnt") is never taken for it.
// Then, in any order, "append" (earlier mounts win over this one; without it this one wins over
// them) and "tag=TAG" (the rest of the text is the tag). Mounts are made in the order given; their
// messages are the Manager's own log lines ("Mounted: ..." at DEBUG, shown by -v). An archive
// whose index is cut short ends the command with "qkmt: --mount TEXT: Not enough input data"
// (status 1).
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

struct MountSpec {
  std::string source;
  std::string mount_point;
  bool append = false;
  std::string tag;
};

// The mount that one --mount text asks for, or nothing with `error` set when the text can't be read.
std::optional<MountSpec> parseMountSpec(const std::string& text, std::string& error);

// Adds --mount (repeatable) to a command, collecting the texts into `texts`.
void addMountOption(CLI::App& command, std::vector<std::string>& texts);

// Adds -v/--verbose, the tool's global flag (given before or after the command word), which lets
// the log's DEBUG lines (such as "Mounted: ...") reach standard error; the tool hides them otherwise.
void addVerboseFlag(CLI::App& command);

// Parses and mounts each text in order. A text that can't be read is a usage error: it prints
// "qkmt: --mount TEXT: REASON" and answers 2; a mount the Manager refuses answers 1 (its line is
// the reason); 0 when all are mounted.
int applyMounts(const std::vector<std::string>& texts);
