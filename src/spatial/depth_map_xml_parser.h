// Decodes the depth map carried in a panorama's metadata reply, and reads its annotations.
//
// The depth map travels as the text of "panorama/model/depth_map": base64 of a zlib stream of
// this blob (all numbers little-endian):
//
//   offset      size      field
//   0           1         header size, must be 8
//   1           2         P, number of planes, 1 to 256
//   3           2         W, width in cells, not 0
//   5           2         H, height in cells, not 0
//   7           1         offset of the indices, must be 8
//   8           W x H     plane number of each cell, row after row
//   8 + W x H   16 x P    per plane four 32-bit floats: normal x, y, z, distance
//
// Each plane comes out negated (normal and distance as stored, the normal turned round) and, if
// its normal isn't of unit length within kAlmostEqualTolerance, divided by that length; a normal
// shorter than the tolerance is kept as read. Plane numbers aren't compared with P.
//
// Any bytes are safe input. Every fault (empty text, bad base64, a damaged or truncated stream, a
// stream that inflates past the buffer, a header field out of range, a header promising more
// cells or planes than the buffer holds) gives null, with no message. Results are new DepthMaps on
// the dynamic heap, owned by the caller (`delete` frees them). No state: any thread.
#ifndef VISTARA_SPATIAL_DEPTH_MAP_XML_PARSER_H_
#define VISTARA_SPATIAL_DEPTH_MAP_XML_PARSER_H_

#include <QByteArray>
#include <cstddef>

#include "platform/memory.h"
#include "platform/panorama.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {

class DepthMapXMLParser {
 public:
  // The inflate buffer: 8 bytes of header, 512 x 1024 cells and 256 planes, the largest map read.
  static constexpr size_t kBufferSize = 528392;
  // The almost-equal tolerance of the plane normalisation, on the squared length and the length.
  static constexpr double kAlmostEqualTolerance = 1e-12;

  // The depth map of a whole reply whose root is `panorama`; null if there is none.
  static vistara::DepthMap* ParseDepthMap(const QByteArray& xml);
  // The depth map from the element's base64 text.
  static vistara::DepthMap* ReadCompressedDepthMapData(const QByteArray& base64_text);
  // The depth map from the inflated blob.
  static vistara::DepthMap* ReadDepthMapData(const QByteArray& blob);

  // The annotations of "/panorama/annotations/annotation" and its following sibling elements,
  // whatever their names; empty for text that isn't well-formed XML. The vector carries no heap.
  static mmvector<Annotation> ParseAnnotations(const QByteArray& xml);
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_DEPTH_MAP_XML_PARSER_H_
