// Depth-map blobs, raw and as base64 element text. A decoded map must fit what it claims.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "spatial/depth_map_xml_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using vistara::spatial::DepthMapXMLParser;
  const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  std::unique_ptr<vistara::DepthMap> raw(DepthMapXMLParser::ReadDepthMapData(bytes));
  if (raw && (8 + static_cast<size_t>(raw->width) * raw->height + 16u * raw->num_planes > size)) std::abort();
  std::unique_ptr<vistara::DepthMap> packed(DepthMapXMLParser::ReadCompressedDepthMapData(bytes));
  if (packed && (packed->num_planes < 1 || packed->num_planes > 256)) std::abort();
  // Every cell is readable.
  if (packed) {
    unsigned sum = 0;
    for (size_t i = 0; i < static_cast<size_t>(packed->width) * packed->height; ++i) sum += packed->indices[i];
    if (sum == 0xFFFFFFFFu) std::abort();
  }
  return 0;
}
