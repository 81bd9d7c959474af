// The description model: catalogue records, working copies, and how one is copied over the other.
#include <stdexcept>

#include <gtest/gtest.h>

#include "MaterialDesc.h"
#include "MaterialDescExt.h"

namespace {

MaterialDesc record() {
  MaterialDesc d;
  d.name = "glass";
  d.shaderName = "glass_shader";
  d.defaultUniforms = "a=1\r\n";
  d.defaultUserDefines = "A = \"1\";";
  d.textures.push_back({"diffuse", "Diffuse Color", 2, "s=1\r\n"});
  d.opacity = OPACITY_BLEND;
  d.shadowCaster = false;
  d.onlyShadowCaster = true;
  d.depthBias = true;
  d.decal = 3;
  d.normals = false;
  d.allowedNodes = {"n1"};
  d.allowedObjects = {ObjectKind::Line};
  return d;
}

void expectSameCatalogueFields(const MaterialDesc& a, const MaterialDesc& b) {
  EXPECT_EQ(a.name, b.name);
  EXPECT_EQ(a.shaderName, b.shaderName);
  EXPECT_EQ(a.defaultUniforms, b.defaultUniforms);
  EXPECT_EQ(a.defaultUserDefines, b.defaultUserDefines);
  ASSERT_EQ(a.textures.size(), b.textures.size());
  EXPECT_EQ(a.textures[0].uniforms, b.textures[0].uniforms);
  EXPECT_EQ(a.opacity, b.opacity);
  EXPECT_EQ(a.shadowCaster, b.shadowCaster);
  EXPECT_EQ(a.onlyShadowCaster, b.onlyShadowCaster);
  EXPECT_EQ(a.depthBias, b.depthBias);
  EXPECT_EQ(a.decal, b.decal);
  EXPECT_EQ(a.normals, b.normals);
  EXPECT_EQ(a.allowedNodes, b.allowedNodes);
  EXPECT_EQ(a.allowedObjects, b.allowedObjects);
}

TEST(MaterialDesc, DefaultsCastShadowsWithNormalsAndNothingElse) {
  const MaterialDesc d;
  EXPECT_TRUE(d.getShadowCaster());
  EXPECT_TRUE(d.getNormals());
  EXPECT_FALSE(d.getOnlyShadowCaster());
  EXPECT_FALSE(d.getDepthBias());
  EXPECT_EQ(d.getDecal(), 0);
  EXPECT_EQ(d.getOpacity(), 0);
  EXPECT_STREQ(d.getName(), "");
  EXPECT_STREQ(d.getShaderName(), "");
  EXPECT_STREQ(d.getDefaultUniforms(), "");
  EXPECT_STREQ(d.getDefaultUserDefines(), "");
  EXPECT_EQ(d.getTextureCount(), 0u);
  EXPECT_TRUE(d.allowedNodes.empty() && d.allowedObjects.empty());
}

TEST(MaterialDesc, ACatalogueRecordIgnoresWhatTheArtistTypes) {
  MaterialDesc d = record();
  d.setUserUniforms("x=1\r\n");
  d.setOpacity(OPACITY_ALPHA_TEST);
  EXPECT_STREQ(d.getUserUniforms(), "");
  EXPECT_EQ(d.getOpacity(), OPACITY_BLEND);
  // The flag setters do act on a record.
  d.setDepthBias(false);
  d.setDecal(8);
  EXPECT_FALSE(d.getDepthBias());
  EXPECT_EQ(d.getDecal(), 8);
}

TEST(MaterialDesc, AWorkingCopyStoresWhatTheArtistTypes) {
  MaterialDescExt d;
  d.setUserUniforms("x=1\r\n");
  d.setOpacity(OPACITY_ALPHA_TEST);
  EXPECT_STREQ(d.getUserUniforms(), "x=1\r\n");
  EXPECT_EQ(d.getOpacity(), OPACITY_ALPHA_TEST);
  IMaterialDesc& face = d;  // through the exporter's interface as well
  face.setOpacity(OPACITY_SUM_BLEND);
  EXPECT_EQ(face.getOpacity(), OPACITY_SUM_BLEND);
}

TEST(MaterialDesc, AssigningARecordKeepsTheUserUniforms) {
  MaterialDescExt working;
  working.setOpacity(OPACITY_SUM_BLEND);
  working.setUserUniforms("x");
  const MaterialDesc source = record();
  working = source;
  expectSameCatalogueFields(working, source);
  EXPECT_EQ(working.getOpacity(), OPACITY_BLEND);
  EXPECT_STREQ(working.getUserUniforms(), "x");
}

TEST(MaterialDesc, SelfAssignmentLeavesEveryField) {
  MaterialDesc d = record();
  const MaterialDesc before = d;
  MaterialDesc& same = d;
  d = same;
  expectSameCatalogueFields(d, before);
}

TEST(MaterialDesc, ACopyIsIndependent) {
  MaterialDesc original = record();
  MaterialDesc copy(original);
  original.textures[0].tex = "changed";
  original.allowedNodes.insert("n2");
  EXPECT_EQ(copy.textures[0].tex, "Diffuse Color");
  EXPECT_EQ(copy.allowedNodes.size(), 1u);
}

TEST(MaterialDesc, GetTextureCopiesAndRefusesAnIndexPastTheEnd) {
  const MaterialDesc d = record();
  TextureDesc t;
  d.getTexture(0, t);
  EXPECT_EQ(t.name, "diffuse");
  EXPECT_EQ(t.tex, "Diffuse Color");
  EXPECT_EQ(t.channel, 2);
  EXPECT_EQ(t.uniforms, "s=1\r\n");
  try {
    d.getTexture(d.getTextureCount(), t);
    FAIL() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "invalid vector subscript");
  }
}

}  // namespace
