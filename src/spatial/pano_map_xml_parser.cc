#include "spatial/pano_map_xml_parser.h"

#include <cstring>

#include "platform/xml/xml_path_finder.h"
#include "platform/xml/xml_reader.h"
#include "spatial/map_blob.h"

namespace vistara::spatial {

using map_blob::ReadFloat;
using map_blob::ReadU16;

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
  const auto* bytes = reinterpret_cast<const uint8_t*>(blob.constData());
  const size_t size = static_cast<size_t>(blob.size());
  if (size == 0) return nullptr;
  if (bytes[0] != 8) return nullptr;
  if (size < 8) return nullptr;  // the rest of the header would lie past the blob
  const int entries = ReadU16(bytes + 1);
  const int width = ReadU16(bytes + 3);
  const int height = ReadU16(bytes + 5);
  if (entries < 1 || entries > 256 || width == 0 || height == 0 || bytes[7] != 8) return nullptr;
  const size_t cells = static_cast<size_t>(width) * static_cast<size_t>(height);
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
