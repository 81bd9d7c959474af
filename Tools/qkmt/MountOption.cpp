#include "MountOption.h"

#include <filesystem>

#include "ToolFiles.h"
#include "ToolOutput.h"
#include "qk_log.h"
#include "qkvfs/Manager.h"
#include "qkvfs/qk_vfs.h"

std::optional<MountSpec> parseMountSpec(const std::string& text, std::string& error) {
  // A drive ("C:") or a share where the system has them belongs to the source: the mount point is
  // looked for behind it. Linux has no root name, so there every colon counts.
  const size_t root = std::filesystem::u8path(text).root_name().u8string().size();
  size_t colon = text.find(":/", root);
  if (colon == std::string::npos) colon = text.find(':', root);
  if (colon == std::string::npos || colon == 0) {
    error = colon == 0 ? "no source before the mount point" : "expected SOURCE:MOUNTPOINT";
    return std::nullopt;
  }
  MountSpec spec;
  spec.source = text.substr(0, colon);
  std::string rest = text.substr(colon + 1);
  size_t next = rest.find(':');
  spec.mount_point = rest.substr(0, next);
  while (next != std::string::npos) {
    rest = rest.substr(next + 1);
    if (rest.compare(0, 4, "tag=") == 0) {
      spec.tag = rest.substr(4);
      break;
    }
    next = rest.find(':');
    const std::string word = rest.substr(0, next);
    if (word != "append") {
      error = "unknown option \"" + word + "\" (append or tag=TAG)";
      return std::nullopt;
    }
    spec.append = true;
  }
  return spec;
}

void addMountOption(CLI::App& command, std::vector<std::string>& texts) {
  command
      .add_option("--mount", texts,
                  "Mount a folder, a zip file or a .qkpk archive into the virtual file system: "
                  "SOURCE:MOUNTPOINT[:append][:tag=TAG]; "
                  "repeatable, later mounts win unless :append is given")
      ->take_all()
      ->allow_extra_args(false);
}

void addVerboseFlag(CLI::App& command) {
  command.add_flag_callback(
      "-v,--verbose", [] { qk_log_set_stderr_levels(0xFFFFu); },
      "Show the log's DEBUG lines too, such as \"Mounted: ...\"");
}

namespace {

// The tool's words for a failed mount; the file system's log lines above it give each driver's
// reason. The system's reason when nothing the drivers look for can be opened (the source, or the
// archive it names without its ending); otherwise the drivers found something and refused it.
std::string mountFailureReason(const std::string& source) {
  const std::string reason = unreadableReason(source);
  if (reason.empty() || unreadableReason(source + ".zip").empty() || unreadableReason(source + ".qkpk").empty())
    return "the lines above say why";
  return reason;
}

}  // namespace

int applyMounts(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    std::string error;
    const std::optional<MountSpec> spec = parseMountSpec(text, error);
    if (!spec) {
      writeErr("qkmt: --mount " + text + ": " + error + "\n");
      return 2;
    }
    uint64_t id = qkvfs::kMountFailed;
    try {
      id = qkvfs::manager().mount(spec->source.c_str(), spec->mount_point.c_str(), spec->append,
                                  spec->tag.empty() ? nullptr : spec->tag.c_str(), false);
    } catch (const std::exception& failure) {
      // A damaged archive index leaves the mount with the reader's error.
      writeErr("qkmt: --mount " + text + ": " + failure.what() + "\n");
      return 1;
    }
    if (id == qkvfs::kMountFailed) {
      writeErr("qkmt: --mount " + text + ": can't be mounted: " + mountFailureReason(spec->source) + "\n");
      return 1;
    }
  }
  return 0;
}
