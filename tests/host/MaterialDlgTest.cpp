// The attribute's rollup, driven through its controls: fill, refresh and apply rules, the material
// change, the copy to picked materials, the texture uniforms report and the width adjustment.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "HostFixture.h"
#include "MaterialDlg.h"
#include "Resource.h"
#include "TextureUniformsReport.h"

namespace {

class MaterialDlgTest : public HostTest {
 protected:
  MaterialDlgTest() { catalogue(); }

  // Shows the rollup of `m`'s attribute, made if missing, at `width` pixels.
  MaterialDescExt& show(MtlBase* m, int width = 432) {
    MaterialAttrib* attrib = getOrCreateMaterialAttrib(m);
    EXPECT_NE(host.materialEditor().show(*attrib, width), nullptr);
    page = host.materialEditor().pages().back();
    return *attrib->getMaterialDescExt();
  }
  HWND item(int id) { return GetDlgItem(page, id); }
  void select(int id, int index) {
    ComboBox_SetCurSel(item(id), index);
    sendCommand(page, id, CBN_SELCHANGE);
  }
  void check(int id, bool on) {
    Button_SetCheck(item(id), on ? BST_CHECKED : BST_UNCHECKED);
    sendCommand(page, id, BN_CLICKED);
  }
  void type(const std::string& text) { SetWindowTextW(item(IDC_USER_UNIFORMS), qk_to_wide(text).c_str()); }
  std::string text(int id) { return qk_to_utf8(GetWindowTextString(item(id)).c_str()); }
  std::vector<std::string> entries(int id) {
    std::vector<std::string> out;
    for (int i = 0; i < ComboBox_GetCount(item(id)); ++i)
      out.push_back(qk_to_utf8(ComboBox_GetItemText(item(id), i).c_str()));
    return out;
  }
  int catalogueIndex(const std::string& name) {
    const auto& list = getMaterials();
    for (size_t i = 0; i < list.size(); ++i)
      if (list[i].name == name) return static_cast<int>(i);
    return -1;
  }
  RECT rect(int id) {
    RECT control, rollup;
    GetWindowRect(item(id), &control);
    GetWindowRect(page, &rollup);
    return {control.left - rollup.left, control.top - rollup.top, control.right - rollup.left,
            control.bottom - rollup.top};
  }

  HWND page = nullptr;
};

// ---- fill and refresh --------------------------------------------------------------------------

TEST_F(MaterialDlgTest, TheRollupShowsTheDescription) {
  StandardMaterial* m = material("m");
  MaterialDescExt& desc = show(m);
  EXPECT_EQ(GetWindowTextString(page), u"Material Attributes");
  EXPECT_EQ(entries(IDC_OPACITY), (std::vector<std::string>{"None", "Blend", "Alpha test", "Sum. blending",
                                                            "Z written blending", "Shadowed blend"}));
  EXPECT_EQ(entries(IDC_DECAL), (std::vector<std::string>{"0 (no decal)", "1 (draw first)", "2", "3", "4",
                                                          "5", "6", "7", "8 (draw last)"}));
  std::vector<std::string> names;
  for (const MaterialDesc& record : getMaterials()) names.push_back(record.name);
  EXPECT_EQ(entries(IDC_MATERIAL), names);  // in list order, unsorted
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_MATERIAL)), catalogueIndex("default"));
  EXPECT_EQ(text(IDC_DEFAULT_UNIFORMS), "tint=1 1 1\r\n");

  desc.setUserUniforms("u=1\r\n");
  desc.setOpacity(6);
  desc.setDecal(8);
  desc.setDepthBias(true);
  desc.setShadowCaster(false);
  desc.setOnlyShadowCaster(true);
  host.materialEditor().shown()->ReloadDialog();
  EXPECT_EQ(text(IDC_USER_UNIFORMS), "u=1\r\n");
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_OPACITY)), 5);
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_DECAL)), 8);
  EXPECT_EQ(IsDlgButtonChecked(page, IDC_ZBIAS), BST_CHECKED);
  EXPECT_EQ(IsDlgButtonChecked(page, IDC_SHADOW_CASTER), BST_UNCHECKED);
  EXPECT_EQ(IsDlgButtonChecked(page, IDC_ONLY_SHADOW_CASTER), BST_CHECKED);

  desc.setOpacity(4);  // no entry shows 4: the combo keeps what it showed
  host.materialEditor().shown()->ActivateDlg(FALSE);
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_OPACITY)), 5);
}

TEST_F(MaterialDlgTest, ANameTheCatalogueLacksShowsNoSelectionAndApplyReadsNothing) {
  StandardMaterial* m = material("m");
  MaterialDescExt& desc = show(m);
  desc.name = "retired long ago";
  host.materialEditor().shown()->ReloadDialog();
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_MATERIAL)), CB_ERR);
  type("typed");
  check(IDC_ZBIAS, true);
  EXPECT_FALSE(desc.getDepthBias());
  EXPECT_STREQ(desc.getUserUniforms(), "");
  desc.name = "GLASS";  // the combo's search ignores case
  host.materialEditor().shown()->ReloadDialog();
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_MATERIAL)), catalogueIndex("glass"));
}

TEST_F(MaterialDlgTest, AnEmptyCatalogueLeavesTheComboEmptyAndTheControlsInert) {
  catalogue("materials = {}");
  StandardMaterial* m = material("m");
  MaterialDescExt& desc = show(m);
  EXPECT_EQ(ComboBox_GetCount(item(IDC_MATERIAL)), 0);
  check(IDC_SHADOW_CASTER, false);
  select(IDC_OPACITY, 2);
  EXPECT_TRUE(desc.getShadowCaster());
  EXPECT_EQ(desc.getOpacity(), 0);
}

// ---- changes and apply -------------------------------------------------------------------------

TEST_F(MaterialDlgTest, ZWrittenBlendingStoresSumBlendingAndShowsAsIt) {
  StandardMaterial* m = material("m");
  MaterialDescExt& desc = show(m);
  select(IDC_OPACITY, 4);
  EXPECT_EQ(desc.getOpacity(), 3);
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_OPACITY)), 4);
  show(m);  // reopened
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_OPACITY)), 3);
}

TEST_F(MaterialDlgTest, PickingAnotherMaterialClearsTheUniformsAndTakesTheCataloguesValues) {
  MaterialDescExt& desc = show(material("m"));
  type("mine=1\r\n");
  SendMessageW(page, WM_CUSTEDIT_ENTER, IDC_USER_UNIFORMS, reinterpret_cast<LPARAM>(item(IDC_USER_UNIFORMS)));
  EXPECT_STREQ(desc.getUserUniforms(), "mine=1\r\n");
  select(IDC_DECAL, 6);
  select(IDC_MATERIAL, catalogueIndex("default"));  // the same name: no change
  EXPECT_STREQ(desc.getUserUniforms(), "mine=1\r\n");
  EXPECT_EQ(desc.getDecal(), 6);

  select(IDC_MATERIAL, catalogueIndex("building"));
  EXPECT_STREQ(desc.getName(), "building");
  EXPECT_STREQ(desc.getUserUniforms(), "");
  EXPECT_EQ(desc.getDecal(), 0);
  EXPECT_EQ(text(IDC_USER_UNIFORMS), "");
  EXPECT_EQ(ComboBox_GetCurSel(item(IDC_OPACITY)), 1);
  EXPECT_EQ(IsDlgButtonChecked(page, IDC_ZBIAS), BST_CHECKED);
  EXPECT_EQ(IsDlgButtonChecked(page, IDC_SHADOW_CASTER), BST_UNCHECKED);
  EXPECT_EQ(IsDlgButtonChecked(page, IDC_ONLY_SHADOW_CASTER), BST_CHECKED);
}

TEST_F(MaterialDlgTest, AnyChangeTakesEveryControlIncludingTextTypedWithoutEnter) {
  MaterialDescExt& desc = show(material("m"));
  type("a=1\r\n");
  select(IDC_DECAL, 3);
  Button_SetCheck(item(IDC_ONLY_SHADOW_CASTER), BST_CHECKED);  // no notification yet
  check(IDC_ZBIAS, true);
  EXPECT_STREQ(desc.getUserUniforms(), "a=1\r\n");
  EXPECT_TRUE(desc.getDepthBias());
  EXPECT_TRUE(desc.getOnlyShadowCaster());
  EXPECT_EQ(desc.getDecal(), 3);

  type(std::string(3000, 'x'));
  check(IDC_SHADOW_CASTER, false);
  EXPECT_EQ(std::string(desc.getUserUniforms()).size(), 2047u);
  EXPECT_FALSE(desc.getShadowCaster());
}

TEST_F(MaterialDlgTest, ASelectionPastTheListIsOutOfRange) {
  show(material("m"));
  const int extra = ComboBox_AddString(item(IDC_MATERIAL), u"stale");
  try {
    select(IDC_MATERIAL, extra);
    FAIL() << "no error";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "invalid vector subscript");
  }
}

// ---- the two buttons ---------------------------------------------------------------------------

TEST_F(MaterialDlgTest, SetToMaterialsCopiesToThePickedMaterialsOnly) {
  StandardMaterial* source = material("source");
  StandardMaterial* picked = material("picked");
  MapTexture* texture = map("texture");
  MaterialDescExt& desc = show(source);
  getOrCreateMaterialAttrib(source)->setMaterial("glass");
  desc.setUserUniforms("u=1\r\n");
  sendCommand(page, IDC_SET_TO_MATERIALS, BN_CLICKED);  // cancelled
  EXPECT_EQ(attribCount(picked), 0);
  services.pick = std::vector<Animatable*>{picked, texture, source};
  sendCommand(page, IDC_SET_TO_MATERIALS, BN_CLICKED);
  ASSERT_EQ(attribCount(picked), 1);
  EXPECT_STREQ(findMaterialAttrib(picked)->getMaterialDesc()->getName(), "glass");
  EXPECT_STREQ(findMaterialAttrib(picked)->getMaterialDesc()->getUserUniforms(), "u=1\r\n");
  EXPECT_EQ(attribCount(texture), 0);  // the filter offers materials only
}

TEST_F(MaterialDlgTest, TheReportNeedsTheMaterialInTheScenesList) {
  StandardMaterial* sub = material("sub");
  host.setScene({make<MultiMaterial>(u"multi", std::vector<Mtl*>{sub})});
  show(sub);
  sendCommand(page, IDC_SHOW_TEXTURE_UNIFORMS, BN_CLICKED);
  ASSERT_EQ(services.boxes.size(), 1u);
  EXPECT_EQ(services.boxes[0].text, "Invalid rollaut. Reassign material to geometry!");
  EXPECT_EQ(services.boxes[0].caption, "Error!");
  EXPECT_EQ(services.boxes[0].style, 16u);

  host.setScene({sub});
  sendCommand(page, IDC_SHOW_TEXTURE_UNIFORMS, BN_CLICKED);
  ASSERT_EQ(services.boxes.size(), 2u);
  EXPECT_EQ(services.boxes[1].caption, "Texture uniforms");
  EXPECT_EQ(services.boxes[1].style, 64u);
  EXPECT_NE(services.boxes[1].text.find("=========== UNUSED UNIFORMS ==========="), std::string::npos);
}

const std::string kUnusedHeader = "\r\n\r\n=========== UNUSED UNIFORMS ===========\r\n";

TEST(TextureUniformsReport, TellsUsedFromUnusedTextures) {
  MaterialDesc desc;
  desc.textures = {
      {"a", "diffuse color", 0, "x=1\r\n"}, {"b", "Bump", 1, "y=2\r\n"}, {"c", "Opacity", 0, ""}};
  MapTexture plain(u"plain");
  MapTexture dark(u"dark");
  MapTexture layered(u"layered", {&plain, nullptr, &dark, nullptr});      // layer 1 is sub-map 2
  StandardMaterial owner(u"owner", {{u"DIFFUSE COLOR", false, &layered},  // right name, switched off
                                    {u"Diffuse Color", true, &plain},
                                    {u"Bump", true, &layered},
                                    {u"Opacity", true, nullptr}});
  EXPECT_EQ(textureUniformsReport(owner, desc),
            "------ uniforms of 'a' ------\r\nx=1\r\n\r\n------ uniforms of 'b' ------\r\ny=2\r\n" +
                kUnusedHeader + "\r\n------ uniforms of 'c' ------\r\n");
}

TEST(TextureUniformsReport, AChannelPicksTwoSubMapsToALayer) {
  MaterialDesc desc;
  desc.textures = {{"t", "Map", 1, "u\r\n"}};
  const std::string used = "------ uniforms of 't' ------\r\nu\r\n" + kUnusedHeader;
  const std::string unused = kUnusedHeader + "\r\n------ uniforms of 't' ------\r\nu\r\n";
  MapTexture sub(u"sub");
  MapTexture plain(u"plain");
  MapTexture two(u"two", {&sub, &sub});
  MapTexture thirdNull(u"third null", {&sub, &sub, nullptr, &sub});
  MapTexture thirdSet(u"third set", {nullptr, nullptr, &sub, nullptr});
  for (const auto& [map, expected] : {std::pair<Texmap*, std::string>{&plain, unused},
                                      {&two, unused},
                                      {&thirdNull, unused},
                                      {&thirdSet, used}}) {
    StandardMaterial owner(u"owner", {{u"map", true, map}});
    EXPECT_EQ(textureUniformsReport(owner, desc), expected) << qk_to_utf8(map->GetName().c_str());
  }
  MaterialDesc none;
  EXPECT_EQ(textureUniformsReport(plain, none), kUnusedHeader);
}

// ---- width and life ----------------------------------------------------------------------------

TEST_F(MaterialDlgTest, ARollupOfTheLayoutWidthIsNotTouchedAndAWiderOneWidensTheWideControls) {
  StandardMaterial* m = material("m");
  show(m);
  RECT group{6, 6, 240, 194};
  MapDialogRect(&group);
  EXPECT_EQ(rect(IDC_MATERIAL_GROUP).right, group.right);
  EXPECT_EQ(rect(IDC_MATERIAL_GROUP).left, group.left);

  show(m, 864);
  auto width = [&](int id) { return rect(id).right - rect(id).left; };
  auto mapped = [](int x, int cx) {
    RECT r{x, 0, x + cx, 0};
    MapDialogRect(&r);
    return r.right - r.left;
  };
  EXPECT_EQ(width(IDC_MATERIAL_GROUP), 2 * mapped(6, 234));
  EXPECT_EQ(width(IDC_MATERIAL), static_cast<long>(mapped(44, 191) * 1.9));
  EXPECT_EQ(width(IDC_DEFAULT_UNIFORMS), 2 * mapped(10, 225));
  EXPECT_EQ(width(IDC_USER_UNIFORMS), 2 * mapped(11, 225));
  EXPECT_EQ(width(IDC_SHOW_TEXTURE_UNIFORMS), 2 * mapped(13, 220));
  EXPECT_EQ(width(IDC_MISC_GROUP), 2 * mapped(6, 234));
  EXPECT_EQ(width(IDC_SET_TO_MATERIALS), 2 * mapped(6, 234));
  EXPECT_EQ(width(IDC_MATERIAL_LABEL), mapped(11, 30));  // not a wide control
  RECT combo{44, 14, 235, 122};
  MapDialogRect(&combo);
  EXPECT_EQ(rect(IDC_MATERIAL).left, combo.left);  // left, top and height stay
  EXPECT_EQ(rect(IDC_MATERIAL).top, combo.top);
  EXPECT_EQ(rect(IDC_MATERIAL).bottom, combo.bottom);
}

TEST_F(MaterialDlgTest, RemovingTheAttributeTakesItsRollupDown) {
  StandardMaterial* m = material("m");
  show(m);
  removeMaterialAttribs(m);
  EXPECT_FALSE(IsWindow(page));
  EXPECT_TRUE(host.materialEditor().pages().empty());
  EXPECT_EQ(host.materialEditor().shown(), nullptr);
}

}  // namespace
