#include "common/internal/jpeg_comments.h"

#include <vector>

#include "base/strutil.h"

namespace loupe {
namespace {

// The version this reader and writer speak, right after the start marker.
const std::string& Version() {
  static const std::string* const version = new std::string("0");
  return *version;
}

// separator, start marker, separator, version: "*#K0#*0".
const std::string& Header() {
  static const std::string* const header = new std::string(JpegCommentKestrelSeparator() + JpegCommentKestrelStart() +
                                                           JpegCommentKestrelSeparator() + Version());
  return *header;
}

bool IsIdentifier(const std::string& text) { return vistara::base::IsIdentifier(text.c_str()); }

// The largest comment the reader takes; a JPEG COM segment holds 65533 bytes of text.
constexpr size_t kMaxInputLength = 65532;

}  // namespace

// The strings are never freed, so that they outlive every static object that might use them.
const std::string& JpegCommentKestrelSeparator() {
  static const std::string* const separator = new std::string("*");
  return *separator;
}

const std::string& JpegCommentKestrelStart() {
  static const std::string* const start = new std::string("#K0#");
  return *start;
}

const std::string& JpegCommentKestrelEnd() {
  static const std::string* const end = new std::string("#0K#");
  return *end;
}

const std::string& JpegCommentKestrelTrailer() {
  static const std::string* const trailer =
      new std::string(JpegCommentKestrelSeparator() + JpegCommentKestrelEnd() + JpegCommentKestrelSeparator());
  return *trailer;
}

int JpegCommentMessage::BodyLengthInChars() const {
  std::string body;
  AppendToString(&body);
  return static_cast<int>(body.length());
}

bool JpegCommentMessageFactory::registration_closed_ = false;

// A function-local map, so that a host may register from its own static initialisers.
std::map<std::string, std::shared_ptr<JpegCommentMessage>>& JpegCommentMessageFactory::message_map() {
  static auto* const message_map_ = new std::map<std::string, std::shared_ptr<JpegCommentMessage>>;
  return *message_map_;
}

void JpegCommentMessageFactory::RegisterFamily(const std::string& family, JpegCommentMessage* instance) {
  VS_CHECK(instance);
  VS_CHECK(!registration_closed_);
  if (!IsIdentifier(family)) VS_LOG(FATAL) << "Fatal attempt to register invalid message family.";
  auto& map = message_map();
  if (map.count(family)) VS_LOG(FATAL) << "Fatal attempt to register message family already in use.";
  if (!instance) return;  // nothing to store
  instance->family_ = family;
  // A second prototype of a family replaces the first, which the map then deletes.
  map[family] = std::shared_ptr<JpegCommentMessage>(instance);
}

JpegCommentMessage* JpegCommentMessageFactory::CreateMessage(const std::string& family) {
  VS_CHECK(registration_closed_);
  const auto& map = message_map();
  const auto it = map.find(family);
  if (it == map.end()) {
    VS_LOG(FATAL) << "Fatal attempt to create unregistered JpegCommentMessage.";
    return nullptr;  // there is no prototype to copy
  }
  std::unique_ptr<JpegCommentMessage> new_message(it->second->CreateNewMessage());
  VS_CHECK(new_message.get());
  if (!new_message) return nullptr;
  new_message->family_ = it->second->family_;
  return new_message.release();
}

bool JpegCommentMessageFactory::IsFamilyNameRegistered(const std::string& family) {
  return message_map().count(family) != 0;
}

void JpegCommentMessageFactory::SetRegistrationClosed() {
  VS_CHECK(!registration_closed_);
  registration_closed_ = true;
}

void JpegCommentRegisterFamily(const std::string& family, JpegCommentMessage* instance) {
  VS_CHECK(instance);
  JpegCommentMessageFactory::RegisterFamily(family, instance);
}

void JpegCommentSetRegistrationClosed() { JpegCommentMessageFactory::SetRegistrationClosed(); }

JpegCommentOutputBuffer::JpegCommentOutputBuffer() : JpegCommentOutputBuffer(65533) {}

JpegCommentOutputBuffer::JpegCommentOutputBuffer(long long max_size) : max_size_(max_size), buffer_(Header()) {
  CheckRoomForTrailer();
}

void JpegCommentOutputBuffer::CheckRoomForTrailer() const {
  VS_CHECK_LT(buffer_.length() + JpegCommentKestrelTrailer().length(), max_size_);
}

bool JpegCommentOutputBuffer::AppendMessage(const JpegCommentMessage& message) {
  VS_CHECK(!finalized_);
  VS_CHECK(JpegCommentMessageFactory::registration_closed());
  const std::string& family = message.family();
  if (family.empty()) VS_LOG(FATAL) << "Fatal loading of message not created by message factory.";
  VS_CHECK(JpegCommentMessageFactory::IsFamilyNameRegistered(message.family()));
  if (families_.count(family)) {
    VS_LOG(ERROR) << "Fatal loading of multiple messages of same family.";
    return false;
  }
  std::string body;
  message.AppendToString(&body);
  if (body == JpegCommentKestrelStart()) {
    VS_LOG(FATAL) << "Fatal loading of body = JpegCommentKestrelStart.";
  } else if (body == JpegCommentKestrelEnd()) {
    VS_LOG(FATAL) << "Fatal loading of body = JpegCommentKestrelEnd.";
  } else if (body.find(JpegCommentKestrelSeparator()) != std::string::npos) {
    VS_LOG(FATAL) << "Fatal loading of body with JpegCommentKestrelSeparator.";
  }
  const std::string& separator = JpegCommentKestrelSeparator();
  const long long total = static_cast<long long>(separator.length() + family.length() + separator.length() +
                                                 body.length() + JpegCommentKestrelTrailer().length() +
                                                 buffer_.length());
  if (total >= max_size_) {
    VS_LOG(ERROR) << "JpegCommentOutputBuffer capacity (" << max_size_ << " bytes) exceeded.";
    return false;
  }
  buffer_.append(separator).append(family).append(separator).append(body);
  families_.insert(family);
  return true;
}

void JpegCommentOutputBuffer::Finalize() {
  VS_CHECK(!finalized_);
  CheckRoomForTrailer();
  buffer_.append(JpegCommentKestrelTrailer());
  finalized_ = true;
}

JpegCommentInputBuffer::JpegCommentInputBuffer(const std::string& text) : text_(text, 0, kMaxInputLength + 1) {
  if (text_.length() > kMaxInputLength) {
    VS_LOG(ERROR) << "Input too long to be a valid JpegCommentInputBuffer.";
    invalid_ = true;
  }
}

bool JpegCommentInputBuffer::FindMessages() {
  VS_CHECK(message_map_.empty());
  VS_CHECK(JpegCommentMessageFactory::registration_closed());
  if (invalid_) return false;

  std::vector<std::string> tokens;
  vistara::base::SplitStringAllowEmpty(text_, JpegCommentKestrelSeparator().c_str(), &tokens);
  const std::string& start = JpegCommentKestrelStart();
  const std::string& end = JpegCommentKestrelEnd();
  int sections = 0;
  auto list_it = tokens.cbegin();
  const auto list_end = tokens.cend();
  while (true) {
    // Look for a start marker and step past it.
    while (list_it != list_end && *list_it != start) ++list_it;
    if (list_it == list_end) break;
    ++list_it;
    // Another version: look at this very token again as a possible start marker, so that a
    // section we don't speak is skipped token by token.
    if (list_it == list_end) break;
    if (*list_it != Version()) continue;
    ++list_it;

    std::map<std::string, std::string> section;
    bool tokens_ended = false;
    bool abandoned = false;
    while (true) {
      if (list_it == list_end) {
        tokens_ended = true;
        break;
      }
      if (*list_it == end) break;
      if (!IsIdentifier(*list_it)) {
        abandoned = true;  // the cursor stays on this token, which may open a new section
        break;
      }
      const auto body_it = list_it + 1;
      if (body_it == list_end) {
        tokens_ended = true;
        section.clear();
        break;
      }
      if (*body_it == start || *body_it == end) {
        // A family with no body ends the section without result; a start marker here opens the
        // next one.
        list_it = body_it;
        abandoned = true;
        break;
      }
      section.emplace(*list_it, *body_it);  // the first body of a family stays
      list_it = body_it + 1;
    }
    if (abandoned) continue;
    if (section.empty()) {
      if (tokens_ended) break;
      continue;  // an empty section doesn't count
    }
    if (tokens_ended) break;  // unterminated: yields nothing
    VS_CHECK(JpegCommentKestrelEnd() == *list_it);
    for (auto& entry : section) {
      if (!message_map_.emplace(entry.first, std::move(entry.second)).second) {
        VS_LOG(ERROR) << "Discarding duplicated JPegCommentMessage.";
      }
    }
    ++sections;
  }
  return sections >= 1;
}

bool JpegCommentInputBuffer::GetMessage(JpegCommentMessage* message_to_fill) const {
  VS_CHECK(message_to_fill);
  VS_CHECK(!message_map_.empty());
  if (!message_to_fill) return false;  // nothing to fill
  const std::string& family = message_to_fill->family();
  if (family.empty()) VS_LOG(FATAL) << "Fatal unloading of message not created by message factory.";
  const auto it = message_map_.find(family);
  if (it == message_map_.end()) return false;
  if (message_to_fill->FromString(it->second)) return true;
  VS_LOG(ERROR) << "Message of family " << family << " has invalid body.";
  return false;
}

}  // namespace loupe
