// The description of an engine material: which shader, which default uniforms, which textures on
// which map slots, how it blends, whether it casts shadows, and on which nodes and objects it may be
// used. Plain data, with no dependency on the host.
//
// IMaterialDesc is the face a description shows to everything, an exporter in another library
// included. MaterialDesc is a catalogue record: shared and read-only in what the artist types, so
// its setUserUniforms and setOpacity do nothing. MaterialDescExt (MaterialDescExt.h) is the working
// copy an attribute holds, which stores both.
//
// Texts are UTF-8 and owned by the description; a getter's pointer stays valid until the
// description changes. Not thread-safe: descriptions live on the host's main thread.
//
// A uniform block is text of lines "name=value", each followed by a carriage return and a line
// feed. Nothing in the plug-in parses it.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

// How a surface blends. Values 4 and 5 are not in use.
enum OpacityMode : int32_t {
  OPACITY_NONE = 0,
  OPACITY_BLEND = 1,
  OPACITY_ALPHA_TEST = 2,
  OPACITY_SUM_BLEND = 3,
  OPACITY_SHADOWED_BLEND = 6,
};

enum class ObjectKind : int32_t {
  Mesh = 0,
  Spline = 1,
  Line = 2,
};

// One texture of a material; copied by value.
struct TextureDesc {
  std::string name;      // key of the texture in the script
  std::string tex;       // name of the map slot on the host's material, matched without case
  int32_t channel = 0;   // layer index of that slot
  std::string uniforms;  // this texture's uniform block
};

class IMaterialDesc {
 public:
  virtual ~IMaterialDesc() = default;
  virtual const char* getName() const = 0;
  virtual const char* getShaderName() const = 0;
  virtual bool getDepthBias() const = 0;
  virtual void setDepthBias(bool value) = 0;
  virtual uint8_t getDecal() const = 0;
  virtual void setDecal(uint8_t value) = 0;
  virtual const char* getDefaultUniforms() const = 0;
  virtual void setUserUniforms(const char* text) = 0;
  virtual const char* getUserUniforms() const = 0;
  virtual const char* getDefaultUserDefines() const = 0;
  virtual uint32_t getTextureCount() const = 0;
  // Copies the texture at `index`; an index past the end throws std::out_of_range.
  virtual void getTexture(uint32_t index, TextureDesc& out) const = 0;
  virtual bool getNormals() const = 0;
  virtual void setOpacity(int32_t value) = 0;
  virtual int32_t getOpacity() const = 0;
  virtual void setShadowCaster(bool value) = 0;
  virtual bool getShadowCaster() const = 0;
  virtual void setOnlyShadowCaster(bool value) = 0;
  virtual bool getOnlyShadowCaster() const = 0;
};

class MaterialDesc : public IMaterialDesc {
 public:
  MaterialDesc() = default;
  // A full, independent copy: how a finished record goes into the catalogue.
  MaterialDesc(const MaterialDesc& other) = default;
  // Copies every field; assigning a description to itself rewrites only the scalars.
  MaterialDesc& operator=(const MaterialDesc& other);
  ~MaterialDesc() override = default;

  const char* getName() const override { return name.c_str(); }
  const char* getShaderName() const override { return shaderName.c_str(); }
  bool getDepthBias() const override { return depthBias; }
  void setDepthBias(bool value) override { depthBias = value; }
  uint8_t getDecal() const override { return decal; }
  void setDecal(uint8_t value) override { decal = value; }
  const char* getDefaultUniforms() const override { return defaultUniforms.c_str(); }
  void setUserUniforms(const char*) override {}
  const char* getUserUniforms() const override { return ""; }
  const char* getDefaultUserDefines() const override { return defaultUserDefines.c_str(); }
  uint32_t getTextureCount() const override { return static_cast<uint32_t>(textures.size()); }
  void getTexture(uint32_t index, TextureDesc& out) const override;
  bool getNormals() const override { return normals; }
  void setOpacity(int32_t) override {}
  int32_t getOpacity() const override { return opacity; }
  void setShadowCaster(bool value) override { shadowCaster = value; }
  bool getShadowCaster() const override { return shadowCaster; }
  void setOnlyShadowCaster(bool value) override { onlyShadowCaster = value; }
  bool getOnlyShadowCaster() const override { return onlyShadowCaster; }

  bool shadowCaster = true;
  bool onlyShadowCaster = false;
  bool depthBias = false;    // the panel calls it Z-Bias
  uint8_t decal = 0;         // 0: no decal; 1 is drawn first, 8 last
  std::string name;          // the key of look-ups
  std::string shaderName;
  std::string defaultUniforms;
  std::string defaultUserDefines;  // one line of `name = "value";` entries
  std::vector<TextureDesc> textures;
  bool normals = true;       // carried for the exporter; the plug-in doesn't read it
  int32_t opacity = OPACITY_NONE;
  std::set<std::string> allowedNodes;     // empty: every node
  std::set<ObjectKind> allowedObjects;    // empty: every kind
};
