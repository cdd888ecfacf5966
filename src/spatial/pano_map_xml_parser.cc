#include "spatial/pano_map_xml_parser.h"

#include <cstring>

#include "platform/xml/xml_path_finder.h"
#include "platform/xml/xml_reader.h"
#include "spatial/map_blob.h"

namespace vistara::spatial {

using map_blob::ReadFloat;

PanoMap* PanoMapXMLParser::ParsePanoMap(const QByteArray& xml) {
  XmlReader reader(xml);
  if (reader.GetErrorsOccurred()) return nullptr;
  XmlNode* node = XmlPathFinder().Find(reader.GetRoot(), QStringLiteral("panorama/model/pano_map"));
  if (!node) return nullptr;
  return ReadCompressedPanoMapData(node->GetText().toLatin1());
}

PanoMap* PanoMapXMLParser::ReadCompressedPanoMapData(const QByteArray& base64_text) {
  const QByteArray blob = map_blob::Inflate(base64_text, kBufferSize);
  if (blob.isNull()) return nullptr;
  return ReadPanoMapData(blob);
}

PanoMap* PanoMapXMLParser::ReadPanoMapData(const QByteArray& blob) {
  map_blob::Header header;
  if (!map_blob::ReadHeader(blob, &header)) return nullptr;
  const auto* bytes = reinterpret_cast<const uint8_t*>(blob.constData());
  const size_t size = static_cast<size_t>(blob.size());
  const int entries = header.count;
  const int width = header.width;
  const int height = header.height;
  const size_t cells = header.cells;
  const size_t stored = static_cast<size_t>(entries - 1);
  // A header promising more cells or entries than the blob holds would read past its end.
  if (8 + cells + (kIdSize + 8) * stored > size) return nullptr;

  MemoryManager* heap = HeapManager::GetDynamicHeap();
  auto* indices = static_cast<uint8_t*>(AllocFrom(heap, cells));
  std::memcpy(indices, bytes + 8, cells);

  mmvector<QString> ids(HeapManager::GetTransientHeap());
  mmvector<Vec2<float>> positions(HeapManager::GetTransientHeap());
  ids.reserve(static_cast<size_t>(entries));
  positions.reserve(static_cast<size_t>(entries));
  ids.push_back(QString());
  positions.push_back(Vec2<float>(0, 0));
  const char* id = reinterpret_cast<const char*>(bytes + 8 + cells);
  for (size_t i = 0; i < stored; ++i, id += kIdSize) ids.push_back(QString::fromLatin1(id, kIdSize));
  const uint8_t* v = bytes + 8 + cells + kIdSize * stored;
  for (size_t i = 0; i < stored; ++i, v += 8) positions.push_back(Vec2<float>(ReadFloat(v), ReadFloat(v + 4)));
  return new (heap) PanoMap(indices, width, height, ids, positions);
}

}  // namespace vistara::spatial
