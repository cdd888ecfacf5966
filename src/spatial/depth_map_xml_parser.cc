#include "spatial/depth_map_xml_parser.h"

#include <cmath>
#include <cstring>

#include "platform/xml/xml_path_finder.h"
#include "platform/xml/xml_reader.h"
#include "spatial/map_blob.h"
#include "spatial/panorama_xml_parser.h"

namespace vistara::spatial {

using map_blob::ReadFloat;

vistara::DepthMap* DepthMapXMLParser::ParseDepthMap(const QByteArray& xml) {
  XmlReader reader(xml);
  if (reader.GetErrorsOccurred()) return nullptr;
  XmlNode* node = XmlPathFinder().Find(reader.GetRoot(), QStringLiteral("panorama/model/depth_map"));
  if (!node) return nullptr;
  return ReadCompressedDepthMapData(node->GetText().toLatin1());
}

vistara::DepthMap* DepthMapXMLParser::ReadCompressedDepthMapData(const QByteArray& base64_text) {
  const QByteArray blob = map_blob::Inflate(base64_text, kBufferSize);
  if (blob.isNull()) return nullptr;
  return ReadDepthMapData(blob);
}

vistara::DepthMap* DepthMapXMLParser::ReadDepthMapData(const QByteArray& blob) {
  map_blob::Header header;
  if (!map_blob::ReadHeader(blob, &header)) return nullptr;
  const auto* bytes = reinterpret_cast<const uint8_t*>(blob.constData());
  const size_t size = static_cast<size_t>(blob.size());
  const int num_planes = header.count;
  const int width = header.width;
  const int height = header.height;
  const size_t cells = header.cells;
  // A header promising more cells or planes than the blob holds would read past its end.
  if (8 + cells + 16 * static_cast<size_t>(num_planes) > size) return nullptr;

  auto* indices = new uint8_t[cells];
  std::memcpy(indices, bytes + 8, cells);
  auto* planes = new Plane<double>[static_cast<size_t>(num_planes)];
  const uint8_t* p = bytes + 8 + cells;
  for (int i = 0; i < num_planes; ++i, p += 16) {
    // The stored normal points the other way from ours.
    long double nx = -static_cast<long double>(ReadFloat(p));
    long double ny = -static_cast<long double>(ReadFloat(p + 4));
    long double nz = -static_cast<long double>(ReadFloat(p + 8));
    long double d = static_cast<long double>(ReadFloat(p + 12));
    const long double s = nx * nx + ny * ny + nz * nz;
    if (!(std::fabs(s - 1.0L) < kAlmostEqualTolerance)) {
      const long double len = std::sqrt(s);
      if (!(std::fabs(len) < kAlmostEqualTolerance)) {
        nx /= len;
        ny /= len;
        nz /= len;
        d /= len;
      }
    }
    planes[i] = Plane<double>(Vec3<double>(static_cast<double>(nx), static_cast<double>(ny), static_cast<double>(nz)),
                              static_cast<double>(d));
  }
  auto* map = new (HeapManager::GetDynamicHeap()) vistara::DepthMap;
  map->indices = indices;
  map->width = width;
  map->height = height;
  map->planes = planes;
  map->num_planes = num_planes;
  map->reserved = 0;
  return map;
}

mmvector<Annotation> DepthMapXMLParser::ParseAnnotations(const QByteArray& xml) {
  mmvector<Annotation> out;
  XmlReader reader(xml);
  if (reader.GetErrorsOccurred()) return out;
  for (XmlNode* node = XmlPathFinder().Find(reader.GetRoot(), QStringLiteral("/panorama/annotations/annotation"));
       node; node = node->GetNextSibling()) {
    out.push_back(ExtractAnnotation(node));
  }
  return out;
}

}  // namespace vistara::spatial
