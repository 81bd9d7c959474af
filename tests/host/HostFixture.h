// A host for the plug-in's tests: the host stand-in with the plug-in loaded, host services that
// record message boxes and answer the pick dialog as the test says, a catalogue of the test's
// choosing in plugcfg/materials.lua, and host objects owned by the test.
//
// Each test starts with an empty process-wide catalogue, so that the first need loads its own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HostServices.h"
#include "HostStandIn.h"
#include "MaterialAttrib.h"
#include "MaterialsList.h"
#include "Mtl.h"
#include "PluginEntry.h"
#include "TempDir.h"

// default: two textures; building: the flags that differ from default; glass: allowed sets.
inline const char* const kTestCatalogue = R"(
materials = {
  default = {
    shader_name = "lit",
    uniforms = { tint = "1 1 1" },
    textures = {
      diffuse = { tex = "Diffuse Color", channel = 0, uniforms = { d = 1 } },
      detail = { tex = "Bump", channel = 1, uniforms = { s = 2 } },
    },
  },
  building = { shader_name = "facade",
               misc = { opacity = "blend", depthBias = true, shadowCaster = false, onlyShadowCaster = true } },
  glass = { misc = { opacity = "sum_blend" }, allowed_nodes = { "Window", "Door" },
            allowed_objects = { "Mesh", "Line" } },
}
)";

struct ShownBox {
  std::string caption, text;
  unsigned style;
};

class TestServices : public ConsoleHostServices {
 public:
  TestServices() : ConsoleHostServices("plugcfg") { setHostServices(this); }
  ~TestServices() override { setHostServices(nullptr); }
  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override {
    boxes.push_back({qk_to_utf8(caption), qk_to_utf8(text), style});
    return IDOK;
  }
  bool pickAnimatables(std::vector<Animatable*>& picked) override {
    if (!pick) return false;
    picked = *pick;
    return true;
  }

  std::vector<ShownBox> boxes;
  std::optional<std::vector<Animatable*>> pick;  // nothing: the dialog is cancelled
};

class HostTest : public ::testing::Test {
 protected:
  HostTest() {
    theMaterialsList() = MaterialsList();
    std::filesystem::create_directory("plugcfg");
    host.classes().loadLibrary(pluginExports());
  }
  ~HostTest() override {
    host.closeUtility();
    host.materialEditor().close();
    host.setScene({});
    objects.clear();
    theMaterialsList() = MaterialsList();
  }

  void catalogue(const std::string& script = kTestCatalogue) { dir.write("plugcfg/materials.lua", script); }

  template <class T, class... Args>
  T* make(Args&&... args) {
    objects.push_back(std::make_unique<T>(std::forward<Args>(args)...));
    return static_cast<T*>(objects.back().get());
  }
  StandardMaterial* material(const char* name, std::vector<MapSlot> slots = {}) {
    return make<StandardMaterial>(qk_to_wide(name), std::move(slots));
  }
  MapTexture* map(const char* name, std::vector<Texmap*> subs = {}) {
    return make<MapTexture>(qk_to_wide(name), std::move(subs));
  }

  static int attribCount(Animatable* object) {
    ICustAttribContainer* container = object->GetCustAttribContainer();
    int count = 0;
    for (int i = 0; container && i < container->GetNumCustAttribs(); ++i)
      if (container->GetCustAttrib(i)->ClassID() == MATERIAL_ATTRIB_CLASS_ID) ++count;
    return count;
  }

  TempDir dir;
  TestServices services;
  HostStandIn host;
  std::vector<std::unique_ptr<MtlBase>> objects;
};
