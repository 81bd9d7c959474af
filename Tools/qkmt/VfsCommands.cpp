#include "VfsCommands.h"

#include <string>
#include <string_view>
#include <vector>

#include "MountOption.h"
#include "ToolOutput.h"
#include "VfsListing.h"
#include "VfsStat.h"
#include "qkvfs/Manager.h"
#include "qkvfs/qk_vfs.h"

namespace {

int notFound(const std::string& path, const char* reason) {
  writeErr("qkmt: " + path + ": " + reason + "\n");
  return 1;
}

// What the three commands share: --mount, the virtual path, and --json where it means something.
class VfsCommand : public ToolCommand {
 public:
  void define(CLI::App& command) override {
    addMountOption(command, mounts_);
    if (hasJson()) command.add_flag("--json", json_, "One JSON document on standard output");
    command.add_option("path", path_, pathHelp())->required();
    command.footer(
        "Exit status: 0 done, 1 not found, a failed mount or a failed write (the reason on standard\n"
        "error), 2 usage error.");
  }

  int run(const Invocation&) override {
    if (path_.empty() || path_.front() != '/') {
      writeErr("qkmt: " + path_ + ": not a virtual path (those begin with /)\n");
      return 2;
    }
    if (const int status = applyMounts(mounts_)) return status;
    return show(qkvfs::manager());
  }

 protected:
  virtual bool hasJson() const { return true; }
  virtual const char* pathHelp() const { return "The virtual path, such as /textures/rock.dds"; }
  virtual int show(qkvfs::Manager& vfs) = 0;

  std::vector<std::string> mounts_;
  std::string path_;
  bool json_ = false;
};

class LsCommand final : public VfsCommand {
 public:
  const char* name() const override { return "ls"; }
  const char* summary() const override { return "List a virtual directory of the mounted tree"; }

 private:
  const char* pathHelp() const override { return "The virtual directory, such as /"; }
  int show(qkvfs::Manager& vfs) override {
    const VfsStatReport report = statVirtualPath(vfs, path_);
    if (!report.found) return notFound(path_, "no such directory");
    if (report.info.type != qkvfs::kDirectory) return notFound(path_, "not a directory");
    const std::vector<VfsListEntry> entries = listVirtualDirectory(vfs, path_);
    writeOut(json_ ? renderListingJson(path_, entries) : renderListing(entries));
    return 0;
  }
};

class StatCommand final : public VfsCommand {
 public:
  const char* name() const override { return "stat"; }
  const char* summary() const override {
    return "Tell what the virtual file system knows of a path: size, time, winning source, copies, metadata";
  }

 private:
  int show(qkvfs::Manager& vfs) override {
    const VfsStatReport report = statVirtualPath(vfs, path_);
    if (!report.found) return notFound(path_, "no such file or directory");
    writeOut(json_ ? renderStatJson(report) : renderStat(report));
    return 0;
  }
};

class CatCommand final : public VfsCommand {
 public:
  const char* name() const override { return "cat"; }
  const char* summary() const override {
    return "Write the bytes of a virtual file (its winning copy) to standard output";
  }

 private:
  bool hasJson() const override { return false; }
  int show(qkvfs::Manager& vfs) override {
    qkvfs::EntryInfo info;
    if (vfs.stat(path_, info) && info.type == qkvfs::kDirectory) return notFound(path_, "is a directory");
    const qk::RefPtr<qk::IBuffer> bytes = vfs.read_file(path_, false);
    if (!bytes) return 1;  // the Manager's line says why
    writeOut(std::string_view(static_cast<const char*>(bytes->data()), bytes->size()));
    return 0;
  }
};

}  // namespace

std::unique_ptr<ToolCommand> makeLsCommand() { return std::make_unique<LsCommand>(); }
std::unique_ptr<ToolCommand> makeStatCommand() { return std::make_unique<StatCommand>(); }
std::unique_ptr<ToolCommand> makeCatCommand() { return std::make_unique<CatCommand>(); }
