// Named messages framed in the comment of an imagery tile (a JPEG COM segment).
//
// Wire form, all ASCII, "*" the only separator:
//   section = "*#K0#*0" { "*" family "*" body } "*#0K#*"
//   e.g.      *#K0#*0*AD*2008:05:17*#0K#*
// The header is separator, start marker "#K0#", separator, version "0"; the trailer is
// separator, end marker "#0K#", separator. A family is an identifier; a body is any text without
// "*" that isn't a marker. The reader splits the comment at every "*" and tolerates any text
// before, between and after sections (docs/imagery-comments.md walks through the rules).
//
// Message classes are registered by family in a process-wide factory, which owns one prototype
// per family. The order is fixed: every JpegCommentRegisterFamily at start-up on one thread, then
// JpegCommentSetRegistrationClosed(), and only then message creation, writing and reading, from
// any thread (the factory is only read by then). Each buffer belongs to one thread.
//
// Failure: reports through base/logging.h and never stops. Reports worded "Fatal ..." have
// severity 3 and the code after them runs on. Functions returning bool return false only where
// their comment says so.
#ifndef VISTARA_COMMON_INTERNAL_JPEG_COMMENTS_H_
#define VISTARA_COMMON_INTERNAL_JPEG_COMMENTS_H_

#include <map>
#include <memory>
#include <set>
#include <string>

#include "base/logging.h"

namespace loupe {

// The framing texts, each built on first use and kept to process exit.
const std::string& JpegCommentKestrelSeparator();  // "*"
const std::string& JpegCommentKestrelStart();      // "#K0#"
const std::string& JpegCommentKestrelEnd();        // "#0K#"
const std::string& JpegCommentKestrelTrailer();    // "*#0K#*"

// A message: a family name, given by the factory, and a body whose meaning the subclass defines.
class JpegCommentMessage {
 public:
  JpegCommentMessage() = default;
  virtual ~JpegCommentMessage() = default;
  JpegCommentMessage(const JpegCommentMessage&) = delete;
  JpegCommentMessage& operator=(const JpegCommentMessage&) = delete;

  // A new message of the same class and settings, with no family; the caller deletes it.
  virtual JpegCommentMessage* CreateNewMessage() const = 0;
  // The length of the body that AppendToString would write.
  virtual int BodyLengthInChars() const;
  // Appends the body.
  virtual void AppendToString(std::string* out) const = 0;
  // Takes a body; false if it can't.
  virtual bool FromString(const std::string& body) = 0;

  const std::string& family() const { return family_; }

 private:
  friend class JpegCommentMessageFactory;
  std::string family_;  // empty until the factory gives one
};

// The process-wide registry of message families. Only static members; unguarded (see above).
class JpegCommentMessageFactory {
 public:
  // Takes ownership of `instance` as the prototype of `family`. An invalid or taken family name
  // is reported as fatal (and, as everywhere, the registration goes on).
  static void RegisterFamily(const std::string& family, JpegCommentMessage* instance);
  // A new message of the family, for the caller to delete; null if the family is unknown.
  static JpegCommentMessage* CreateMessage(const std::string& family);
  static bool registration_closed() { return registration_closed_; }
  static bool IsFamilyNameRegistered(const std::string& family);

 private:
  friend void JpegCommentSetRegistrationClosed();
  static void SetRegistrationClosed();

  // Family -> prototype. Shared ownership stands in for a linked pointer: the map is the only owner.
  static std::map<std::string, std::shared_ptr<JpegCommentMessage>>& message_map();
  static bool registration_closed_;
};

// Checks `instance`, then registers it (see RegisterFamily).
void JpegCommentRegisterFamily(const std::string& family, JpegCommentMessage* instance);
// Closes registration for good; closing twice fails a check.
void JpegCommentSetRegistrationClosed();

// A new message of `family` as a T, for the caller to delete; null (after a failed check
// "message") if the family is unknown or its class isn't a T.
template <class T>
T* JpegCommentCreateMessage(const std::string& family) {
  JpegCommentMessage* created = JpegCommentMessageFactory::CreateMessage(family);
  T* message = dynamic_cast<T*>(created);
  if (!message) delete created;  // a prototype of another class: not ours to hand out
  VS_CHECK(message);
  return message;
}

// Writes one section: construct, AppendMessage for each message, Finalize, then read buffer().
class JpegCommentOutputBuffer {
 public:
  // The limit: the finished text stays below `max_size` bytes. With the default, 65533, it is at
  // most 65532 bytes, which fits a JPEG comment segment.
  JpegCommentOutputBuffer();
  explicit JpegCommentOutputBuffer(long long max_size);

  // Appends the message's family and body. False, with the text unchanged, when the family was
  // already appended (severity 2) or the text and trailer would reach the limit (severity 2).
  bool AppendMessage(const JpegCommentMessage& message);
  // Appends the trailer; once only.
  void Finalize();

  const std::string& buffer() const { return buffer_; }
  bool finalized() const { return finalized_; }

 private:
  void CheckRoomForTrailer() const;

  long long max_size_;
  bool finalized_ = false;
  std::string buffer_;
  std::set<std::string> families_;
};

// Reads the sections of a comment: construct, FindMessages once, then GetMessage for each family
// of interest. Any bytes are safe input; a comment of 65533 bytes or more is invalid as a whole.
class JpegCommentInputBuffer {
 public:
  explicit JpegCommentInputBuffer(const std::string& text);

  // Collects the messages of every complete section. True if at least one section held one.
  // Where two sections carry the same family the first body stays (one report, severity 2).
  bool FindMessages();
  // Fills the message from the body of its family. False if the family wasn't found, or if the
  // message refused the body (reported at severity 2).
  bool GetMessage(JpegCommentMessage* message_to_fill) const;

 private:
  std::string text_;
  bool invalid_ = false;
  std::map<std::string, std::string> message_map_;  // family -> body
};

}  // namespace loupe

#endif  // VISTARA_COMMON_INTERNAL_JPEG_COMMENTS_H_
