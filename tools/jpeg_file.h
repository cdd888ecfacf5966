// A careful walker over the segments of a JPEG file's header, for reading and replacing its
// comment (COM segment) without touching the image data. The library itself decodes no JPEG.
//
// Any bytes are safe input: a bad file gives false and a one-line reason. The walk is linear in
// the number of segments and stops at the start of the scan (SOS), after which only entropy-coded
// data and later markers follow; everything from there on is copied through unchanged.
#ifndef VISTARA_TOOLS_JPEG_FILE_H_
#define VISTARA_TOOLS_JPEG_FILE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vistara::cli::jpeg {

// The text of a COM segment holds at most 65533 bytes (its length field counts itself).
inline constexpr size_t kMaxCommentLength = 65533;

struct Segment {
  unsigned char marker;  // the byte after 0xFF
  size_t start;          // offset of the first 0xFF fill or marker byte
  size_t payload;        // offset of the payload, behind the length field
  size_t end;            // offset just behind the segment
};

// The segments from SOI up to and including SOS (whose payload is its header only).
bool ReadSegments(const std::string& file, std::vector<Segment>* segments, std::string* error);
// The text of the first COM segment before the scan, or nullopt when there is none.
bool ReadComment(const std::string& file, std::optional<std::string>* comment, std::string* error);
// The file with every COM segment before the scan removed and one holding `comment` in place of
// the first, or, if there was none, behind the leading APPn segments. The bytes from SOS on are
// copied as they are.
bool ReplaceComment(const std::string& file, const std::string& comment, std::string* out, std::string* error);

}  // namespace vistara::cli::jpeg

#endif  // VISTARA_TOOLS_JPEG_FILE_H_
