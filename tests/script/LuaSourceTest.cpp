// How a chunk gets from a name to lua_load: sources, readers and their failures.
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "qk_lua.h"
#include "qk_lua_source.h"

namespace {

// A reader that gives `chunk` in pieces of `piece` bytes and can fail before or during the load.
class ScriptedReader : public qk::ILuaReader {
 public:
  ScriptedReader(std::string chunk, size_t piece, bool failAtStart, bool failDuring)
      : chunk_(std::move(chunk)), piece_(piece), failAtStart_(failAtStart), failDuring_(failDuring) {}
  const char* read(lua_State*, size_t* size) override {
    if (failDuring_) failed_ = true;
    if (offset_ >= chunk_.size()) return nullptr;
    *size = std::min(piece_, chunk_.size() - offset_);
    const char* data = chunk_.data() + offset_;
    offset_ += *size;
    return data;
  }
  bool failed() override { return failAtStart_ || failed_; }

 private:
  std::string chunk_;
  size_t piece_, offset_ = 0;
  bool failAtStart_, failDuring_, failed_ = false;
};

class ScriptedSource : public qk::ILuaSourceImpl {
 public:
  std::unique_ptr<qk::ILuaReader> open(const char* name) override {
    opened = name;
    if (std::strcmp(name, "missing") == 0) return nullptr;
    return std::make_unique<ScriptedReader>(chunk, piece, std::strcmp(name, "fail-at-start") == 0,
                                            std::strcmp(name, "fail-during") == 0);
  }
  std::string chunk = "return 6 * 7";
  size_t piece = 1;
  std::string opened;
};

struct State {
  lua_State* L = qk_lua_newstate("source test");
  ScriptedSource source;
  State() { qk_lua_set_source(L, &source); }
  ~State() { qk_lua_close(L); }
};

TEST(LuaSource, AnInstalledSourceServesTheLoadsOfItsState) {
  State s;
  ASSERT_EQ(qk_lua_load_source(s.L, "chunk"), 0);
  EXPECT_EQ(s.source.opened, "chunk");
  ASSERT_EQ(lua_pcall(s.L, 0, 1, 0), 0);
  EXPECT_EQ(lua_tonumber(s.L, -1), 42);  // given one byte at a time
}

TEST(LuaSource, ANameTheSourceCannotOpenPushesNothing) {
  State s;
  EXPECT_EQ(qk_lua_load_source(s.L, "missing"), -1);
  EXPECT_EQ(lua_gettop(s.L), 0);
  EXPECT_EQ(qk_lua_loadfile(s.L, "missing"), LUA_ERRFILE);
  EXPECT_STREQ(lua_tostring(s.L, -1), "no file 'missing'");
}

TEST(LuaSource, AReaderFailingAtStartOrDuringTheLoadGivesFailedToRead) {
  for (const char* name : {"fail-at-start", "fail-during"}) {
    State s;
    EXPECT_EQ(qk_lua_load_source(s.L, name), LUA_ERRFILE) << name;
    EXPECT_EQ(lua_gettop(s.L), 1) << name;  // the message alone: lua_load's result was popped
    EXPECT_EQ(std::string(lua_tostring(s.L, -1)), std::string("failed to read '") + name + "'");
  }
}

TEST(LuaSource, ASyntaxErrorComesBackWithLuasStatus) {
  State s;
  s.source.chunk = "return +";
  EXPECT_EQ(qk_lua_load_source(s.L, "broken"), LUA_ERRSYNTAX);
  EXPECT_NE(std::string(lua_tostring(s.L, -1)).find("[string \"broken\"]:1:"), std::string::npos);
}

TEST(LuaSource, RemovingTheSourceGoesBackToTheFileSystem) {
  State s;
  qk_lua_set_source(s.L, nullptr);
  EXPECT_EQ(qk_lua_load_source(s.L, "chunk"), -1);  // no such file in the working directory
  EXPECT_TRUE(s.source.opened.empty());
}

}  // namespace
