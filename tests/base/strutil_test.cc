#include "base/strutil.h"

#include <gtest/gtest.h>

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
  // "ab" has 2 free before 'b' with 3 bytes, but then none for the NUL.
  std::string out;
  EXPECT_EQ(-1, EscapeInto("ab", 2, &out));
  EXPECT_EQ(2, EscapeInto("ab", 3, &out));
  EXPECT_EQ(std::string("a\\000b", 6), CEscape(std::string("a\0b", 3)));
}

TEST(StrUtilTest, SplitKeepsEmptyPiecesAndAppends) {
  std::vector<std::string> pieces{"kept"};
  SplitStringAllowEmpty("*a**", "*", &pieces);
  EXPECT_EQ((std::vector<std::string>{"kept", "", "a", "", ""}), pieces);
  pieces.clear();
  SplitStringAllowEmpty("", ",", &pieces);
  EXPECT_EQ(std::vector<std::string>{""}, pieces);
  pieces.clear();
  SplitStringAllowEmpty("a,b;c", ",;", &pieces);
  EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), pieces);
  pieces.clear();
  SplitStringAllowEmpty("abc", "", &pieces);
  EXPECT_EQ(std::vector<std::string>{"abc"}, pieces);
}

TEST(StrUtilTest, LeadingNumbers) {
  EXPECT_EQ(12, ParseLeadingDec32Value("12abc", -1));
  EXPECT_EQ(-1, ParseLeadingDec32Value("abc", -1));
  EXPECT_EQ(-1, ParseLeadingDec32Value("", -1));
  EXPECT_EQ(-42, ParseLeadingDec32Value("  -42 rest", 0));
  EXPECT_EQ(8, ParseLeadingDec32Value("+08", 0)) << "base 10: a leading zero is not octal";
  EXPECT_EQ(INT_MAX, ParseLeadingDec32Value("99999999999", 0));

  errno = EDOM;
  char* end = nullptr;
  const char* text = "123x";
  EXPECT_EQ(123, strto32_adapter(text, &end, 10));
  EXPECT_EQ(text + 3, end);
  EXPECT_EQ(EDOM, errno) << "a successful call keeps the caller's errno";
  EXPECT_EQ(255, strto32_adapter("ff", &end, 16));
  EXPECT_EQ(EDOM, errno);
  EXPECT_EQ(INT_MAX, strto32_adapter("4294967296", &end, 10));
  EXPECT_EQ(ERANGE, errno);
  errno = 0;
}

TEST(StrUtilTest, Identifiers) {
  EXPECT_TRUE(IsIdentifier("_a1"));
  EXPECT_TRUE(IsIdentifier("AD"));
  EXPECT_FALSE(IsIdentifier("1a"));
  EXPECT_FALSE(IsIdentifier("a-b"));
  EXPECT_FALSE(IsIdentifier(""));
  const char* text = "ab_9-rest";
  EXPECT_EQ(text + 4, AdvanceIdentifier(text));
  EXPECT_EQ(nullptr, AdvanceIdentifier("-x"));
  EXPECT_EQ(nullptr, AdvanceIdentifier(nullptr));
}

}  // namespace
}  // namespace vistara::base
