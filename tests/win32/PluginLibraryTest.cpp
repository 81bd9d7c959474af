// QKMaterialTool.dll as the host loads it: by its file, through its five exports with their plain
// names, and its two class descriptors walked through the library's own code.
#include <gtest/gtest.h>

#include <memory>

#include "Animatable.h"
#include "ClassDesc.h"
#include "LibraryLoader.h"
#include "qk_env.h"

namespace {

using win32_test::Library;

template <typename Function>
Function export_of(const Library& library, const char* name) {
  return reinterpret_cast<Function>(win32_test::library_export(library, name));
}

std::string utf8(const MCHAR* text) { return text ? qk_to_utf8(text) : "(null)"; }

class PluginLibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    unsigned long error = 0;
    library = win32_test::load_library(L"QKMaterialTool.dll", error);  // copied beside the test program
    ASSERT_TRUE(library) << "LoadLibraryW failed: " << error;
  }
  Library library;
};

TEST_F(PluginLibraryTest, ExportsTheFiveFunctionsByTheirPlainNames) {
  auto description = export_of<const MCHAR* (*)()>(library, "LibDescription");
  auto count = export_of<int (*)()>(library, "LibNumberClasses");
  auto class_desc = export_of<ClassDesc* (*)(int)>(library, "LibClassDesc");
  auto version = export_of<ULONG (*)()>(library, "LibVersion");
  auto init = export_of<void (*)()>(library, "LibInit");
  ASSERT_TRUE(description && count && class_desc && version && init);
  init();
  EXPECT_EQ(utf8(description()), "MaterialTool");  // the loader's entry set the instance
  EXPECT_EQ(count(), 2);
  EXPECT_EQ(version(), 0x6D604400u);
  EXPECT_EQ(class_desc(2), nullptr);
  EXPECT_EQ(class_desc(-1), nullptr);
  // The core's code-point functions are the library's only other exports.
  EXPECT_NE(win32_test::library_export(library, "UTF8_getc"), nullptr);
  EXPECT_EQ(win32_test::library_export(library, "DllMain"), nullptr);
}

TEST_F(PluginLibraryTest, ItsDescriptorsAnswerForTheUtilityAndTheAttribute) {
  auto class_desc = export_of<ClassDesc* (*)(int)>(library, "LibClassDesc");
  ASSERT_TRUE(class_desc);
  ClassDesc* tool = class_desc(0);
  ClassDesc* attrib = class_desc(1);
  ASSERT_TRUE(tool && attrib);
  EXPECT_EQ(utf8(tool->ClassName()), "QKModelTool");
  EXPECT_EQ(utf8(attrib->ClassName()), "MaterialAttrib");
  EXPECT_EQ(utf8(tool->InternalName()), "MaterialTool");
  EXPECT_EQ(utf8(tool->Category()), "Quenka Plugins");
  EXPECT_EQ(tool->SuperClassID(), 0x1020u);
  EXPECT_EQ(attrib->SuperClassID(), 0x1160u);
  EXPECT_EQ(tool->ClassID(), Class_ID(0x7408371E, 0x63865983));
  EXPECT_EQ(attrib->ClassID(), Class_ID(0x07CB6596, 0x7E112E78));
  EXPECT_EQ(tool->IsPublic(), 1);
  EXPECT_NE(tool->HInstance(), nullptr);
  // One utility object; a new attribute for each call, made and destroyed by the library.
  EXPECT_EQ(tool->Create(FALSE), tool->Create(TRUE));
  std::unique_ptr<CustAttrib> first(static_cast<CustAttrib*>(attrib->Create(FALSE)));
  std::unique_ptr<CustAttrib> second(static_cast<CustAttrib*>(attrib->Create(TRUE)));
  ASSERT_TRUE(first && second);
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(first->ClassID(), Class_ID(0x07CB6596, 0x7E112E78));
  EXPECT_EQ(utf8(first->GetName()), "Material");
}

TEST_F(PluginLibraryTest, CarriesTheProjectVersion) {
  const std::u16string path = win32_test::library_path(library);
  ASSERT_FALSE(path.empty());
  char version[64];
  qk_module_version(path.c_str(), version, sizeof version);
  EXPECT_STREQ(version, QK_PROJECT_VERSION ".0");
}

}  // namespace
