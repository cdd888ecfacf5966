#include "base/stringprintf.h"

#include <gtest/gtest.h>

#include "test_util.h"

namespace vistara::base {
namespace {

TEST(StringPrintfTest, LengthsAroundTheLocalBuffer) {
  // The local buffer holds 1023 characters and a NUL; one more takes the second pass.
  for (size_t n : {0u, 1u, 1022u, 1023u, 1024u, 1025u, 5000u}) {
    const std::string text(n, 'x');
    EXPECT_EQ(text, StringPrintf("%s", text.c_str())) << n;
    std::string appended = "ab";
    StringAppendF(&appended, "%s|%d", text.c_str(), 7);
    EXPECT_EQ("ab" + text + "|7", appended) << n;
  }
  std::string out = "old";
  EXPECT_EQ("new 3", SStringPrintf(&out, "new %d", 3));
  EXPECT_EQ("new 3", out);
}

TEST(StringPrintfTest, VectorFillsMissingArgumentsAndChecksTheLimit) {
  EXPECT_EQ("[][]", StringPrintfVector("[%s][%s]", {}));
  EXPECT_EQ("a-b-", StringPrintfVector("%s-%s-%s", {"a", "b"}));

  std::vector<std::string> all(32, "z");
  vistara::testing::ScopedLogCapture capture;
  EXPECT_EQ("zz", StringPrintfVector("%s%s", all));
  EXPECT_TRUE(capture.reports().empty());

  all.push_back("over");
  EXPECT_EQ("z", StringPrintfVector("%s", all));
  ASSERT_EQ(1u, capture.reports().size());
  EXPECT_EQ(
      "Check failed: v.size()<=kStringPrintfVectorMaxArgs 33<=32 StringPrintfVector currently only supports up to 32 "
      "arguments. Feel free to add support for more if you need it.",
      capture.reports()[0].text);
}

}  // namespace
}  // namespace vistara::base
