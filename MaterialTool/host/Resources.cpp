// The resources of the plug-in library: the string table and the dialog templates 102 (the
// utility's panel) and 130 (the attribute's rollup). Rectangles are x, y, width, height in dialog
// units; both templates use "MS Shell Dlg" at 8 points, no title, the style of a child window.
#include "Resource.h"

namespace {

const StringResource kStrings[] = {
    {IDS_LIBDESCRIPTION, "MaterialTool"},
    {IDS_CATEGORY, "Quenka Plugins"},
    {IDS_TOOL_CLASS_NAME, "QKModelTool"},
    {IDS_ATTRIB_CLASS_NAME, "MaterialAttrib"},
    {IDS_PARAMS, "Material Attributes"},
    {IDS_OPACITY, "Opacity"},
    {IDS_OPACITY_NONE, "None"},
    {IDS_OPACITY_BLENDING, "Blending"},
    {IDS_OPACITY_ALPHA_TEST, "Alpha test"},
};

const ControlTemplate kToolControls[] = {
    {IDC_MAKE_COOL, ControlKind::PushButton, "Make Cool", 35, 7, 51, 13},
    {IDC_NO_GOOD, ControlKind::PushButton, "No Good", 35, 24, 51, 13},
};

// In their order of creation.
const ControlTemplate kAttribControls[] = {
    {IDC_MATERIAL_LABEL, ControlKind::Static, "Material:", 11, 15, 30, 8},
    {IDC_UNIFORMS_LABEL, ControlKind::Static, "Uniforms:", 12, 117, 33, 8},
    {IDC_SET_TO_MATERIALS, ControlKind::PushButton, "Set this to materials ...", 6, 256, 234, 14},
    {IDC_MISC_GROUP, ControlKind::GroupBox, "Misc", 6, 194, 234, 53},
    {IDC_MATERIAL_GROUP, ControlKind::GroupBox, "Material", 6, 6, 234, 188},
    {IDC_USER_UNIFORMS, ControlKind::CustEdit, "", 11, 127, 225, 61},
    {IDC_OPACITY_LABEL, ControlKind::Static, "Opacity: ", 10, 204, 30, 8},
    {IDC_OPACITY, ControlKind::ComboBox, "", 42, 202, 73, 44},
    {IDC_DEFAULT_UNIFORMS_LABEL, ControlKind::Static, "Default uniforms:", 11, 26, 58, 8},
    {IDC_DEFAULT_UNIFORMS, ControlKind::Edit, "", 10, 37, 225, 61},
    {IDC_MATERIAL, ControlKind::ComboBox, "", 44, 14, 191, 108},
    {IDC_SHOW_TEXTURE_UNIFORMS, ControlKind::PushButton, "Show texture uniforms", 13, 101, 220, 14},
    {IDC_ZBIAS, ControlKind::CheckBox, "Z-Bias", 10, 219, 39, 10},
    {IDC_SHADOW_CASTER, ControlKind::CheckBox, "Shadow caster", 120, 219, 63, 10},
    {IDC_ONLY_SHADOW_CASTER, ControlKind::CheckBox, "Shadow caster only", 120, 203, 79, 10},
    {IDC_DECAL_LABEL, ControlKind::Static, "Decal: ", 12, 233, 23, 8},
    {IDC_DECAL, ControlKind::ComboBox, "", 41, 230, 73, 44},
};

const DialogTemplate kDialogs[] = {
    {IDD_MATERIAL_TOOL, 120, 44, "MS Shell Dlg", 8, kToolControls,
     sizeof kToolControls / sizeof kToolControls[0]},
    {IDD_MATERIAL_ATTRIB, 247, 275, "MS Shell Dlg", 8, kAttribControls,
     sizeof kAttribControls / sizeof kAttribControls[0]},
};

}  // namespace

const Module QKMaterialToolModule = {
    "QKMaterialTool",
    kDialogs,
    sizeof kDialogs / sizeof kDialogs[0],
    kStrings,
    sizeof kStrings / sizeof kStrings[0],
};
