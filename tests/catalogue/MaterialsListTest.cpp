// The lazy load of the catalogue and its four states.
#include <string>

#include <gtest/gtest.h>

#include "MaterialsList.h"
#include "RecordingHost.h"
#include "TempDir.h"

namespace {

class MaterialsListLazy : public ::testing::Test {
 protected:
  void writeCatalogue(const std::string& script) { dir.write("plugcfg/materials.lua", script); }

  MaterialsListLazy() { std::filesystem::create_directory(dir.path() / "plugcfg"); }

  TempDir dir;
  RecordingHost host{"plugcfg"};
  MaterialsList list;
};

TEST_F(MaterialsListLazy, TheFirstLookUpLoadsFromThePlugInConfigurationDirectory) {
  writeCatalogue("materials = { default = { shader_name = 's' } }");
  EXPECT_TRUE(list.materials().empty());  // nothing loads before it is needed
  const MaterialDesc* found = list.findMaterial("default");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->shaderName, "s");
  EXPECT_EQ(list.findMaterial("Default"), nullptr);  // case-sensitive
  EXPECT_FALSE(list.loadFailed());
}

TEST_F(MaterialsListLazy, ALoadedListIsNeverLoadedAgain) {
  writeCatalogue("materials = { a = {} }");
  ASSERT_EQ(list.getMaterials().size(), 1u);
  writeCatalogue("materials = { a = {}, b = {} }");
  EXPECT_EQ(list.getMaterials().size(), 1u);
  EXPECT_EQ(list.findMaterial("b"), nullptr);
}

TEST_F(MaterialsListLazy, AFailedLoadShowsOneBoxAndIsNotRetried) {
  writeCatalogue("materials = {");
  EXPECT_TRUE(list.getMaterials().empty());
  EXPECT_TRUE(list.loadFailed());
  writeCatalogue("materials = { a = {} }");
  EXPECT_TRUE(list.getMaterials().empty());
  EXPECT_EQ(list.findMaterial("a"), nullptr);
  ASSERT_EQ(host.boxes.size(), 1u);
  EXPECT_EQ(host.boxes[0].text.rfind("Can't load file: plugcfg/materials.lua. Reason: ", 0), 0u);
}

TEST_F(MaterialsListLazy, AnEmptyCatalogueRunsAgainAtEveryCall) {
  writeCatalogue("materials = {}");
  EXPECT_TRUE(list.getMaterials().empty());
  EXPECT_FALSE(list.loadFailed());
  writeCatalogue("materials = { a = {} }");
  EXPECT_EQ(list.getMaterials().size(), 1u);
  EXPECT_TRUE(host.boxes.empty());
}

TEST_F(MaterialsListLazy, APartialListIsServedAfterItsFailure) {
  writeCatalogue("materials = { a = {}, b = {}, c = {}, bad = 1 }");
  const size_t loaded = list.getMaterials().size();
  EXPECT_TRUE(list.loadFailed());
  EXPECT_EQ(host.boxes.size(), 1u);
  for (const MaterialDesc& m : list.materials()) EXPECT_EQ(list.findMaterial(m.name), &m);
  EXPECT_EQ(list.getMaterials().size(), loaded);
  EXPECT_EQ(host.boxes.size(), 1u);
}

TEST_F(MaterialsListLazy, AMissingCatalogueLeavesTheListFailedAndEmpty) {
  EXPECT_EQ(list.findMaterial("default"), nullptr);
  EXPECT_TRUE(list.loadFailed());
  ASSERT_EQ(host.boxes.size(), 1u);
  EXPECT_EQ(host.boxes[0].text,
            "Can't load file: plugcfg/materials.lua. Reason: no file 'plugcfg/materials.lua'");
}

TEST_F(MaterialsListLazy, TheProcessWideListServesTheFreeFunctions) {
  writeCatalogue("materials = { only = {} }");
  EXPECT_EQ(&getMaterials(), &theMaterialsList().materials());
  ASSERT_NE(findMaterial("only"), nullptr);
  EXPECT_EQ(findMaterial("only"), &theMaterialsList().materials()[0]);
}

}  // namespace
