// qkmt stat: what the virtual file system knows of one path: its type, size and time, which
// source's copy wins and every copy in priority order, and the metadata the winning copy carries
// (from its folder's `.metadata.json`), every key with its value and type, as the engine reads them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qk/Metadata.h"
#include "qkvfs/IDriver.h"

namespace qkvfs {
class Manager;
}

struct VfsStatReport {
  std::string path;
  bool found = false;
  qkvfs::EntryInfo info;
  std::vector<std::string> sources;  // the copies' sources, the winner first; empty for a directory
  std::vector<std::pair<std::string, qk::MetadataValue>> metadata;  // sorted by key
};

// The report of a virtual path; the root "/" is always a directory.
VfsStatReport statVirtualPath(qkvfs::Manager& vfs, const std::string& path);

// Lines "path:", "type:", "size:", "time:" (seconds and UTC), "source:", "copies:" with one indented
// source each, and "metadata:" with one "KEY = VALUE (TYPE)" each; strings in double quotes.
std::string renderStat(const VfsStatReport& report);
// {"path","type":"file"|"dir","size","time","source","copies":[...],"metadata":{KEY:{"type","value"}}}
// with metadata in the form of `.metadata.json`.
std::string renderStatJson(const VfsStatReport& report);
