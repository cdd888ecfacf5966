#include "common/internal/jpeg_comments.h"

#include <gtest/gtest.h>

#include "common/internal/jpeg_comment_test_util.h"

namespace vistara::testing {
namespace {

using loupe::JpegCommentInputBuffer;
using loupe::JpegCommentOutputBuffer;

struct Found {
  bool found = false;
  std::map<std::string, std::string> bodies;  // family -> body, for TX and TY
  std::vector<std::string> reports;
};

Found Read(const std::string& comment) {
  RegisterTestFamiliesOnce();
  ScopedLogCapture capture;
  Found r;
  JpegCommentInputBuffer input(comment);
  r.found = input.FindMessages();
  for (const char* family : {"TX", "TY"}) {
    auto m = NewTextMessage(family, "");
    if (r.found && input.GetMessage(m.get())) r.bodies[family] = m->body();
  }
  r.reports = capture.texts();
  return r;
}

using Bodies = std::map<std::string, std::string>;

TEST(JpegCommentsTest, RegistrationReportsEveryMisuse) {
  const auto& reports = RegisterTestFamiliesOnce();
  std::vector<std::pair<int, std::string>> got;
  for (const auto& r : reports) got.emplace_back(r.severity, r.text);
  const std::vector<std::pair<int, std::string>> want = {
      {3, "Fatal attempt to register message family already in use."},
      {3, "Fatal attempt to register invalid message family."},
      {3, "Check failed: instance"},
      {3, "Check failed: instance"},
      {3, "Check failed: registration_closed_"},
      {3, "Check failed: !registration_closed_"},
      {3, "Check failed: !registration_closed_"},
  };
  EXPECT_EQ(got, want);
  EXPECT_FALSE(loupe::JpegCommentMessageFactory::IsFamilyNameRegistered("TZ"));

  ScopedLogCapture capture;
  EXPECT_EQ(loupe::JpegCommentMessageFactory::CreateMessage("NO"), nullptr);
  EXPECT_EQ(loupe::JpegCommentCreateMessage<loupe::JpegCommentMessageDominantTileAcquisitionDate>("TX"), nullptr);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Fatal attempt to create unregistered JpegCommentMessage.",
                                                       "Check failed: message"}));
}

TEST(JpegCommentsTest, FramingMarkersAndGoldenSection) {
  RegisterTestFamiliesOnce();
  // One message, family "TX", body "2008:05:17".
  JpegCommentOutputBuffer out;
  ASSERT_TRUE(out.AppendMessage(*NewTextMessage("TX", "2008:05:17")));
  out.Finalize();
  EXPECT_EQ(ToHex(out.buffer()),
            "2A 23 4B 30 23 2A 30 2A 54 58 2A 32 30 30 38 3A 30 35 3A 31 37 2A 23 30 4B 23 2A");
  // Two messages keep the order they were appended in.
  JpegCommentOutputBuffer two;
  EXPECT_TRUE(two.AppendMessage(*NewTextMessage("TY", "b")));
  EXPECT_TRUE(two.AppendMessage(*NewTextMessage("TX", "")));
  two.Finalize();
  EXPECT_EQ(two.buffer(), "*#K0#*0*TY*b*TX**#0K#*");
  EXPECT_EQ(Read(two.buffer()).bodies, (Bodies{{"TX", ""}, {"TY", "b"}}));
}

TEST(JpegCommentsTest, FindMessagesWalksTokens) {
  const Bodies one = {{"TX", "2008:05:17"}};
  struct Case {
    const char* comment;
    bool found;
    Bodies bodies;
  } cases[] = {
      {"*#K0#*0*TX*2008:05:17*#0K#*", true, one},
      {"made 2009 *#K0#*0*TX*2008:05:17*#0K#* by hand", true, one},
      // Another version is skipped; the version-0 section behind it is found.
      {"*#K0#*1*TX*old*#0K#**#K0#*0*TY*new*#0K#*", true, {{"TY", "new"}}},
      // A version-1 token that is itself a start marker opens the section.
      {"*#K0#*#K0#*0*TX*a*#0K#*", true, {{"TX", "a"}}},
      // The end marker in the place of a body: an odd token count yields nothing.
      {"*#K0#*0*TX*#0K#*", false, {}},
      // A start marker in the place of a body opens a new section.
      {"*#K0#*0*TX*#K0#*0*TY*b*#0K#*", true, {{"TY", "b"}}},
      // A non-identifier family abandons the section; the cursor stays on it.
      {"*#K0#*0*TX*a*9x*b*#0K#*", false, {}},
      {"*#K0#*0*TX*a*#K0#*0*TY*b*#0K#*", true, {{"TY", "b"}}},
      {"*#K0#*0*TX*2008:05:17", false, {}},
      {"*#K0#*0*TX", false, {}},
      {"*#K0#*0", false, {}},
      {"*#K0#*0*#0K#*", false, {}},
      // Within one section the first body of a family stays, without a report.
      {"*#K0#*0*TX*a*TX*b*#0K#*", true, {{"TX", "a"}}},
      // An empty section before a full one doesn't count, and doesn't hide it.
      {"*#K0#*0*#0K#**#K0#*0*TX*a*#0K#*", true, {{"TX", "a"}}},
  };
  for (const Case& c : cases) {
    const Found r = Read(c.comment);
    EXPECT_EQ(r.found, c.found) << c.comment;
    EXPECT_EQ(r.bodies, c.bodies) << c.comment;
    EXPECT_TRUE(r.reports.empty()) << c.comment << ": " << r.reports.front();
  }

  // Across sections the first body stays, with one report for the duplicate.
  const Found dup = Read("*#K0#*0*TX*first*#0K#**#K0#*0*TX*second*TY*y*#0K#*");
  EXPECT_TRUE(dup.found);
  EXPECT_EQ(dup.bodies, (Bodies{{"TX", "first"}, {"TY", "y"}}));
  EXPECT_EQ(dup.reports, std::vector<std::string>{"Discarding duplicated JPegCommentMessage."});

  // A refused body.
  const Found bad = Read("*#K0#*0*TX*bad*#0K#*");
  EXPECT_TRUE(bad.found);
  EXPECT_EQ(bad.reports, std::vector<std::string>{"Message of family TX has invalid body."});
}

TEST(JpegCommentsTest, InputLengthLimit) {
  const std::string section = "*#K0#*0*TX*a*#0K#*";
  const std::string fits = section + std::string(65532 - section.size(), ' ');
  EXPECT_TRUE(Read(fits).found);
  const Found too_long = Read(fits + " ");
  EXPECT_FALSE(too_long.found);
  EXPECT_EQ(too_long.reports, std::vector<std::string>{"Input too long to be a valid JpegCommentInputBuffer."});

  ScopedLogCapture capture;
  JpegCommentInputBuffer input("*#K0#*0*TX*a*#0K#*");
  auto m = NewTextMessage("TX", "");
  EXPECT_FALSE(input.GetMessage(m.get()));  // before FindMessages
  TextMessage orphan;
  ASSERT_TRUE(input.FindMessages());
  EXPECT_FALSE(input.GetMessage(&orphan));
  EXPECT_FALSE(input.GetMessage(nullptr));
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Check failed: !message_map_.empty()",
                                                       "Fatal unloading of message not created by message factory.",
                                                       "Check failed: message_to_fill"}));
}

TEST(JpegCommentsTest, OutputBufferLimitsAndForbiddenBodies) {
  RegisterTestFamiliesOnce();
  ScopedLogCapture capture;
  // Header 7 + "*TX*" 4 + body + trailer 6: a body of 2 makes 19 bytes, one of 3 makes 20.
  JpegCommentOutputBuffer small(20);
  EXPECT_FALSE(small.AppendMessage(*NewTextMessage("TX", "abc")));
  EXPECT_EQ(small.buffer(), "*#K0#*0");
  EXPECT_TRUE(small.AppendMessage(*NewTextMessage("TY", "ab")));
  small.Finalize();
  EXPECT_EQ(small.buffer().size(), 19u);
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"JpegCommentOutputBuffer capacity (20 bytes) exceeded."});
  EXPECT_EQ(capture.reports()[0].severity, 2);
  capture.Clear();

  JpegCommentOutputBuffer out;
  EXPECT_TRUE(out.AppendMessage(*NewTextMessage("TX", "a")));
  EXPECT_FALSE(out.AppendMessage(*NewTextMessage("TX", "b")));
  EXPECT_EQ(out.buffer(), "*#K0#*0*TX*a");
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Fatal loading of multiple messages of same family."});
  EXPECT_EQ(capture.reports()[0].severity, 2);
  capture.Clear();

  // Forbidden bodies are reported as fatal, and written all the same.
  for (const char* body : {"#K0#", "#0K#", "a*b"}) {
    JpegCommentOutputBuffer o;
    EXPECT_TRUE(o.AppendMessage(*NewTextMessage("TY", body)));
  }
  TextMessage orphan("x");
  JpegCommentOutputBuffer o;
  o.AppendMessage(orphan);
  o.Finalize();
  o.Finalize();
  JpegCommentOutputBuffer tiny(13);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{
                                 "Fatal loading of body = JpegCommentKestrelStart.",
                                 "Fatal loading of body = JpegCommentKestrelEnd.",
                                 "Fatal loading of body with JpegCommentKestrelSeparator.",
                                 "Fatal loading of message not created by message factory.",
                                 "Check failed: JpegCommentMessageFactory::IsFamilyNameRegistered(message.family())",
                                 "Check failed: !finalized_",
                                 "Check failed: buffer_.length() + JpegCommentKestrelTrailer().length()<max_size_ 13<13",
                             }));
  for (const auto& r : capture.reports()) EXPECT_EQ(r.severity, 3) << r.text;
}

}  // namespace
}  // namespace vistara::testing
