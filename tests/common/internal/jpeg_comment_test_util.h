// The comment families every imagery test shares. The factory is process-wide and closes once, so
// all tests register through RegisterTestFamiliesOnce(), which keeps the reports of its own
// registration for the test that checks them.
#ifndef VISTARA_TESTS_COMMON_INTERNAL_JPEG_COMMENT_TEST_UTIL_H_
#define VISTARA_TESTS_COMMON_INTERNAL_JPEG_COMMENT_TEST_UTIL_H_

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/internal/jpeg_comments.h"
#include "common/internal/jpeg_comments_dates.h"
#include "test_util.h"

namespace vistara::testing {

// A message whose body is any text; the body "bad" is refused.
class TextMessage : public loupe::JpegCommentMessage {
 public:
  explicit TextMessage(std::string body = "") : body_(std::move(body)) {}
  JpegCommentMessage* CreateNewMessage() const override { return new TextMessage(body_); }
  void AppendToString(std::string* out) const override { out->append(body_); }
  bool FromString(const std::string& body) override {
    body_ = body;
    return body != "bad";
  }
  const std::string& body() const { return body_; }
  void set_body(const std::string& body) { body_ = body; }

 private:
  std::string body_;
};

// Registers "AD" (dominant date, bound 0.6), "TX" and "TY" (TextMessage), tries an invalid and a
// taken family, creates one message too early, then closes registration. Returns the reports made
// on the way.
inline const std::vector<base::LogReport>& RegisterTestFamiliesOnce() {
  static std::vector<base::LogReport> reports;
  static std::once_flag once;
  std::call_once(once, [] {
    ScopedLogCapture capture;
    loupe::JpegCommentRegisterFamily("AD", new loupe::JpegCommentMessageDominantTileAcquisitionDate(0.6f));
    loupe::JpegCommentRegisterFamily("TX", new TextMessage);
    loupe::JpegCommentRegisterFamily("TY", new TextMessage);
    loupe::JpegCommentRegisterFamily("TX", new TextMessage);     // taken
    loupe::JpegCommentRegisterFamily("1x", new TextMessage);     // not an identifier
    loupe::JpegCommentRegisterFamily("TZ", nullptr);
    delete loupe::JpegCommentMessageFactory::CreateMessage("TX");  // before closing
    loupe::JpegCommentSetRegistrationClosed();
    loupe::JpegCommentSetRegistrationClosed();  // twice
    loupe::JpegCommentRegisterFamily("TW", new TextMessage);     // after closing
    reports = capture.reports();
  });
  return reports;
}

inline unsigned DateKey(int year, int month, int day) {
  unsigned key = 0;
  loupe::JpegCommentDate::YearMonthDayKeyFromInts(year, month, day, &key);
  return key;
}

inline std::string DateText(const loupe::JpegCommentDate& date) {
  std::string text;
  date.AppendToString(&text);
  return text;
}

inline std::unique_ptr<TextMessage> NewTextMessage(const std::string& family, const std::string& body) {
  std::unique_ptr<TextMessage> m(loupe::JpegCommentCreateMessage<TextMessage>(family));
  if (m) m->set_body(body);
  return m;
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_COMMON_INTERNAL_JPEG_COMMENT_TEST_UTIL_H_
