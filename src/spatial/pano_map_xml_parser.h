// Decodes the pano map carried in a panorama's metadata reply.
//
// The pano map travels as the text of "panorama/model/pano_map": base64 of a zlib stream of this
// blob (all numbers little-endian):
//
//   offset                     size          field
//   0                          1             header size, must be 8
//   1                          2             N, number of entries with entry 0, 1 to 256
//   3                          2             W, width in cells, not 0
//   5                          2             H, height in cells, not 0
//   7                          1             offset of the indices, must be 8
//   8                          W x H         entry number of each cell, row after row, top first
//   8 + W x H                  22 x (N - 1)  ids of entries 1 to N - 1, 22 ASCII bytes each
//   8 + W x H + 22 x (N - 1)   8 x (N - 1)   two 32-bit floats for each of entries 1 to N - 1
//
// Entry 0 isn't stored: it is the empty id with the vector (0, 0).
//
// Any bytes are safe input. Every fault (empty text, bad base64, a damaged or truncated stream, a
// stream that inflates past the buffer, a header field out of range, a header promising more
// cells or entries than the buffer holds) gives null, with no message. Results are new PanoMaps on
// the dynamic heap, owned by the caller (`delete` frees them). No state: any thread.
#ifndef VISTARA_SPATIAL_PANO_MAP_XML_PARSER_H_
#define VISTARA_SPATIAL_PANO_MAP_XML_PARSER_H_

#include <QByteArray>
#include <cstddef>

#include "spatial/pano_map.h"

namespace vistara::spatial {

class PanoMapXMLParser {
 public:
  // The inflate buffer, the largest pano map read.
  static constexpr size_t kBufferSize = 140800;
  // Bytes of one stored id.
  static constexpr int kIdSize = 22;

  // The pano map of a whole reply whose root is `panorama`; null if there is none.
  static PanoMap* ParsePanoMap(const QByteArray& xml);
  // The pano map from the element's base64 text.
  static PanoMap* ReadCompressedPanoMapData(const QByteArray& base64_text);
  // The pano map from the inflated blob.
  static PanoMap* ReadPanoMapData(const QByteArray& blob);
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANO_MAP_XML_PARSER_H_
