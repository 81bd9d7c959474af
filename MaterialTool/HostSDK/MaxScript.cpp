#include "MaxScript.h"

#include <cmath>
#include <map>
#include <memory>
#include <vector>

#include "Mtl.h"
#include "qk_format.h"

namespace {

std::vector<const Primitive*>& registry() {
  static std::vector<const Primitive*> primitives;
  return primitives;
}

}  // namespace

Mtl* Value::to_mtl() { throw ConversionError(*this, "material"); }
MtlBase* Value::to_mtlbase() { throw ConversionError(*this, "material or map"); }
const MCHAR* Value::to_string() { throw ConversionError(*this, "string"); }
int Value::to_int() { throw ConversionError(*this, "integer"); }

ConversionError::ConversionError(const Value& value, const char* wanted)
    : std::runtime_error(qk_format("can't convert %s to %s", value.typeName(), wanted)) {}

ArgCountError::ArgCountError(const MCHAR* name, int wanted, int got)
    : std::runtime_error(qk_format("%s wanted %d, got %d", qk_to_utf8(name).c_str(), wanted, got)) {}

Value* Integer::intern(int number) {
  static std::map<int, std::unique_ptr<Integer>> interned;
  std::unique_ptr<Integer>& value = interned[number];
  if (!value) value = std::make_unique<Integer>(number);
  return value.get();
}

int Float::to_int() {
  const double cut = std::trunc(number_);
  if (!(cut >= -2147483648.0 && cut <= 2147483647.0)) throw ConversionError(*this, "integer");
  return static_cast<int>(cut);
}

const char* MtlBaseValue::typeName() const {
  if (!object_) return "undefined";
  return object_->SuperClassID() == MATERIAL_CLASS_ID ? "material" : "map";
}

Mtl* MtlBaseValue::to_mtl() {
  if (object_ && object_->SuperClassID() != MATERIAL_CLASS_ID) throw ConversionError(*this, "material");
  return static_cast<Mtl*>(object_);
}

Primitive::Primitive(const MCHAR* name, PrimitiveFunction function, short)
    : name_(name), function_(function) {
  registry().push_back(this);
}

Primitive::~Primitive() {
  auto& primitives = registry();
  for (auto it = primitives.begin(); it != primitives.end(); ++it)
    if (*it == this) {
      primitives.erase(it);
      break;
    }
}

const Primitive* Primitive::find(const MSTR& name) {
  for (const Primitive* primitive : registry())
    if (name == primitive->name()) return primitive;
  return nullptr;
}
