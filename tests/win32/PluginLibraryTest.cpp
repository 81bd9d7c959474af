// QKMaterialTool.dll as the host loads it: by its file, through its five exports with their plain
// names, and its two class descriptors walked through the library's own code.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>

#include "Animatable.h"
#include "ClassDesc.h"
#include "qk_env.h"

namespace {

struct FreeLibraryOnExit {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Library = std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryOnExit>;

template <typename Function>
Function export_of(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

std::string utf8(const MCHAR* text) { return text ? qk_to_utf8(text) : "(null)"; }

class PluginLibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    library.reset(LoadLibraryW(L"QKMaterialTool.dll"));  // copied beside the test program
    ASSERT_TRUE(library) << "LoadLibraryW failed: " << GetLastError();
  }
  Library library;
};

TEST_F(PluginLibraryTest, ExportsTheFiveFunctionsByTheirPlainNames) {
  auto description = export_of<const MCHAR* (*)()>(library.get(), "LibDescription");
  auto count = export_of<int (*)()>(library.get(), "LibNumberClasses");
  auto class_desc = export_of<ClassDesc* (*)(int)>(library.get(), "LibClassDesc");
  auto version = export_of<ULONG (*)()>(library.get(), "LibVersion");
  auto init = export_of<void (*)()>(library.get(), "LibInit");
  ASSERT_TRUE(description && count && class_desc && version && init);
  init();
  EXPECT_EQ(utf8(description()), "MaterialTool");  // the loader's entry set the instance
  EXPECT_EQ(count(), 2);
  EXPECT_EQ(version(), 0x6D604400u);
  EXPECT_EQ(class_desc(2), nullptr);
  EXPECT_EQ(class_desc(-1), nullptr);
  // The core's code-point functions are the library's only other exports.
  EXPECT_NE(GetProcAddress(library.get(), "UTF8_getc"), nullptr);
  EXPECT_EQ(GetProcAddress(library.get(), "DllMain"), nullptr);
}

TEST_F(PluginLibraryTest, ItsDescriptorsAnswerForTheUtilityAndTheAttribute) {
  auto class_desc = export_of<ClassDesc* (*)(int)>(library.get(), "LibClassDesc");
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
  wchar_t path[MAX_PATH];
  ASSERT_GT(GetModuleFileNameW(library.get(), path, MAX_PATH), 0u);
  char version[64];
  qk_module_version(reinterpret_cast<const char16_t*>(path), version, sizeof version);
  EXPECT_STREQ(version, QK_PROJECT_VERSION ".0");
}

}  // namespace
