// The panel objects of the module "host": a rollup in the material editor, driven control by
// control as the artist would, each change followed by the notification it sends.
//
// A panel stays usable while the material editor shows it: after p:close(), after another
// host.panel(...), or after its attribute was removed, its methods raise "the panel is closed".
#include <string>

#include "HostLua.h"

namespace hostlua {

namespace {

constexpr const char* kPanelMeta = "qkmt.panel";

struct Panel {
  ParamDlg* dlg;
  HWND page;
};

// The panel at 1, checked to be still shown.
Panel& shownPanel(lua_State* L) {
  auto* panel = static_cast<Panel*>(luaL_checkudata(L, 1, kPanelMeta));
  MaterialEditor& editor = session(L).host().materialEditor();
  if (editor.shown() != panel->dlg || !IsWindow(panel->page)) fail(L, "the panel is closed");
  return *panel;
}

// Control `id` (argument 2) of the shown panel at 1, checked to be of `kind` unless `kind` is the
// dialog kind.
HWND control(lua_State* L, ControlKind kind = ControlKind::Dialog) {
  const Panel& panel = shownPanel(L);
  const int id = static_cast<int>(luaL_checkinteger(L, 2));
  const HWND window = GetDlgItem(panel.page, id);
  if (!window) fail(L, "the panel has no control %d", id);
  if (kind != ControlKind::Dialog && GetControlKind(window) != kind) {
    const char* what = kind == ControlKind::ComboBox ? "a combo box" : "a check box";
    fail(L, "control %d isn't %s", id, what);
  }
  return window;
}

void pushText(lua_State* L, const MSTR& text) { lua_pushstring(L, qk_to_utf8(text.c_str()).c_str()); }

int items(lua_State* L) {
  const HWND combo = control(L, ControlKind::ComboBox);
  const int count = ComboBox_GetCount(combo);
  lua_createtable(L, count, 0);
  for (int i = 0; i < count; ++i) {
    pushText(L, ComboBox_GetItemText(combo, i));
    lua_rawseti(L, -2, i + 1);
  }
  return 1;
}

int selection(lua_State* L) {
  lua_pushinteger(L, ComboBox_GetCurSel(control(L, ControlKind::ComboBox)));
  return 1;
}

int selectEntry(lua_State* L) {
  const HWND combo = control(L, ControlKind::ComboBox);
  ComboBox_SetCurSel(combo, static_cast<int>(luaL_checkinteger(L, 3)));
  sendCommand(shownPanel(L).page, GetDlgCtrlID(combo), CBN_SELCHANGE);
  return 0;
}

int checked(lua_State* L) {
  lua_pushboolean(L, Button_GetCheck(control(L, ControlKind::CheckBox)) == BST_CHECKED);
  return 1;
}

int check(lua_State* L) {
  const HWND box = control(L, ControlKind::CheckBox);
  luaL_checktype(L, 3, LUA_TBOOLEAN);
  Button_SetCheck(box, lua_toboolean(L, 3) ? BST_CHECKED : BST_UNCHECKED);
  sendCommand(shownPanel(L).page, GetDlgCtrlID(box), BN_CLICKED);
  return 0;
}

int text(lua_State* L) {
  pushText(L, GetWindowTextString(control(L)));
  return 1;
}

int setText(lua_State* L) {
  const HWND window = control(L);
  SetWindowTextW(window, qk_to_wide(luaL_checkstring(L, 3)).c_str());
  return 0;
}

int enter(lua_State* L) {
  const HWND window = control(L);
  SendMessageW(shownPanel(L).page, WM_CUSTEDIT_ENTER, static_cast<WPARAM>(GetDlgCtrlID(window)),
               reinterpret_cast<LPARAM>(window));
  return 0;
}

int press(lua_State* L) {
  const HWND window = control(L);
  sendCommand(shownPanel(L).page, GetDlgCtrlID(window), BN_CLICKED);
  return 0;
}

// x, y, width, height in pixels, relative to the rollup.
int rect(lua_State* L) {
  const HWND window = control(L);
  RECT rc, page;
  GetWindowRect(window, &rc);
  GetWindowRect(shownPanel(L).page, &page);
  lua_pushinteger(L, rc.left - page.left);
  lua_pushinteger(L, rc.top - page.top);
  lua_pushinteger(L, rc.right - rc.left);
  lua_pushinteger(L, rc.bottom - rc.top);
  return 4;
}

int refresh(lua_State* L) {
  shownPanel(L).dlg->ReloadDialog();
  return 0;
}

int closePanel(lua_State* L) {
  shownPanel(L);
  session(L).host().materialEditor().close();
  return 0;
}

int toString(lua_State* L) {
  const auto* panel = static_cast<Panel*>(luaL_checkudata(L, 1, kPanelMeta));
  lua_pushfstring(L, "panel: %p", static_cast<void*>(panel->page));
  return 1;
}

const luaL_Reg kMethods[] = {
    {"items", guarded<items>},      {"selection", guarded<selection>}, {"select", guarded<selectEntry>},
    {"checked", guarded<checked>},  {"check", guarded<check>},         {"text", guarded<text>},
    {"set_text", guarded<setText>}, {"enter", guarded<enter>},         {"press", guarded<press>},
    {"rect", guarded<rect>},        {"refresh", guarded<refresh>},     {"close", guarded<closePanel>},
};

}  // namespace

void registerPanel(lua_State* L, HostSession& session) {
  luaL_newmetatable(L, kPanelMeta);
  lua_newtable(L);
  for (const luaL_Reg& method : kMethods) {
    lua_pushlightuserdata(L, &session);
    lua_pushfstring(L, "panel:%s", method.name);
    lua_pushcclosure(L, method.func, 2);
    lua_setfield(L, -2, method.name);
  }
  lua_setfield(L, -2, "__index");
  lua_pushcfunction(L, toString);
  lua_setfield(L, -2, "__tostring");
  lua_pop(L, 1);
}

void pushPanel(lua_State* L, ParamDlg* dlg, HWND page) {
  auto* panel = static_cast<Panel*>(lua_newuserdata(L, sizeof(Panel)));
  panel->dlg = dlg;
  panel->page = page;
  luaL_getmetatable(L, kPanelMeta);
  lua_setmetatable(L, -2);
}

}  // namespace hostlua
