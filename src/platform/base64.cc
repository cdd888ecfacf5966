#include "platform/base64.h"

#include <cstring>

namespace vistara {

QByteArray Base64Decode(const char* text, qsizetype size) {
  if (!text || size < 0) return QByteArray();
  // Qt accepts a lone trailing character, which carries only 6 of a byte's 8 bits: that is damage.
  qsizetype data = size;
  while (data > 0 && text[data - 1] == '=') --data;
  if (data % 4 == 1) return QByteArray();
  auto result = QByteArray::fromBase64Encoding(QByteArray::fromRawData(text, size),
                                               QByteArray::AbortOnBase64DecodingErrors);
  if (!result) return QByteArray();
  // fromRawData shares the caller's bytes only for the input; the decoded bytes are our own.
  return result.decoded.isNull() ? QByteArray("") : result.decoded;
}

QByteArray Base64Decode(const char* text) {
  return text ? Base64Decode(text, static_cast<qsizetype>(std::strlen(text))) : QByteArray();
}

QByteArray Base64Encode(const void* data, int size) {
  if (!data || size <= 0) return QByteArray("");
  return QByteArray(static_cast<const char*>(data), size).toBase64();
}

}  // namespace vistara
