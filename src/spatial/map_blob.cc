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

}  // namespace vistara::spatial::map_blob
