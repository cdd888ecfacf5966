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

// "severity text" for each report.
std::vector<std::string> Logged(const std::vector<base::LogReport>& reports) {
  std::vector<std::string> out;
  for (const auto& r : reports) out.push_back(std::to_string(r.severity) + " " + r.text);
  return out;
}

TEST(JpegCommentsTest, RegistrationReportsEveryMisuse) {
  EXPECT_EQ(Logged(RegisterTestFamiliesOnce()), (std::vector<std::string>{
                                                    "3 Fatal attempt to register message family already in use.",
                                                    "3 Fatal attempt to register invalid message family.",
                                                    "3 Check failed: instance",
                                                    "3 Check failed: instance",
                                                    "3 Check failed: registration_closed_",
                                                    "3 Check failed: !registration_closed_",
                                                    "3 Check failed: !registration_closed_",
                                                }));
  EXPECT_FALSE(loupe::JpegCommentMessageFactory::IsFamilyNameRegistered("TZ"));

  ScopedLogCapture capture;
  EXPECT_EQ(loupe::JpegCommentMessageFactory::CreateMessage("NO"), nullptr);
  EXPECT_EQ(loupe::JpegCommentCreateMessage<loupe::JpegCommentMessageDominantTileAcquisitionDate>("TX"), nullptr);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Fatal attempt to create unregistered JpegCommentMessage.",
                                                       "Check failed: message"}));
}

TEST(JpegCommentsTest, FramingMarkersAndGoldenSection) {
  RegisterTestFamiliesOnce();
  JpegCommentOutputBuffer out;
  ASSERT_TRUE(out.AppendMessage(*NewTextMessage("TX", "2008:05:17")));
  out.Finalize();
  EXPECT_EQ(ToHex(out.buffer()), "2A 23 4B 30 23 2A 30 2A 54 58 2A 32 30 30 38 3A 30 35 3A 31 37 2A 23 30 4B 23 2A");
  // Two messages keep the order they were appended in.
  JpegCommentOutputBuffer two;
  EXPECT_TRUE(two.AppendMessage(*NewTextMessage("TY", "b")));
  EXPECT_TRUE(two.AppendMessage(*NewTextMessage("TX", "")));
  two.Finalize();
  EXPECT_EQ(two.buffer(), "*#K0#*0*TY*b*TX**#0K#*");
  EXPECT_EQ(Read(two.buffer()).bodies, (Bodies{{"TX", ""}, {"TY", "b"}}));
}

TEST(JpegCommentsTest, FindMessagesWalksTokens) {
  struct Case {
    const char* comment;
    bool found;
    Bodies bodies;
  } cases[] = {
      {"text *#K0#*0*TX*2008:05:17*#0K#*", true, {{"TX", "2008:05:17"}}},
      // Another version is skipped; the version-0 section behind it is found.
      {"*#K0#*1*TX*old*#0K#**#K0#*0*TY*new*#0K#*", true, {{"TY", "new"}}},
      // A version-1 token that is itself a start marker opens the section.
      {"*#K0#*#K0#*0*TX*a*#0K#*", true, {{"TX", "a"}}},
      // The end marker in the place of a body: an odd token count yields nothing.
      {"*#K0#*0*TX*#0K#*", false, {}},
      // A start marker in the place of a body opens a new section.
      {"*#K0#*0*TX*#K0#*0*TY*b*#0K#*", true, {{"TY", "b"}}},
      // A non-identifier family abandons the section; the cursor stays on it, and here it opens one.
      {"*#K0#*0*TX*a*#K0#*0*TY*b*#0K#*", true, {{"TY", "b"}}},
      {"*#K0#*0*TX*2008:05:17", false, {}},
      {"*#K0#*0*TX", false, {}},
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
  TextMessage orphan;
  ASSERT_TRUE(input.FindMessages());
  EXPECT_FALSE(input.GetMessage(&orphan));
  EXPECT_FALSE(input.GetMessage(nullptr));
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Fatal unloading of message not created by message factory.",
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

  JpegCommentOutputBuffer out;
  EXPECT_TRUE(out.AppendMessage(*NewTextMessage("TX", "a")));
  EXPECT_FALSE(out.AppendMessage(*NewTextMessage("TX", "b")));
  EXPECT_EQ(out.buffer(), "*#K0#*0*TX*a");

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
  EXPECT_EQ(Logged(capture.reports()),
            (std::vector<std::string>{
                "2 JpegCommentOutputBuffer capacity (20 bytes) exceeded.",
                "2 Fatal loading of multiple messages of same family.",
                "3 Fatal loading of body = JpegCommentKestrelStart.",
                "3 Fatal loading of body = JpegCommentKestrelEnd.",
                "3 Fatal loading of body with JpegCommentKestrelSeparator.",
                "3 Fatal loading of message not created by message factory.",
                "3 Check failed: JpegCommentMessageFactory::IsFamilyNameRegistered(message.family())",
                "3 Check failed: !finalized_",
                "3 Check failed: buffer_.length() + JpegCommentKestrelTrailer().length()<max_size_ 13<13",
            }));
}

}  // namespace
}  // namespace vistara::testing
