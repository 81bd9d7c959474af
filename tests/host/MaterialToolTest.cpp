// The utility's two walks over the scene's materials, its rollup's life, and the pick filter.
#include <gtest/gtest.h>

#include "HostFixture.h"
#include "MaterialTool.h"
#include "Resource.h"

namespace {

class MaterialToolTest : public HostTest {
 protected:
  MaterialToolTest() { catalogue(); }

  void click(int id) {
    host.openUtility(static_cast<UtilityObj*>(GetMaterialToolClassDesc()->Create(FALSE)));
    ASSERT_EQ(host.commandPanel().pages().size(), 1u);
    EXPECT_EQ(sendCommand(host.commandPanel().pages().front(), id, BN_CLICKED), 1);
  }
};

TEST_F(MaterialToolTest, MakeCoolTwiceLeavesOneAttributeWithItsSettings) {
  StandardMaterial* a = material("a");
  StandardMaterial* b = material("b");
  host.setScene({a, nullptr, b});
  click(IDC_MAKE_COOL);
  getOrCreateMaterialAttrib(a)->setMaterial("glass");
  click(IDC_MAKE_COOL);
  EXPECT_EQ(attribCount(a), 1);
  EXPECT_EQ(attribCount(b), 1);
  EXPECT_STREQ(findMaterialAttrib(a)->getMaterialDesc()->getName(), "glass");
  EXPECT_STREQ(findMaterialAttrib(b)->getMaterialDesc()->getName(), "default");
}

TEST_F(MaterialToolTest, AMultiMaterialIsEnteredOneLevelDeep) {
  StandardMaterial* sub = material("sub");
  StandardMaterial* deep = material("deep");
  auto* inner = make<MultiMaterial>(u"inner", std::vector<Mtl*>{deep});
  auto* outer = make<MultiMaterial>(u"outer", std::vector<Mtl*>{sub, nullptr, inner});
  MapTexture* texture = map("texture");
  host.setScene({outer, texture});
  click(IDC_MAKE_COOL);
  EXPECT_EQ(attribCount(sub), 1);
  EXPECT_EQ(attribCount(inner), 1);  // visited as a sub-material, not entered
  EXPECT_EQ(attribCount(deep), 0);
  EXPECT_EQ(attribCount(outer), 0);
  EXPECT_EQ(attribCount(texture), 1);  // any other entry of the list is visited itself

  click(IDC_NO_GOOD);
  for (MtlBase* object :
       {static_cast<MtlBase*>(sub), static_cast<MtlBase*>(inner), static_cast<MtlBase*>(texture)})
    EXPECT_EQ(attribCount(object), 0);
  click(IDC_NO_GOOD);  // on materials without attributes: nothing
  EXPECT_EQ(sub->GetCustAttribContainer()->GetNumCustAttribs(), 0);
}

TEST_F(MaterialToolTest, TheRollupComesWithBeginAndGoesWithEnd) {
  MaterialTool& tool = theMaterialTool();
  EXPECT_EQ(GetMaterialToolClassDesc()->Create(FALSE), GetMaterialToolClassDesc()->Create(TRUE));
  tool.BeginEditParams(&host, nullptr);
  tool.BeginEditParams(&host, nullptr);  // replaces the rollup
  ASSERT_EQ(host.commandPanel().pages().size(), 1u);
  const HWND page = host.commandPanel().pages().front();
  EXPECT_EQ(GetWindowTextString(page), u"Material Tool");
  EXPECT_EQ(GetWindowTextString(GetDlgItem(page, IDC_MAKE_COOL)), u"Make Cool");
  EXPECT_TRUE(IsWindowEnabled(GetDlgItem(page, IDC_MAKE_COOL)));
  EXPECT_EQ(tool.host(), &host);
  tool.EndEditParams(&host, nullptr);
  EXPECT_TRUE(host.commandPanel().pages().empty());
  EXPECT_EQ(tool.host(), nullptr);
  EXPECT_EQ(tool.panel().rollup(), nullptr);
  tool.EndEditParams(&host, nullptr);  // nothing left to delete
  EXPECT_FALSE(IsWindow(page));
}

TEST_F(MaterialToolTest, TheFilterOffersMaterialsOnly) {
  MtlFilter filter;
  EXPECT_FALSE(filter.proc(map("m"), nullptr, 0));
  EXPECT_TRUE(filter.proc(material("s"), nullptr, 0));
  EXPECT_TRUE(filter.proc(make<MultiMaterial>(u"multi"), nullptr, 0));
  EXPECT_FALSE(filter.proc(nullptr, nullptr, 0));
  COLORREF colour = 0;
  EXPECT_FALSE(filter.TextColor(nullptr, nullptr, 0, colour));
}

}  // namespace
