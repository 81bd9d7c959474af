// Resource ids of the plug-in library: its strings, its two dialog templates and their controls.
// The resources themselves are in Resources.cpp.
#pragma once

#include "Module.h"

// String table.
constexpr UINT IDS_LIBDESCRIPTION = 1;
constexpr UINT IDS_CATEGORY = 2;
constexpr UINT IDS_TOOL_CLASS_NAME = 4;
constexpr UINT IDS_ATTRIB_CLASS_NAME = 5;
constexpr UINT IDS_PARAMS = 6;
constexpr UINT IDS_OPACITY = 11;
constexpr UINT IDS_OPACITY_NONE = 12;
constexpr UINT IDS_OPACITY_BLENDING = 13;
constexpr UINT IDS_OPACITY_ALPHA_TEST = 14;

// The utility's panel.
constexpr int IDD_MATERIAL_TOOL = 102;
constexpr int IDC_MAKE_COOL = 1000;
constexpr int IDC_NO_GOOD = 1001;

// The attribute's rollup.
constexpr int IDD_MATERIAL_ATTRIB = 130;
constexpr int IDC_SET_TO_MATERIALS = 1000;
constexpr int IDC_USER_UNIFORMS = 1010;
constexpr int IDC_OPACITY = 1027;
constexpr int IDC_DECAL = 1028;
constexpr int IDC_MATERIAL_GROUP = 1051;
constexpr int IDC_MATERIAL_LABEL = 1052;
constexpr int IDC_UNIFORMS_LABEL = 1058;
constexpr int IDC_OPACITY_LABEL = 1060;
constexpr int IDC_DECAL_LABEL = 1061;
constexpr int IDC_MISC_GROUP = 1062;
constexpr int IDC_DEFAULT_UNIFORMS_LABEL = 1070;
constexpr int IDC_DEFAULT_UNIFORMS = 1073;
constexpr int IDC_MATERIAL = 1075;
constexpr int IDC_SHOW_TEXTURE_UNIFORMS = 1076;
constexpr int IDC_ZBIAS = 1078;
constexpr int IDC_SHADOW_CASTER = 1079;
constexpr int IDC_ONLY_SHADOW_CASTER = 1080;

// The library's resources, which its module handle points at.
extern const Module QKMaterialToolModule;
