#include "VfsCommands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "MountOption.h"
#include "VfsListing.h"
#include "VfsStat.h"
#include "qkvfs/Manager.h"
#include "qkvfs/qk_vfs.h"

namespace {

struct Options {
  std::vector<std::string> mounts;
  std::string path;
  bool json = false;
};

int fail(const std::string& path, const char* reason) {
  std::fprintf(stderr, "qkmt: %s: %s\n", path.c_str(), reason);
  return 1;
}

// Writes bytes to standard output; a failed write is told and answers 1.
int emit(const void* data, size_t size) {
  if ((size && std::fwrite(data, 1, size, stdout) != size) || std::fflush(stdout) != 0)
    return fail("standard output", std::strerror(errno));
  return 0;
}

int emit(const std::string& text) { return emit(text.data(), text.size()); }

// Mounts, then checks that the path is virtual: 0 to go on, else the exit status.
int prepare(const Options& options) {
  if (options.path.empty() || options.path.front() != '/') {
    std::fprintf(stderr, "qkmt: %s: not a virtual path (those begin with /)\n", options.path.c_str());
    return 2;
  }
  return applyMounts(options.mounts);
}

int list(const Options& options) {
  if (const int status = prepare(options)) return status;
  const VfsStatReport report = statVirtualPath(qkvfs::manager(), options.path);
  if (!report.found) return fail(options.path, "no such directory");
  if (report.info.type != qkvfs::kDirectory) return fail(options.path, "not a directory");
  const std::vector<VfsListEntry> entries = listVirtualDirectory(qkvfs::manager(), options.path);
  return emit(options.json ? renderListingJson(options.path, entries) : renderListing(entries));
}

int stat(const Options& options) {
  if (const int status = prepare(options)) return status;
  const VfsStatReport report = statVirtualPath(qkvfs::manager(), options.path);
  if (!report.found) return fail(options.path, "no such file or directory");
  return emit(options.json ? renderStatJson(report) : renderStat(report));
}

int cat(const Options& options) {
  if (const int status = prepare(options)) return status;
  qkvfs::EntryInfo info;
  if (qkvfs::manager().stat(options.path, info) && info.type == qkvfs::kDirectory)
    return fail(options.path, "is a directory");
  const qk::RefPtr<qk::IBuffer> bytes = qkvfs::manager().read_file(options.path, false);
  if (!bytes) return 1;  // the Manager's line says why
  return emit(bytes->data(), bytes->size());
}

CLI::App* command(CLI::App& app, const char* name, const char* what, const char* path_help, Options& options,
                  bool with_json) {
  CLI::App* sub = app.add_subcommand(name, what);
  addMountOption(*sub, options.mounts);
  addVerboseFlag(*sub);
  if (with_json) sub->add_flag("--json", options.json, "One JSON document on standard output");
  sub->add_option("path", options.path, path_help)->required();
  sub->footer(
      "Exit status: 0 done, 1 not found, a failed mount or a failed write (the reason on standard error),\n"
      "2 usage error.");
  return sub;
}

}  // namespace

std::function<int()> addVfsCommands(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* ls = command(app, "ls", "List a virtual directory of the mounted tree",
                         "The virtual directory, such as /", *options, true);
  CLI::App* st = command(app, "stat", "Tell what the virtual file system knows of a path",
                         "The virtual path, such as /textures/rock.dds", *options, true);
  CLI::App* ct =
      command(app, "cat", "Write the bytes of a virtual file (its winning copy) to standard output",
              "The virtual path, such as /textures/rock.dds", *options, false);
  return [options, ls, st, ct]() -> int {
    if (ls->parsed()) return list(*options);
    if (st->parsed()) return stat(*options);
    if (ct->parsed()) return cat(*options);
    return -1;
  };
}
