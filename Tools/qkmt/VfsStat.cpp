#include "VfsStat.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "FixedString.h"
#include "JsonWriter.h"
#include "platform/qk_platform.h"
#include "qk_format.h"
#include "qk_path.h"
#include "qkvfs/Manager.h"

namespace {

const char* type_name(uint32_t tag) {
  switch (tag) {
    case qk::MetadataValue::INTEGER: return "int";
    case qk::MetadataValue::FLOAT: return "float";
    default: return "string";
  }
}

double float_of(const qk::MetadataValue& value) {
  double number = 0;
  std::memcpy(&number, &value.number, sizeof number);
  return number;
}

std::string utc_text(uint64_t seconds) {
  qk_platform_calendar t;
  if (!qk_platform_utc_time(int64_t(seconds), t)) return "?";
  FixedString<64> text;
  text.format("%04d-%02d-%02d %02d:%02d:%02d UTC", t.year + 1900, t.month + 1, t.day, t.hour, t.minute,
              t.second);
  return text.c_str();
}

struct Collected {
  VfsStatReport* report;
  bool first = true;
};

}  // namespace

VfsStatReport statVirtualPath(qkvfs::Manager& vfs, const std::string& path) {
  VfsStatReport report;
  report.path = path;
  std::string key;
  if (qk_path_normalize(path, key, true) == "/") {
    report.found = true;
    report.info.type = qkvfs::kDirectory;
    return report;
  }
  report.found = vfs.stat(path, report.info);
  if (!report.found || report.info.type == qkvfs::kDirectory) return report;
  Collected collected{&report};
  vfs.for_each_holder(
      path,
      [](qkvfs::IDriver& driver, uint64_t entry, void* context) {
        auto& seen = *static_cast<Collected*>(context);
        seen.report->sources.push_back(driver.source);
        if (!std::exchange(seen.first, false)) return;
        auto* source = dynamic_cast<qkvfs::IMetadataSource*>(&driver);
        const qk::MetadataMap* map = source ? source->metadata_of(entry) : nullptr;
        if (!map) return;
        seen.report->metadata.assign(map->begin(), map->end());
        std::sort(seen.report->metadata.begin(), seen.report->metadata.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
      },
      &collected);
  return report;
}

std::string renderStat(const VfsStatReport& report) {
  const bool file = report.info.type != qkvfs::kDirectory;
  std::string text = "path: " + report.path + "\n";
  text += std::string("type: ") + (file ? "file" : "dir") + "\n";
  if (!file) return text;
  text += "size: " + std::to_string(report.info.size) + "\n";
  text += "time: " + std::to_string(report.info.time) + " (" + utc_text(report.info.time) + ")\n";
  text += "source: " + (report.sources.empty() ? std::string() : report.sources.front()) + "\n";
  text += "copies: " + std::to_string(report.sources.size()) + "\n";
  for (const std::string& source : report.sources) text += "  " + source + "\n";
  text += "metadata:" + std::string(report.metadata.empty() ? " none" : "") + "\n";
  for (const auto& [key, value] : report.metadata) {
    std::string shown;
    if (value.tag == qk::MetadataValue::INTEGER)
      shown = std::to_string(int64_t(value.number));
    else if (value.tag == qk::MetadataValue::FLOAT)
      shown = qk_format("%.17g", float_of(value));
    else
      shown = "\"" + value.text + "\"";
    text += "  " + key + " = " + shown + " (" + type_name(value.tag) + ")\n";
  }
  return text;
}

std::string renderStatJson(const VfsStatReport& report) {
  const bool file = report.info.type != qkvfs::kDirectory;
  JsonWriter json;
  json.beginMap().text("path", report.path).key("type").string(file ? "file" : "dir");
  if (file) {
    json.key("size").integer(static_cast<long long>(report.info.size));
    json.key("time").integer(static_cast<long long>(report.info.time));
    json.text("source", report.sources.empty() ? std::string() : report.sources.front());
    json.texts("copies", report.sources);
    json.key("metadata").beginMap();
    for (const auto& [key, value] : report.metadata) {
      json.key(key).beginMap().key("type").string(type_name(value.tag)).key("value");
      if (value.tag == qk::MetadataValue::INTEGER)
        json.integer(static_cast<long long>(int64_t(value.number)));
      else if (value.tag == qk::MetadataValue::FLOAT)
        json.real(float_of(value));
      else
        json.string(value.text);
      json.endMap();
    }
    json.endMap();
  }
  json.endMap();
  return json.document() + "\n";
}
