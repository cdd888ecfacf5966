#include "base/strutil.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <climits>

namespace vistara::base {
namespace {

int EscapeInto(const std::string& src, int dest_len, std::string* out) {
  std::string dest(static_cast<size_t>(dest_len) + 1, '#');  // one guard byte past dest_len
  const int n = CEscapeString(src.data(), static_cast<int>(src.size()), dest.data(), dest_len);
  EXPECT_EQ('#', dest.back()) << "wrote past dest_len";
  if (n >= 0) *out = dest.substr(0, static_cast<size_t>(n));
  return n;
}

TEST(StrUtilTest, CEscapeStringNeedsRoomBeforeEachCharacterAndAtTheEnd) {
  struct Case {
    std::string src, escaped;
    int smallest;  // the smallest dest_len that works
  } cases[] = {
      {"", "", 1},
      {"a", "a", 2},
      {"\x01", "\\001", 5},
      {"\xff", "\\377", 5},
      {"\t\n\r", "\\t\\n\\r", 7},
      {"\"'\\", "\\\"\\'\\\\", 7},
      {"a\x7f", "a\\177", 6},
  };
  for (const Case& c : cases) {
    std::string out;
    EXPECT_EQ(static_cast<int>(c.escaped.size()), EscapeInto(c.src, c.smallest, &out)) << c.escaped;
    EXPECT_EQ(c.escaped, out);
    EXPECT_EQ(-1, EscapeInto(c.src, c.smallest - 1, &out)) << c.escaped;
    EXPECT_EQ(c.escaped, CEscape(c.src));
  }
  EXPECT_EQ(std::string("a\\000b", 6), CEscape(std::string("a\0b", 3)));
}

TEST(StrUtilTest, LeadingNumbers) {
  EXPECT_EQ(-1, ParseLeadingDec32Value("abc", -1));
  EXPECT_EQ(-42, ParseLeadingDec32Value("  -42 rest", 0));
  EXPECT_EQ(8, ParseLeadingDec32Value("+08", 0)) << "base 10: a leading zero is not octal";
  EXPECT_EQ(INT_MAX, ParseLeadingDec32Value("99999999999", 0));
  // strto32_adapter keeps the caller's errno unless it fails itself.
  errno = EDOM;
  char* end = nullptr;
  const char* text = "123x";
  EXPECT_EQ(123, strto32_adapter(text, &end, 10));
  EXPECT_EQ(std::make_pair(text + 3, EDOM), std::make_pair(static_cast<const char*>(end), errno));
  EXPECT_EQ(INT_MAX, strto32_adapter("4294967296", &end, 10));
  EXPECT_EQ(ERANGE, errno);
  errno = 0;
}

TEST(StrUtilTest, SplitAndIdentifiers) {
  std::vector<std::string> pieces{"kept"};  // appended to; empty pieces stay
  SplitStringAllowEmpty("*a**", "*", &pieces);
  SplitStringAllowEmpty("", ",", &pieces);
  SplitStringAllowEmpty("a,b;c", ",;", &pieces);
  EXPECT_EQ((std::vector<std::string>{"kept", "", "a", "", "", "", "a", "b", "c"}), pieces);
  // Every byte as a first and as a later character, against the C library's ASCII classes.
  for (int c = 1; c < 256; ++c) {
    const std::string one(1, static_cast<char>(c));
    EXPECT_EQ(std::isalpha(c) || c == '_', IsIdentifier(one.c_str())) << c;
    EXPECT_EQ(std::isalnum(c) || c == '_', IsIdentifier(("_" + one).c_str())) << c;
  }
  EXPECT_FALSE(IsIdentifier(""));
  const char* text = "ab_9-rest";
  EXPECT_EQ(text + 4, AdvanceIdentifier(text));
  EXPECT_EQ(nullptr, AdvanceIdentifier(nullptr));
}

}  // namespace
}  // namespace vistara::base
