// The host stand-in's basic types: the plain words of the host's interfaces, class identity, and
// the results of scene input and output.
//
// The stand-in is a small layer of our own that offers the plug-in what it calls of the host and
// nothing more, so that the plug-in builds and runs where the host isn't. Everything here is used
// on the host's main thread only.
#pragma once

#include <cstdint>

#include "qk_text.h"

using BOOL = int;
constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
using UINT = unsigned;
using DWORD = uint32_t;
using ULONG = uint32_t;
using USHORT = uint16_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using INT_PTR = intptr_t;
using LONG_PTR = intptr_t;
using TimeValue = int;

// The host's text: wide units.
using MCHAR = qk::wchar;
using MSTR = qk::wstring;

// A super class: the family a class belongs to.
using SClass_ID = uint32_t;
constexpr SClass_ID MATERIAL_CLASS_ID = 0xC00;
constexpr SClass_ID TEXMAP_CLASS_ID = 0xC10;
constexpr SClass_ID UTILITY_CLASS_ID = 0x1020;
constexpr SClass_ID CUST_ATTRIB_CLASS_ID = 0x1160;

// A class: two 32-bit halves, equal when both are.
class Class_ID {
 public:
  constexpr Class_ID() = default;
  constexpr Class_ID(uint32_t a, uint32_t b) : a_(a), b_(b) {}
  constexpr uint32_t PartA() const { return a_; }
  constexpr uint32_t PartB() const { return b_; }
  constexpr bool operator==(const Class_ID& other) const { return a_ == other.a_ && b_ == other.b_; }
  constexpr bool operator!=(const Class_ID& other) const { return !(*this == other); }

 private:
  uint32_t a_ = 0xFFFFFFFF;
  uint32_t b_ = 0xFFFFFFFF;
};

// The host's own classes that the stand-in offers.
constexpr Class_ID STANDARD_MATERIAL_CLASS_ID(0x2, 0);
constexpr Class_ID MULTI_MATERIAL_CLASS_ID(0x200, 0);
constexpr Class_ID MAP_TEXTURE_CLASS_ID(0x240, 0);

// The result of a scene read or write.
enum IOResult { IO_OK = 0, IO_END = 1, IO_ERROR = 2 };

// The answer of a reference message.
enum RefResult { REF_FAIL = 0, REF_SUCCEED = 1 };
