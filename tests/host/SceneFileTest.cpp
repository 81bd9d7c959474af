// The host's scene file: a scene written and read back, and broken files refused with a reason.
#include <gtest/gtest.h>

#include <string>

#include "ChunkWriter.h"
#include "HostFixture.h"
#include "SceneFile.h"

namespace {

class SceneFileTest : public HostTest {
 protected:
  SceneFileTest() { catalogue(); }

  LoadedScene reload(const std::string& bytes) {
    const ChunkFile file(bytes);
    return loadScene(file, readSceneRecord(file), host.classes());
  }
  std::string refusal(const std::string& bytes) {
    try {
      reload(bytes);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "accepted";
  }
};

TEST_F(SceneFileTest, ASceneComesBackWithItsStructureAndAttributes) {
  MapTexture* shared = map("shared");
  MapTexture* layered = map("layered", {shared, nullptr});
  StandardMaterial* wall = material("Wall", {{u"Diffuse Color", true, layered}, {u"Bump", false, shared}});
  StandardMaterial* floor = material("Floor");
  auto* multi = make<MultiMaterial>(u"Multi", std::vector<Mtl*>{floor, nullptr, wall});
  MaterialAttrib* attrib = getOrCreateMaterialAttrib(wall);
  attrib->setMaterial("glass");
  attrib->getMaterialDescExt()->setDecal(5);
  attrib->getMaterialDescExt()->setUserUniforms("k=\xC3\xA9\r\n");

  LoadedScene loaded = reload(writeScene({multi, nullptr, wall}));
  ASSERT_EQ(loaded.objects.size(), 5u);  // each object once
  ASSERT_EQ(loaded.scene.size(), 3u);
  EXPECT_EQ(loaded.scene[1], nullptr);
  auto* multiBack = dynamic_cast<MultiMaterial*>(loaded.scene[0]);
  auto* wallBack = dynamic_cast<StandardMaterial*>(loaded.scene[2]);
  ASSERT_TRUE(multiBack && wallBack);
  EXPECT_EQ(multiBack->GetName(), u"Multi");
  EXPECT_EQ(multiBack->GetSubMtl(2), wallBack);
  EXPECT_EQ(multiBack->GetSubMtl(1), nullptr);
  ASSERT_EQ(wallBack->NumSubTexmaps(), 2);
  EXPECT_EQ(wallBack->GetSubTexmapSlotName(1), u"Bump");
  EXPECT_EQ(wallBack->SubTexmapOn(1), 0);
  EXPECT_EQ(wallBack->GetSubTexmap(0)->GetSubTexmap(0), wallBack->GetSubTexmap(1));  // still shared

  MaterialAttrib* back = findMaterialAttrib(wallBack);
  ASSERT_NE(back, nullptr);
  EXPECT_STREQ(back->getMaterialDesc()->getName(), "glass");
  EXPECT_EQ(back->getMaterialDesc()->getDecal(), 5);
  EXPECT_STREQ(back->getMaterialDesc()->getUserUniforms(), "k=\xC3\xA9\r\n");
  EXPECT_FALSE(hasMaterialAttrib(multiBack->GetSubMtl(0)));
}

// A scene chunk built by hand: the format chunk, then what `body` writes.
template <class Body>
std::string scene(Body body) {
  ChunkWriter out;
  ULONG n = 0;
  out.BeginChunk(SCENE_CHUNK);
  out.BeginChunk(SCENE_FORMAT_CHUNK);
  out.Write("\1\0\0\0", 4, &n);
  out.EndChunk();
  body(out);
  out.EndChunk();
  return out.bytes();
}

void object(ChunkWriter& out, const char* kind, const char* name, const std::string& subs = std::string()) {
  ULONG n = 0;
  out.BeginChunk(OBJECT_CHUNK);
  out.BeginChunk(OBJECT_KIND_CHUNK);
  out.Write(kind, 4, &n);
  out.EndChunk();
  out.BeginChunk(OBJECT_NAME_CHUNK);
  out.WriteWString(name);
  out.EndChunk();
  if (!subs.empty()) {
    out.BeginChunk(OBJECT_SUBS_CHUNK);
    out.Write(subs.data(), static_cast<ULONG>(subs.size()), &n);
    out.EndChunk();
  }
}

TEST_F(SceneFileTest, BrokenScenesAreRefusedWithAReason) {
  EXPECT_EQ(refusal(""), "an empty file, not a scene");
  EXPECT_EQ(refusal(std::string("\x10\x20\x06\0\0\0", 6)), "not a scene file: it begins with chunk 0x2010");
  // A multi-material whose sub-material comes after it: references point backwards only.
  EXPECT_EQ(refusal(scene([](ChunkWriter& out) {
              object(out, "\1\0\0\0", "multi", std::string("\1\0\0\0", 4));
              out.EndChunk();
              object(out, "\0\0\0\0", "later");
              out.EndChunk();
            })),
            "chunk 0x2010 at offset 16: object 0: sub-material 1 isn't an object before it");
  EXPECT_EQ(refusal(scene([](ChunkWriter& out) {
              object(out, "\2\0\0\0", "map");
              out.EndChunk();
              object(out, "\1\0\0\0", "multi", std::string("\0\0\0\0", 4));
              out.EndChunk();
            })),
            "chunk 0x2010 at offset 46: object 1: sub-material 0 is a map");
  EXPECT_EQ(refusal(scene([](ChunkWriter& out) {
              object(out, "\7\0\0\0", "odd");
              out.EndChunk();
            })),
            "chunk 0x2011 at offset 22: object kind 7");
}

TEST_F(SceneFileTest, AnAttributeThatCantBeReadStopsTheLoad) {
  StandardMaterial* m = material("m");
  getOrCreateMaterialAttrib(m);
  std::string bytes = writeScene({m});
  // The same attribute by hand, with an opacity chunk that lost its byte.
  const std::string truncated = scene([](ChunkWriter& out) {
    ULONG n = 0;
    object(out, "\0\0\0\0", "m");
    out.BeginChunk(ATTRIB_CHUNK);
    out.BeginChunk(ATTRIB_CLASS_CHUNK);
    out.Write("\x96\x65\xCB\x07\x78\x2E\x11\x7E\x60\x11\0\0", 12, &n);
    out.EndChunk();
    out.BeginChunk(ATTRIB_DATA_CHUNK);
    out.BeginChunk(0x1050);
    out.EndChunk();
    out.EndChunk();
    out.EndChunk();
    out.EndChunk();
  });
  EXPECT_EQ(
      refusal(truncated),
      "object 0 (\"m\"): attribute of class (0x07CB6596, 0x7E112E78): chunk 0x1050 at offset 72: a read of 1 "
      "bytes where 0 are left");
  EXPECT_EQ(refusal(bytes), "accepted");
  bytes[bytes.find(std::string("\x96\x65\xCB\x07", 4))] = '\x97';
  EXPECT_EQ(refusal(bytes),
            "object 0 (\"m\"): attribute of class (0x07CB6597, 0x7E112E78) that no loaded library offers");
}

// Every cut of a good file, and every byte of it changed, is either loaded or refused with one of
// the two errors; nothing else happens.
TEST_F(SceneFileTest, EveryCutAndEveryChangedByteIsLoadedOrRefused) {
  MapTexture* texture = map("t");
  StandardMaterial* m = material("m", {{u"Diffuse Color", true, texture}});
  getOrCreateMaterialAttrib(m)->getMaterialDescExt()->setUserUniforms("u=1");
  const std::string good = writeScene({make<MultiMaterial>(u"multi", std::vector<Mtl*>{m, nullptr}), m});
  int refused = 0;
  auto attempt = [&](const std::string& bytes) {
    try {
      reload(bytes);
    } catch (const ChunkFormatError&) {
      ++refused;
    } catch (const SceneError&) {
      ++refused;
    }
  };
  for (size_t size = 0; size < good.size(); ++size) attempt(good.substr(0, size));
  EXPECT_EQ(refused, static_cast<int>(good.size()));  // a cut file is always refused
  for (size_t at = 0; at < good.size(); ++at)
    for (unsigned char change : {0x01u, 0x80u, 0xFFu}) {
      std::string bytes = good;
      bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ change);
      attempt(bytes);
    }
}

}  // namespace
