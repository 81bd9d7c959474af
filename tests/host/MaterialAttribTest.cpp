// The attribute: how it comes to a material and goes, how a catalogue entry is applied, and its
// scene chunks byte for byte, saved and loaded.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ChunkFile.h"
#include "ChunkReader.h"
#include "ChunkWriter.h"
#include "HostFixture.h"
#include "MaterialAttribChunks.h"

namespace {

std::string u32(uint32_t value) {
  std::string out;
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
  return out;
}

std::string chunk(USHORT id, const std::string& body) {
  return std::string{static_cast<char>(id & 0xFF), static_cast<char>(id >> 8)} +
         u32(static_cast<uint32_t>(body.size() + 6)) + body;
}

std::string wide(const std::string& ascii) {
  std::string out;
  for (char c : ascii) out += std::string{c, '\0'};
  return out + std::string(2, '\0');
}

class MaterialAttribTest : public HostTest {
 protected:
  MaterialAttribTest() { catalogue(); }

  // A fresh attribute, as the host makes one for a scene, that has read `data`.
  std::unique_ptr<MaterialAttrib> load(const std::string& data, IOResult* result = nullptr) {
    auto attrib = std::make_unique<MaterialAttrib>();
    const ChunkFile file(data);
    ChunkReader reader(file, -1);
    const IOResult r = attrib->Load(&reader);
    if (result) *result = r;
    return attrib;
  }

  static std::string saved(MaterialAttrib& attrib) {
    ChunkWriter out;
    EXPECT_EQ(attrib.Save(&out), IO_OK);
    EXPECT_TRUE(out.complete());
    return out.bytes();
  }
};

// ---- coming and going --------------------------------------------------------------------------

TEST_F(MaterialAttribTest, GetOrCreateAddsOneAttributeSetToDefaultAndThenFindsIt) {
  StandardMaterial* m = material("m");
  EXPECT_EQ(m->GetCustAttribContainer(), nullptr);
  MaterialAttrib* attrib = getOrCreateMaterialAttrib(m);
  EXPECT_STREQ(attrib->getMaterialDesc()->getName(), "default");
  EXPECT_STREQ(attrib->getMaterialDesc()->getShaderName(), "lit");
  EXPECT_EQ(getOrCreateMaterialAttrib(m), attrib);
  EXPECT_EQ(m->GetCustAttribContainer()->GetNumCustAttribs(), 1);
}

TEST_F(MaterialAttribTest, WithoutADefaultEntryTheNewAttributeKeepsTheDefaults) {
  catalogue("materials = { other = { misc = { opacity = 'blend' } } }");
  MaterialAttrib* attrib = getOrCreateMaterialAttrib(material("m"));
  EXPECT_STREQ(attrib->getMaterialDesc()->getName(), "");
  EXPECT_EQ(attrib->getMaterialDesc()->getOpacity(), 0);
  EXPECT_TRUE(attrib->getMaterialDesc()->getShadowCaster());
}

TEST_F(MaterialAttribTest, TheFirstOfTwoIsFoundAndRemovalTakesEveryOneOfTheClass) {
  StandardMaterial* m = material("m");
  EXPECT_EQ(findMaterialAttrib(nullptr), nullptr);
  EXPECT_FALSE(hasMaterialAttrib(m));  // no container
  m->AllocCustAttribContainer();
  EXPECT_FALSE(hasMaterialAttrib(m));  // an empty one
  ICustAttribContainer* container = m->GetCustAttribContainer();
  container->AppendCustAttrib(new CustAttrib);  // an attribute of another class
  auto* first = new MaterialAttrib;
  container->AppendCustAttrib(first);
  container->AppendCustAttrib(new MaterialAttrib);
  EXPECT_EQ(findMaterialAttrib(m), first);
  EXPECT_EQ(getOrCreateMaterialAttrib(m), first);
  removeMaterialAttribs(m);
  EXPECT_FALSE(hasMaterialAttrib(m));
  EXPECT_EQ(container->GetNumCustAttribs(), 1);
  removeMaterialAttribs(nullptr);
}

// ---- applying a catalogue entry ----------------------------------------------------------------

TEST_F(MaterialAttribTest, LegacyNamesApplyTheirEntryWithTheirShadowFlags) {
  struct Case {
    const char* given;
    const char* entry;
    bool caster, only;
  };
  for (const Case& c :
       {Case{"only_shadow", "default", true, true}, Case{"default_no_shadow", "default", false, false},
        Case{"building_no_shadow", "building", false, false}}) {
    MaterialAttrib attrib;
    EXPECT_TRUE(attrib.setMaterial(c.given)) << c.given;
    const IMaterialDesc& desc = *attrib.getMaterialDesc();
    EXPECT_STREQ(desc.getName(), c.entry);
    EXPECT_EQ(desc.getShadowCaster(), c.caster) << c.given;
    EXPECT_EQ(desc.getOnlyShadowCaster(), c.only) << c.given;
  }
  MaterialAttrib attrib;
  attrib.setMaterial("Only_Shadow");  // exact comparison: not a legacy name, and not an entry
  EXPECT_STREQ(attrib.getMaterialDesc()->getName(), "");
}

TEST_F(MaterialAttribTest, AnEntryReplacesEveryFieldButTheUserUniforms) {
  MaterialAttrib attrib;
  MaterialDescExt& desc = *attrib.getMaterialDescExt();
  desc.setUserUniforms("x=1\r\n");
  desc.setOpacity(6);
  desc.setDecal(4);
  ASSERT_TRUE(attrib.setMaterial("building"));
  EXPECT_EQ(desc.getOpacity(), 1);
  EXPECT_EQ(desc.getDecal(), 0);
  EXPECT_TRUE(desc.getDepthBias());
  EXPECT_STREQ(desc.getShaderName(), "facade");
  EXPECT_STREQ(desc.getUserUniforms(), "x=1\r\n");

  EXPECT_FALSE(attrib.setMaterial("unknown"));
  EXPECT_STREQ(desc.getName(), "building");
  EXPECT_EQ(desc.getOpacity(), 1);
  EXPECT_TRUE(desc.getOnlyShadowCaster());
}

TEST_F(MaterialAttribTest, AllowedNodesAndObjectsAnswerForTheExporter) {
  MaterialAttrib attrib;
  EXPECT_TRUE(attrib.isNodeAllowed("anything"));
  EXPECT_TRUE(attrib.isObjectAllowed(ObjectKind::Spline));
  attrib.setMaterial("glass");
  EXPECT_TRUE(attrib.isNodeAllowed("Door"));
  EXPECT_FALSE(attrib.isNodeAllowed("door"));
  EXPECT_FALSE(attrib.isNodeAllowed("Doo"));
  EXPECT_TRUE(attrib.isObjectAllowed(ObjectKind::Line));
  EXPECT_FALSE(attrib.isObjectAllowed(ObjectKind::Spline));
}

TEST_F(MaterialAttribTest, CloneAndCopyCarryTheDescriptionAndUserUniforms) {
  MaterialAttrib attrib;
  attrib.setMaterial("glass");
  attrib.getMaterialDescExt()->setUserUniforms("u=2\r\n");
  attrib.getMaterialDescExt()->setDecal(7);
  RemapDir remap;
  std::unique_ptr<MaterialAttrib> clone(static_cast<MaterialAttrib*>(attrib.Clone(remap)));
  EXPECT_STREQ(clone->getMaterialDesc()->getName(), "glass");
  EXPECT_STREQ(clone->getMaterialDesc()->getUserUniforms(), "u=2\r\n");
  EXPECT_EQ(clone->getMaterialDesc()->getDecal(), 7);
  EXPECT_NE(clone->getMaterialDesc(), attrib.getMaterialDesc());

  MaterialAttrib other;
  other.copySettingsFrom(attrib);
  EXPECT_STREQ(other.getMaterialDesc()->getUserUniforms(), "u=2\r\n");
  EXPECT_TRUE(other.isObjectAllowed(ObjectKind::Mesh));
  EXPECT_FALSE(other.isObjectAllowed(ObjectKind::Spline));
}

// ---- scene chunks ------------------------------------------------------------------------------

TEST_F(MaterialAttribTest, SaveWritesTheChunksInOrderByteForByte) {
  MaterialAttrib attrib;
  attrib.setMaterial("glass");
  MaterialDescExt& desc = *attrib.getMaterialDescExt();
  desc.setUserUniforms("u=1\r\n");
  desc.setOpacity(0x106);  // only the low byte is saved
  desc.setDepthBias(true);
  desc.setShadowCaster(false);
  desc.setOnlyShadowCaster(true);
  desc.setDecal(5);
  EXPECT_EQ(saved(attrib), chunk(0x1000, u32(5)) + chunk(0x1010, wide("glass")) +
                               chunk(0x1020, wide("u=1\r\n")) + chunk(0x1050, "\x06") +
                               chunk(0x1060, "\x01") + chunk(0x1070, std::string("\0\0\1", 3)) +
                               chunk(0x1080, "\x05"));
}

TEST_F(MaterialAttribTest, ARetiredNameIsSavedAsDefault) {
  MaterialAttrib attrib;
  attrib.getMaterialDescExt()->name = "metal";
  const std::string bytes = saved(attrib);
  EXPECT_NE(bytes.find(chunk(0x1010, wide("default"))), std::string::npos);
}

TEST_F(MaterialAttribTest, ASavedAttributeComesBackWithItsValuesOverTheCatalogues) {
  MaterialAttrib attrib;
  attrib.setMaterial("building");
  MaterialDescExt& desc = *attrib.getMaterialDescExt();
  desc.setOpacity(6);
  desc.setDecal(5);
  desc.setDepthBias(false);
  desc.setShadowCaster(true);
  desc.setOnlyShadowCaster(false);
  desc.setUserUniforms("a=b\r\n");
  std::unique_ptr<MaterialAttrib> back = load(saved(attrib));
  const IMaterialDesc& loaded = *back->getMaterialDesc();
  EXPECT_STREQ(loaded.getName(), "building");
  EXPECT_STREQ(loaded.getShaderName(), "facade");  // from the catalogue, by the name
  EXPECT_EQ(loaded.getOpacity(), 6);
  EXPECT_EQ(loaded.getDecal(), 5);
  EXPECT_FALSE(loaded.getDepthBias());
  EXPECT_TRUE(loaded.getShadowCaster());
  EXPECT_FALSE(loaded.getOnlyShadowCaster());
  EXPECT_STREQ(loaded.getUserUniforms(), "a=b\r\n");
}

TEST_F(MaterialAttribTest, LoadedNamesAreCanonicalAndLegacyFlagsYieldToTheShadowChunk) {
  EXPECT_STREQ(load(chunk(0x1010, wide("metal")))->getMaterialDesc()->getName(), "default");
  std::unique_ptr<MaterialAttrib> legacy = load(chunk(0x1010, wide("only_shadow")));
  EXPECT_TRUE(legacy->getMaterialDesc()->getOnlyShadowCaster());
  legacy = load(chunk(0x1010, wide("only_shadow")) + chunk(0x1070, std::string("\1\0\0", 3)));
  EXPECT_FALSE(legacy->getMaterialDesc()->getOnlyShadowCaster());
  // An unknown name leaves the fresh attribute's defaults, and the later chunks apply.
  std::unique_ptr<MaterialAttrib> unknown = load(chunk(0x1010, wide("gone")) + chunk(0x1080, "\x03"));
  EXPECT_STREQ(unknown->getMaterialDesc()->getName(), "");
  EXPECT_EQ(unknown->getMaterialDesc()->getDecal(), 3);
}

TEST_F(MaterialAttribTest, VersionThreeChunksAreReadOnlyInVersionThree) {
  const std::string shortLegacy = chunk(0x1030, "x") + chunk(0x1040, "tiny");  // both too short to read
  IOResult result = IO_ERROR;
  const ChunkFile v5(chunk(0x1000, u32(5)) + shortLegacy + chunk(0x1050, "\x02"));
  MaterialAttrib fresh;
  ChunkReader reader(v5, -1);
  EXPECT_EQ(fresh.Load(&reader), IO_OK);
  EXPECT_FALSE(reader.failed());  // skipped without reading
  EXPECT_EQ(fresh.getMaterialDesc()->getOpacity(), 2);

  const ChunkFile v3(chunk(0x1000, u32(3)) + shortLegacy);
  ChunkReader reader3(v3, -1);
  MaterialAttrib old;
  EXPECT_EQ(old.Load(&reader3), IO_OK);
  EXPECT_EQ(reader3.failure(), "chunk 0x1030 at offset 10: a string of odd length 1");

  const std::string legacy = chunk(0x1030, wide("old")) + chunk(0x1040, std::string(27, '\7'));
  load(chunk(0x1000, u32(3)) + legacy + chunk(0x1060, "\x01"), &result);
  EXPECT_EQ(result, IO_OK);
}

TEST_F(MaterialAttribTest, UnknownChunksAreSkippedAndOnlyAFailedVersionReadFailsTheLoad) {
  IOResult result = IO_ERROR;
  std::unique_ptr<MaterialAttrib> attrib =
      load(chunk(0x1005, "??") + chunk(0x2000, "") + chunk(0x1080, "") + chunk(0x1060, "\x01"), &result);
  EXPECT_EQ(result, IO_OK);
  EXPECT_TRUE(attrib->getMaterialDesc()->getDepthBias());
  EXPECT_EQ(attrib->getMaterialDesc()->getDecal(), 0);  // the short decal chunk changed nothing
  load(chunk(0x1000, "\5\0") + chunk(0x1060, "\x01"), &result);
  EXPECT_EQ(result, IO_ERROR);
}

}  // namespace
