// The eight script functions, called as the host's script layer calls them.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "HostFixture.h"
#include "MaxScript.h"

namespace {

class MaterialScriptTest : public HostTest {
 protected:
  MaterialScriptTest() { catalogue(); }

  // Calls `name` with `args`; the Values live until the end of the test.
  Value* call(const char* name, std::vector<Value*> args) {
    const Primitive* primitive = Primitive::find(qk_to_wide(name));
    EXPECT_NE(primitive, nullptr) << name;
    return primitive ? primitive->apply(args.data(), static_cast<int>(args.size())) : nullptr;
  }
  Value* mtl(MtlBase* object) { return keep(std::make_unique<MtlBaseValue>(object)); }
  Value* text(const char* s) { return keep(std::make_unique<String>(qk_to_wide(s))); }
  Value* number(int n) { return keep(std::make_unique<Integer>(n)); }
  Value* undefined() { return keep(std::make_unique<Undefined>()); }
  Value* keep(std::unique_ptr<Value> value) {
    values.push_back(std::move(value));
    return values.back().get();
  }
  std::string countError(const char* name, std::vector<Value*> args) {
    try {
      call(name, args);
    } catch (const ArgCountError& error) {
      return error.what();
    }
    return "no error";
  }

  std::vector<std::unique_ptr<Value>> values;
};

TEST_F(MaterialScriptTest, TheCountIsCheckedFirstAndIsMaterialNamesSetMaterial) {
  StandardMaterial* m = material("m");
  EXPECT_EQ(countError("IsMaterial", {mtl(m), text("a"), text("b")}), "SetMaterial wanted 2, got 3");
  EXPECT_EQ(countError("CreateMaterialAttrib", {}), "CreateMaterialAttrib wanted 1, got 0");
  EXPECT_EQ(countError("GetOpacity", {mtl(m), mtl(m)}), "GetOpacity wanted 1, got 2");
  EXPECT_EQ(countError("HasMaterialAttrib", {}), "HasMaterialAttrib wanted 1, got 0");
  EXPECT_EQ(countError("RemoveMaterialAttrib", {}), "RemoveMaterialAttrib wanted 1, got 0");
  EXPECT_EQ(countError("SetMaterial", {mtl(m)}), "SetMaterial wanted 2, got 1");
  EXPECT_EQ(countError("SetOpacity", {number(1)}), "SetOpacity wanted 2, got 1");  // before converting
  EXPECT_EQ(countError("SetUserUniforms", {mtl(m)}), "SetUserUniforms wanted 2, got 1");
  EXPECT_EQ(attribCount(m), 0);
}

TEST_F(MaterialScriptTest, ReadingIsNotFreeOfSideEffects) {
  StandardMaterial* m = material("m");
  EXPECT_EQ(call("HasMaterialAttrib", {mtl(m)})->to_int(), 0);
  EXPECT_EQ(call("HasMaterialAttrib", {mtl(m)})->to_int(), 0);
  catalogue("materials = { default = { misc = { opacity = 'alpha_test' } } }");
  theMaterialsList() = MaterialsList();
  EXPECT_EQ(call("GetOpacity", {mtl(m)})->to_int(), 2);  // the catalogue's "default"
  EXPECT_EQ(attribCount(m), 1);
  EXPECT_EQ(call("HasMaterialAttrib", {mtl(m)})->to_int(), 1);
  EXPECT_EQ(call("GetOpacity", {undefined()})->to_int(), 0);
}

TEST_F(MaterialScriptTest, IsMaterialSetsTheMaterialBeforeComparing) {
  StandardMaterial* m = material("m");
  EXPECT_EQ(call("IsMaterial", {mtl(m), text("glass")})->to_int(), 1);
  EXPECT_EQ(attribCount(m), 1);
  EXPECT_STREQ(findMaterialAttrib(m)->getMaterialDesc()->getName(), "glass");
  EXPECT_EQ(call("IsMaterial", {mtl(m), text("unknown")})->to_int(), 0);
  EXPECT_STREQ(findMaterialAttrib(m)->getMaterialDesc()->getName(), "glass");
  EXPECT_EQ(call("IsMaterial", {mtl(m), text("only_shadow")})->to_int(), 0);  // yet it took effect
  EXPECT_STREQ(findMaterialAttrib(m)->getMaterialDesc()->getName(), "default");
  EXPECT_TRUE(findMaterialAttrib(m)->getMaterialDesc()->getOnlyShadowCaster());
  StandardMaterial* other = material("other");
  EXPECT_EQ(call("IsMaterial", {mtl(other), undefined()})->to_int(), 0);
  EXPECT_EQ(attribCount(other), 0);
}

TEST_F(MaterialScriptTest, SettersAnswerTheirFirstArgument) {
  StandardMaterial* m = material("m");
  Value* first = mtl(m);
  EXPECT_EQ(call("RemoveMaterialAttrib", {first}), first);  // nothing to remove
  EXPECT_EQ(call("SetUserUniforms", {first, text("u=1\r\n")}), first);
  MaterialDescExt& desc = *findMaterialAttrib(m)->getMaterialDescExt();
  EXPECT_EQ(call("SetMaterial", {first, text("unknown")}), first);
  EXPECT_STREQ(desc.getName(), "default");
  EXPECT_EQ(call("SetMaterial", {first, text("building")}), first);
  EXPECT_STREQ(desc.getName(), "building");
  EXPECT_STREQ(desc.getUserUniforms(), "u=1\r\n");  // unlike the panel's material combo
  EXPECT_EQ(call("SetOpacity", {first, number(-3)}), first);
  EXPECT_EQ(desc.getOpacity(), 3);
  call("SetOpacity", {first, number(300)});  // no range check
  EXPECT_EQ(desc.getOpacity(), 300);
  call("SetUserUniforms", {first, text("")});
  EXPECT_STREQ(desc.getUserUniforms(), "");
  call("SetUserUniforms", {first, undefined()});
  EXPECT_EQ(call("RemoveMaterialAttrib", {first}), first);
  EXPECT_EQ(attribCount(m), 0);
}

TEST_F(MaterialScriptTest, NullConversionsDoNothingAndWrongValuesRaise) {
  Value* none = undefined();
  EXPECT_EQ(call("CreateMaterialAttrib", {none}), none);
  EXPECT_EQ(call("SetMaterial", {none, text("glass")}), none);
  EXPECT_THROW(call("CreateMaterialAttrib", {mtl(map("a map"))}), ConversionError);
  EXPECT_THROW(call("SetOpacity", {none, text("2")}), ConversionError);  // both are converted first
  MapTexture* texture = map("t");
  call("SetMaterial", {mtl(texture), text("glass")});  // a map is a material base
  EXPECT_EQ(attribCount(texture), 1);
}

}  // namespace
