// The host's script layer, as far as a plug-in's script functions use it: values with their
// conversions, global functions registered by name (Primitive), and the errors a function raises.
//
// A value converts itself to what a function asks for, or raises ConversionError. The undefined
// value converts to null (a material, a text) where a null can stand. Primitives are static
// objects of a library: each registers itself under its name when it is constructed and stays
// registered until it is destroyed. Interned integers live for the process. Main thread only.
#pragma once

#include <stdexcept>
#include <string>

#include "HostTypes.h"

class Mtl;
class MtlBase;

class Value {
 public:
  virtual ~Value() = default;
  // What the value is, for messages: "undefined", "integer", "string", "material", ...
  // A conversion error reads "can't convert <type> to <wanted>".
  virtual const char* typeName() const = 0;
  virtual Mtl* to_mtl();
  virtual MtlBase* to_mtlbase();
  virtual const MCHAR* to_string();
  virtual int to_int();
};

// Raised by a conversion that the value can't make.
class ConversionError : public std::runtime_error {
 public:
  ConversionError(const Value& value, const char* wanted);
};

// Raised by a function called with the wrong number of arguments.
class ArgCountError : public std::runtime_error {
 public:
  // The message reads "<name> wanted <wanted>, got <got>".
  ArgCountError(const MCHAR* name, int wanted, int got);
};

class Undefined : public Value {
 public:
  const char* typeName() const override { return "undefined"; }
  Mtl* to_mtl() override { return nullptr; }
  MtlBase* to_mtlbase() override { return nullptr; }
  const MCHAR* to_string() override { return nullptr; }
};

class Integer : public Value {
 public:
  // The one value of `number`, kept for the life of the process.
  static Value* intern(int number);
  explicit Integer(int number) : number_(number) {}
  const char* typeName() const override { return "integer"; }
  int to_int() override { return number_; }

 private:
  int number_;
};

// A number with a fraction: converts to an integer by cutting toward zero, when it fits.
class Float : public Value {
 public:
  explicit Float(double number) : number_(number) {}
  const char* typeName() const override { return "float"; }
  int to_int() override;

 private:
  double number_;
};

class String : public Value {
 public:
  explicit String(MSTR text) : text_(std::move(text)) {}
  const char* typeName() const override { return "string"; }
  const MCHAR* to_string() override { return text_.c_str(); }

 private:
  MSTR text_;
};

// A material or a map of the host.
class MtlBaseValue : public Value {
 public:
  explicit MtlBaseValue(MtlBase* object) : object_(object) {}
  const char* typeName() const override;
  Mtl* to_mtl() override;
  MtlBase* to_mtlbase() override { return object_; }
  MtlBase* object() const { return object_; }

 private:
  MtlBase* object_;
};

// Any other value: converts to nothing.
class OtherValue : public Value {
 public:
  explicit OtherValue(const char* type) : type_(type) {}
  const char* typeName() const override { return type_; }

 private:
  const char* type_;
};

using PrimitiveFunction = Value* (*)(Value** args, int count);

// A global function of the script layer.
class Primitive {
 public:
  Primitive(const MCHAR* name, PrimitiveFunction function, short flags = 0);
  ~Primitive();
  Primitive(const Primitive&) = delete;
  Primitive& operator=(const Primitive&) = delete;

  const MCHAR* name() const { return name_; }
  Value* apply(Value** args, int count) const { return function_(args, count); }
  // The registered function of that name, or null.
  static const Primitive* find(const MSTR& name);

 private:
  const MCHAR* name_;
  PrimitiveFunction function_;
};
