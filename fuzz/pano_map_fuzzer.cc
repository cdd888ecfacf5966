// Pano-map blobs, raw and as base64 element text, and look-ups across the decoded map.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "spatial/pano_map_xml_parser.h"

namespace {
void Probe(const vistara::spatial::PanoMap* map) {
  if (!map) return;
  if (map->ids.size() != map->positions.size() || map->ids.empty() || !map->ids[0].isEmpty()) std::abort();
  QString id;
  vistara::Vec2<float> position;
  for (float x : {-1.0f, 0.0f, 0.37f, 0.999f, 1.0f, 2.0f}) {
    for (float y : {-1.0f, 0.0f, 0.5f, 1.0f, 1e9f}) map->GetPano(x, y, &id, &position);
  }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using vistara::spatial::PanoMapXMLParser;
  const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  std::unique_ptr<vistara::spatial::PanoMap> raw(PanoMapXMLParser::ReadPanoMapData(bytes));
  Probe(raw.get());
  std::unique_ptr<vistara::spatial::PanoMap> packed(PanoMapXMLParser::ReadCompressedPanoMapData(bytes));
  Probe(packed.get());
  return 0;
}
