// Metadata replies: records, annotations and the maps they carry. Checks that every record has the
// parser's invariants: links with ids, levels with both ids.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "spatial/depth_map_xml_parser.h"
#include "spatial/panorama_xml_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vistara;
  const QByteArray xml(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  mmvector<RefPtr<spatial::PanoramaData>> records;
  spatial::PanoramaXMLParser::Parse(xml, &records);
  for (const auto& r : records) {
    for (const auto& link : r->connected_panos) {
      if (link.id.isEmpty()) std::abort();
    }
    for (const auto& level : r->connected_levels) {
      if (level.level_id.isEmpty() || level.pano_id.isEmpty()) std::abort();
    }
    if (r->GetLevel() > r->connected_levels.size()) std::abort();
  }
  spatial::DepthMapXMLParser::ParseAnnotations(xml);
  return 0;
}
