#include "LintReport.h"

#include "JsonWriter.h"
#include "TextEscape.h"
#include "qk_format.h"

std::string lintText(const std::vector<LintFinding>& findings) {
  std::string out;
  size_t fatal = 0;
  for (const LintFinding& finding : findings) {
    out += visibleText(finding.path) + (finding.fatal ? ": error: " : ": ") + visibleText(finding.message) +
           "\n";
    if (finding.fatal) ++fatal;
  }
  if (findings.empty()) return "No findings.\n";
  out += qk_format("%zu %s", findings.size(), findings.size() == 1 ? "finding" : "findings");
  if (fatal) out += qk_format(", %zu of them %s the load or the host", fatal, fatal == 1 ? "stops" : "stop");
  return out + ".\n";
}

std::string lintJson(const std::string& file, const std::vector<LintFinding>& findings) {
  JsonWriter g;
  g.beginMap();
  g.text("file", file);
  g.key("warnings").beginArray();
  for (const LintFinding& finding : findings) {
    g.beginMap();
    g.text("path", finding.path);
    g.text("code", finding.code);
    g.text("message", finding.message);
    if (!finding.suggestion.empty()) g.text("suggestion", finding.suggestion);
    g.key("fatal").boolean(finding.fatal);
    g.endMap();
  }
  g.endArray();
  g.endMap();
  return g.document() + "\n";
}
