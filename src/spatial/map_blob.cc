#include "spatial/map_blob.h"

#include <zlib.h>

#include <cstring>

#include "platform/base64.h"

namespace vistara::spatial::map_blob {

QByteArray Inflate(const QByteArray& text, size_t buffer_size) {
  if (text.isEmpty()) return QByteArray();
  const QByteArray compressed = vistara::Base64Decode(text.constData());
  if (compressed.isEmpty()) return QByteArray();  // bad base64, or nothing to inflate
  QByteArray out(static_cast<qsizetype>(buffer_size), Qt::Uninitialized);
  uLongf written = static_cast<uLongf>(buffer_size);
  if (uncompress(reinterpret_cast<Bytef*>(out.data()), &written, reinterpret_cast<const Bytef*>(compressed.constData()),
                 static_cast<uLong>(compressed.size())) != Z_OK) {
    return QByteArray();
  }
  // The decoders read the whole buffer; what the stream didn't write reads as zeros.
  std::memset(out.data() + written, 0, buffer_size - written);
  return out;
}

float ReadFloat(const uint8_t* p) {
  const uint32_t bits = static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                        (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

bool ReadHeader(const QByteArray& blob, Header* header) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(blob.constData());
  const size_t size = static_cast<size_t>(blob.size());
  if (size == 0) return false;
  if (bytes[0] != 8) return false;
  if (size < 8) return false;  // the rest of the header would lie past the blob
  header->count = ReadU16(bytes + 1);
  header->width = ReadU16(bytes + 3);
  header->height = ReadU16(bytes + 5);
  if (header->count < 1 || header->count > 256 || header->width == 0 || header->height == 0 || bytes[7] != 8) {
    return false;
  }
  header->cells = static_cast<size_t>(header->width) * static_cast<size_t>(header->height);
  return true;
}

}  // namespace vistara::spatial::map_blob
