// The shared first steps of the depth-map and pano-map decoders: base64, then zlib, into a buffer
// of a fixed size.
#ifndef VISTARA_SPATIAL_MAP_BLOB_H_
#define VISTARA_SPATIAL_MAP_BLOB_H_

#include <QByteArray>
#include <cstddef>
#include <cstdint>

namespace vistara::spatial::map_blob {

// Decodes base64 `text` (read up to its first NUL) and inflates the zlib stream it holds into a
// buffer of exactly `buffer_size` bytes. Returns that whole buffer, bytes past what the stream
// wrote set to 0; or a null QByteArray if `text` is empty or the stream isn't one complete zlib
// stream that fits (bad base64, damage, truncation, or more than `buffer_size` bytes: no retry
// with a larger buffer, so memory stays at `buffer_size` whatever the stream claims).
QByteArray Inflate(const QByteArray& text, size_t buffer_size);

// The 8-byte header both maps share: byte 0 and byte 7 are 8, then three little-endian 16-bit
// fields: a count (planes or pano ids, 1 to 256), the width and the height (neither 0).
struct Header {
  int count, width, height;
  size_t cells;  // width * height
};
// Fills *header and returns true if `blob` starts with a valid header; false otherwise.
bool ReadHeader(const QByteArray& blob, Header* header);

// Little-endian readers; the caller has checked the bounds.
inline uint16_t ReadU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
float ReadFloat(const uint8_t* p);

}  // namespace vistara::spatial::map_blob

#endif  // VISTARA_SPATIAL_MAP_BLOB_H_
