// The library's exports, its string table and its two class descriptors.
#include <gtest/gtest.h>

#include <memory>

#include "HostFixture.h"
#include "MaterialTool.h"
#include "Resource.h"

namespace {

using PluginEntryTest = HostTest;

std::string utf8(const MCHAR* text) { return text ? qk_to_utf8(text) : "(null)"; }

TEST_F(PluginEntryTest, TheExportsAnswerTwoClasses) {
  EXPECT_EQ(utf8(LibDescription()), "MaterialTool");
  EXPECT_EQ(LibNumberClasses(), 2);
  EXPECT_EQ(LibVersion(), 0x6D604400u);
  EXPECT_EQ(LibClassDesc(0), GetMaterialToolClassDesc());
  EXPECT_EQ(LibClassDesc(1), GetMaterialAttribClassDesc());
  EXPECT_EQ(LibClassDesc(2), nullptr);
  EXPECT_EQ(LibClassDesc(-1), nullptr);
  EXPECT_EQ(controlsInit, 1);
  EXPECT_EQ(host.classes().classes().size(), 2u);
}

TEST_F(PluginEntryTest, TheDescriptorsNameTheirClasses) {
  ClassDesc* tool = LibClassDesc(0);
  ClassDesc* attrib = LibClassDesc(1);
  EXPECT_EQ(utf8(tool->ClassName()), "QKModelTool");
  EXPECT_EQ(utf8(attrib->ClassName()), "MaterialAttrib");
  EXPECT_EQ(utf8(tool->InternalName()), "MaterialTool");
  EXPECT_EQ(utf8(attrib->InternalName()), "MaterialAttrib");
  EXPECT_EQ(utf8(tool->Category()), "Quenka Plugins");
  EXPECT_EQ(utf8(attrib->Category()), "Quenka Plugins");
  EXPECT_NE(utf8(tool->Category()), utf8(LibDescription()));
  EXPECT_EQ(tool->SuperClassID(), 0x1020u);
  EXPECT_EQ(attrib->SuperClassID(), 0x1160u);
  EXPECT_EQ(tool->ClassID(), Class_ID(0x7408371E, 0x63865983));
  EXPECT_EQ(attrib->ClassID(), Class_ID(0x07CB6596, 0x7E112E78));
  EXPECT_EQ(tool->IsPublic(), 1);
  EXPECT_EQ(attrib->IsPublic(), 1);
  EXPECT_EQ(tool->HInstance(), &QKMaterialToolModule);
}

TEST_F(PluginEntryTest, TheToolIsOneObjectAndEachAttributeANewOne) {
  ClassDesc* tool = LibClassDesc(0);
  EXPECT_EQ(tool->Create(FALSE), tool->Create(FALSE));
  EXPECT_EQ(tool->Create(FALSE), static_cast<UtilityObj*>(&theMaterialTool()));
  std::unique_ptr<CustAttrib> a(static_cast<CustAttrib*>(LibClassDesc(1)->Create(TRUE)));
  std::unique_ptr<CustAttrib> b(static_cast<CustAttrib*>(LibClassDesc(1)->Create(FALSE)));
  EXPECT_NE(a.get(), b.get());
  EXPECT_EQ(a->ClassID(), MATERIAL_ATTRIB_CLASS_ID);
  EXPECT_EQ(utf8(a->GetName()), "Material");
  EXPECT_EQ(qk_to_utf8(a->SubAnimName(7).c_str()), "Material Attributes");
  EXPECT_EQ(a->NumSubs(), 0);
  EXPECT_EQ(a->NumRefs(), 1);
}

TEST_F(PluginEntryTest, StringsComeThroughOneBufferOnlyOnceTheInstanceIsSet) {
  const MCHAR* first = GetString(IDS_PARAMS);
  EXPECT_EQ(utf8(first), "Material Attributes");
  EXPECT_EQ(GetString(IDS_CATEGORY), first);  // the same buffer, now holding string 2
  EXPECT_EQ(utf8(first), "Quenka Plugins");
  EXPECT_EQ(GetString(3), nullptr);
  const HINSTANCE instance = hInstance;
  hInstance = nullptr;
  EXPECT_EQ(GetString(IDS_PARAMS), nullptr);
  EXPECT_EQ(LibDescription(), nullptr);
  EXPECT_TRUE(LibMain(instance, DLL_PROCESS_DETACH, nullptr));
  EXPECT_EQ(hInstance, instance);
}

}  // namespace
