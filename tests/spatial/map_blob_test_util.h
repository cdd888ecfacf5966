// Builders of depth-map and pano-map blobs for the tests, packed with zlib's compress and base64
// exactly as the service sends them.
#ifndef VISTARA_TESTS_SPATIAL_MAP_BLOB_TEST_UTIL_H_
#define VISTARA_TESTS_SPATIAL_MAP_BLOB_TEST_UTIL_H_

#include <zlib.h>

#include <QByteArray>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vistara::testing {

// Appends `v` as `bytes` little-endian bytes.
inline void PutLE(std::string* s, uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) s->push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}
inline void PutFloat(std::string* s, float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  PutLE(s, bits, 4);
}

// A blob header: size 8, count, width, height, offset 8.
inline std::string MapHeader(int count, int width, int height) {
  std::string s(1, '\x08');
  PutLE(&s, count, 2);
  PutLE(&s, width, 2);
  PutLE(&s, height, 2);
  s.push_back('\x08');
  return s;
}

inline std::string DepthBlob(int width, int height, const std::vector<uint8_t>& indices,
                             const std::vector<std::array<float, 4>>& planes) {
  std::string s = MapHeader(static_cast<int>(planes.size()), width, height);
  s.append(indices.begin(), indices.end());
  for (const auto& p : planes)
    for (float f : p) PutFloat(&s, f);
  return s;
}

inline std::string PanoBlob(int width, int height, const std::vector<uint8_t>& indices,
                            const std::vector<std::string>& ids, const std::vector<std::array<float, 2>>& positions) {
  std::string s = MapHeader(static_cast<int>(ids.size()) + 1, width, height);
  s.append(indices.begin(), indices.end());
  for (const auto& id : ids) s += id;
  for (const auto& p : positions)
    for (float f : p) PutFloat(&s, f);
  return s;
}

// zlib's compress of `raw`.
inline std::string Compress(const std::string& raw) {
  uLongf size = compressBound(static_cast<uLong>(raw.size()));
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(raw.data()),
           static_cast<uLong>(raw.size()));
  out.resize(size);
  return out;
}

inline QByteArray Base64(const std::string& bytes) { return QByteArray::fromStdString(bytes).toBase64(); }
// The element text of a map: base64 of the zlib stream of `raw`.
inline QByteArray Pack(const std::string& raw) { return Base64(Compress(raw)); }

// A single-panorama reply carrying the two element texts (either may be omitted by passing null).
inline QByteArray SinglePanoramaXml(const QByteArray& depth_text, const QByteArray& pano_text) {
  QByteArray xml = "<panorama><data_properties pano_id=\"P_xxxxxxxxxxxxxxxxxxxx\"/><model>";
  if (!depth_text.isNull()) xml += "<depth_map>" + depth_text + "</depth_map>";
  if (!pano_text.isNull()) xml += "<pano_map>" + pano_text + "</pano_map>";
  return xml + "</model></panorama>";
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_SPATIAL_MAP_BLOB_TEST_UTIL_H_
