#include "jpeg_file.h"

namespace vistara::cli::jpeg {
namespace {

constexpr unsigned char kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kCom = 0xFE, kTem = 0x01;

unsigned char At(const std::string& s, size_t i) { return static_cast<unsigned char>(s[i]); }

bool IsStandalone(unsigned char marker) { return marker == kTem || (marker >= 0xD0 && marker <= 0xD7); }
bool IsApp(unsigned char marker) { return marker >= 0xE0 && marker <= 0xEF; }

}  // namespace

bool ReadSegments(const std::string& file, std::vector<Segment>* segments, std::string* error) {
  segments->clear();
  if (file.size() < 2 || At(file, 0) != 0xFF || At(file, 1) != kSoi) {
    *error = "not a JPEG file (no start-of-image marker)";
    return false;
  }
  size_t pos = 2;
  while (true) {
    const size_t start = pos;
    if (pos >= file.size() || At(file, pos) != 0xFF) {
      *error = pos >= file.size() ? "file ends before the image data" : "expected a marker at byte " + std::to_string(pos);
      return false;
    }
    // Any number of 0xFF fill bytes may stand before a marker.
    while (pos < file.size() && At(file, pos) == 0xFF) ++pos;
    if (pos >= file.size()) {
      *error = "file ends inside a marker";
      return false;
    }
    const unsigned char marker = At(file, pos++);
    if (marker == 0x00 || marker == kSoi || marker == kEoi) {
      *error = marker == kEoi ? "image ends before any scan" : "unexpected marker at byte " + std::to_string(start);
      return false;
    }
    if (IsStandalone(marker)) {
      segments->push_back({marker, start, pos, pos});
      continue;
    }
    if (file.size() - pos < 2) {
      *error = "file ends inside a segment length";
      return false;
    }
    const size_t length = (static_cast<size_t>(At(file, pos)) << 8) | At(file, pos + 1);
    // The length counts its own two bytes, so 2 is an empty segment and below 2 is corrupt.
    if (length < 2) {
      *error = "segment length below 2 at byte " + std::to_string(pos);
      return false;
    }
    if (length > file.size() - pos) {
      *error = "segment at byte " + std::to_string(start) + " runs past the end of the file";
      return false;
    }
    segments->push_back({marker, start, pos + 2, pos + length});
    pos += length;
    if (marker == kSos) return true;
  }
}

bool ReadComment(const std::string& file, std::optional<std::string>* comment, std::string* error) {
  std::vector<Segment> segments;
  if (!ReadSegments(file, &segments, error)) return false;
  comment->reset();
  for (const Segment& s : segments) {
    if (s.marker == kCom) {
      *comment = file.substr(s.payload, s.end - s.payload);
      break;
    }
  }
  return true;
}

bool ReplaceComment(const std::string& file, const std::string& comment, std::string* out, std::string* error) {
  if (comment.size() > kMaxCommentLength) {
    *error = "comment of " + std::to_string(comment.size()) + " bytes does not fit a JPEG comment segment";
    return false;
  }
  std::vector<Segment> segments;
  if (!ReadSegments(file, &segments, error)) return false;
  std::string com("\xFF\xFE", 2);
  const size_t length = comment.size() + 2;
  com.push_back(static_cast<char>(length >> 8));
  com.push_back(static_cast<char>(length & 0xFF));
  com.append(comment);

  // Where the new segment goes: in place of the first comment, else behind the leading APPn.
  size_t insert_at = 0;
  bool found_com = false;
  for (const Segment& s : segments) {
    if (s.marker == kCom) {
      insert_at = s.start;
      found_com = true;
      break;
    }
  }
  if (!found_com) {
    insert_at = segments.front().start;
    for (const Segment& s : segments) {
      if (!IsApp(s.marker)) break;
      insert_at = s.end;
    }
  }
  out->assign(file, 0, 2);
  size_t copied = 2;
  bool inserted = false;
  for (const Segment& s : segments) {
    if (!inserted && s.start >= insert_at) {
      out->append(file, copied, insert_at - copied);
      copied = insert_at;
      out->append(com);
      inserted = true;
    }
    if (s.marker == kCom) {
      out->append(file, copied, s.start - copied);
      copied = s.end;
    }
  }
  out->append(file, copied, std::string::npos);
  return true;
}

}  // namespace vistara::cli::jpeg
