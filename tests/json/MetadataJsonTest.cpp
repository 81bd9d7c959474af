// parseMetadataJson: the document's shape, every error text, what stays after an error, and the
// getters' tag rules.
#include <gtest/gtest.h>

#include <string>

#include "qk/JsonNode.h"
#include "qk/Metadata.h"

namespace {

using qk::MetadataTable;

// The JsonError text of parsing `text`, or "" when it parsed.
std::string error_of(const char* text, MetadataTable& table) {
  try {
    qk::parseMetadataJson(text, table);
  } catch (const qk::JsonError& error) {
    return error.what();
  }
  return "";
}

std::string error_of(const char* text) {
  MetadataTable table;
  return error_of(text, table);
}

TEST(MetadataJson, ReadsEachTypeAndLaterEntriesReplaceEarlierOnes) {
  MetadataTable table;
  const char* text = R"({
    // comments are allowed
    "data/rock.dds": { "lod": { "type": "int", "value": -7 },
                       "gloss": { "type": "float", "value": 0.25 },
                       "kind": { "type": "string", "value": "stone" } },
    "data/sand.dds": { "gloss": { "type": "float", "value": 3 } },
    "data/rock.dds": { "lod": { "type": "int", "value": 9 } }
  })";
  ASSERT_EQ(error_of(text, table), "");
  ASSERT_EQ(table.size(), 2u);
  const qk::MetadataMap& rock = table.at("data/rock.dds");
  int64_t lod = 0;
  double gloss = 0;
  const char* kind = nullptr;
  EXPECT_TRUE(qk::metadataGetInt(&rock, "lod", lod));
  EXPECT_EQ(lod, 9);
  EXPECT_TRUE(qk::metadataGetFloat(&rock, "gloss", gloss));
  EXPECT_EQ(gloss, 0.25);
  EXPECT_TRUE(qk::metadataGetString(&rock, "kind", kind));
  EXPECT_STREQ(kind, "stone");
  EXPECT_TRUE(qk::metadataGetFloat(&table.at("data/sand.dds"), "gloss", gloss));  // an integer as float
  EXPECT_EQ(gloss, 3.0);
}

TEST(MetadataJson, ShapesWithNothingToStoreAreNoError) {
  for (const char* text : {"", "[]", "1", R"({"a": null})", R"({"a": 5})", R"({"a": {}})",
                           R"({"a": {"k": {"type": "bool", "value": true}}})"}) {
    MetadataTable table;
    EXPECT_EQ(error_of(text, table), "") << text;
    EXPECT_TRUE(table.empty()) << text;
  }
}

TEST(MetadataJson, EveryWrongShapeHasItsText) {
  EXPECT_EQ(error_of(R"({"a": {"k": 1}})"), "JsonNode::find() makes no sense for non-objects");
  EXPECT_EQ(error_of(R"({"a": {"k": {"value": 1}}})"), "Can't get json type");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": "int"}}})"), "Can't get json value");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": null, "value": 1}}})"), "Can't get json type");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": "int", "value": null}}})"), "Can't get json value");
  EXPECT_EQ(error_of(R"({"a": {"k": {"Type": "int", "value": 1}}})"), "Can't get json type");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": 1, "value": 1}}})"), "json type error");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": "string", "value": 1}}})"), "json type error");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": "float", "value": "1"}}})"), "json type error");
  // Too large for an integer: only the float reading takes it.
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": "int", "value": 123456789012345678901}}})"), "json type error");
  EXPECT_EQ(error_of(R"({"a": {"k": {"type": "float", "value": 123456789012345678901}}})"), "");
}

TEST(MetadataJson, TextThatIsntJsonGivesYajlsMessage) {
  const std::string broken = error_of(R"({"a": )");
  EXPECT_EQ(broken.rfind("JSON error: ", 0), 0u) << broken;
  EXPECT_GT(broken.size(), std::string("JSON error: ").size());
  const std::string blanks = error_of("   ");  // not empty, so it is parsed
  EXPECT_EQ(blanks.rfind("JSON error: ", 0), 0u) << blanks;
}

TEST(MetadataJson, AnErrorKeepsWhatCameBeforeAndTheMapMadeForIt) {
  MetadataTable table;
  const char* text = R"({"ok": {"n": {"type": "int", "value": 1}},
                         "a": {"k": {"type": "int", "value": 1.5}},
                         "later": {"n": {"type": "int", "value": 2}}})";
  EXPECT_EQ(error_of(text, table), "json type error");
  EXPECT_EQ(table.size(), 2u);
  EXPECT_TRUE(table.at("a").empty());  // made before the value's type was tested
  EXPECT_EQ(table.count("later"), 0u);
}

TEST(Metadata, AWholeFloatIsNoInteger) {
  qk::MetadataMap map;
  qk::metadataSetFloat(map, "whole", 2.0);
  int64_t number = 77;
  EXPECT_FALSE(qk::metadataGetInt(&map, "whole", number));
  EXPECT_EQ(number, 77);  // left alone
}

}  // namespace
