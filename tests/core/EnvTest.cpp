// The environment: SYS_getenv's answers and its two lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "TestPlatform.h"
#include "qk_env.h"

namespace {

TEST(SysGetenv, AnswersAValueAsUtf8AndAnEmptyOneAsUnset) {
  char value[64];
  qk_test_setenv("QK_TEST_VARIABLE",
                 "Gr\xC3\xBC\xC3\x9F"
                 "e");
  EXPECT_EQ(SYS_getenv("QK_TEST_VARIABLE", value, sizeof value), 1);
  EXPECT_STREQ(value,
               "Gr\xC3\xBC\xC3\x9F"
               "e");
  qk_test_setenv("QK_TEST_VARIABLE",
                 "a\xFF"
                 "b");  // not UTF-8: the byte becomes U+FFFD
  EXPECT_EQ(SYS_getenv("QK_TEST_VARIABLE", value, sizeof value), 1);
  EXPECT_STREQ(value,
               "a\xEF\xBF\xBD"
               "b");

  LogCapture log;
  qk_test_setenv("QK_TEST_VARIABLE", "");
  EXPECT_EQ(SYS_getenv("QK_TEST_VARIABLE", value, sizeof value), 0);
  qk_test_unsetenv("QK_TEST_VARIABLE");
  EXPECT_EQ(SYS_getenv("QK_TEST_VARIABLE", value, sizeof value), 0);
  EXPECT_TRUE(log.errors().empty());
}

TEST(SysGetenv, ATooBigValueAndAnUnconvertibleNameAreLogged) {
  std::vector<char> value(300000);
  qk_test_setenv("QK_TEST_VARIABLE", "value");
  LogCapture log;
  EXPECT_EQ(SYS_getenv("QK_TEST_VARIABLE", value.data(), 5), 0);  // needs 6 with the terminator
  EXPECT_EQ(log.errors(),
            std::vector<std::string>{"SYS_getenv(\"QK_TEST_VARIABLE\"): variable value is too big."});
  // A name beyond 32,767 units (its line is too long for LogCapture's pattern).
  const std::string long_name(40000, 'N');
  testing::internal::CaptureStderr();
  EXPECT_EQ(SYS_getenv(long_name.c_str(), value.data(), value.size()), 0);
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_NE(line.find(" ERROR   QKCORESTATIC ("), std::string::npos);
  EXPECT_NE(line.find("): SYS_getenv(\"NNNN"), std::string::npos);
  EXPECT_NE(line.find("NNNN\"): bad encoding.\n"), std::string::npos);
}

// A value beyond 65,535 units, which only a POSIX environment can hold (Windows keeps at most
// 32,767 per variable).
TEST(SysGetenv, AValueBeyondTheLimitIsLogged) {
  const std::string huge(70000, 'x');
  qk_test_setenv("QK_TEST_HUGE", huge.c_str());
  const char* seen = std::getenv("QK_TEST_HUGE");
  if (!seen || std::strlen(seen) != huge.size()) GTEST_SKIP() << "the system keeps no value this long";
  std::vector<char> value(300000);
  LogCapture log;
  EXPECT_EQ(SYS_getenv("QK_TEST_HUGE", value.data(), value.size()), 0);
  EXPECT_EQ(log.errors(),
            std::vector<std::string>{"SYS_getenv(\"QK_TEST_HUGE\"): variable value is too big."});
  qk_test_unsetenv("QK_TEST_HUGE");
}

}  // namespace
