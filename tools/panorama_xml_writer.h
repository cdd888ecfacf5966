// Writes PanoramaData records as the panorama service's metadata XML: what PanoramaXMLParser,
// DepthMapXMLParser and PanoMapXMLParser read back, field for field (docs/panorama-metadata.md).
//
// Every field the parser reads is written: `data_properties` (a null string is left out, and so
// are `info_level` and `info_value` at their defaults), `projection_properties`, the links with
// `road_argb` turned back into alpha-red-green-blue, the levels, the annotations, and the maps. A
// link may carry the street name shown on it as `link_text`, which the parser doesn't read.
// Latitudes and longitudes are written as the shortest degrees whose division by 180 gives the
// record's position back exactly. Such a number exists for every position made from degrees
// (the parser's own and the street panoramas'); for the few other doubles that no division
// reaches, position * 180 is written, which reads back one unit in the last place off. Other numbers are the shortest text that reads back to the same
// double; floats are written as their exact double. Text is escaped for XML, control characters
// other than tab and line breaks become U+FFFD, and the output is UTF-8.
//
// No state: any thread.
#ifndef VISTARA_TOOLS_PANORAMA_XML_WRITER_H_
#define VISTARA_TOOLS_PANORAMA_XML_WRITER_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/panorama.h"
#include "spatial/pano_map.h"
#include "spatial/panorama_data.h"

namespace vistara::cli::serve {

inline constexpr std::string_view kXmlDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// The service's alpha-red-green-blue road colour as a record keeps it (alpha-blue-green-red), and
// back: the same exchange of the red and blue bytes.
uint32_t SwapRedBlue(uint32_t color);

// The element text of "panorama/model/depth_map": the blob (planes stored with their normals
// turned round, as the decoder turns them back), zlib, base64. Empty if the map doesn't fit the
// format or the decoder's buffer (no cells, more than 256 planes or 65535 cells a side, more
// than 528392 bytes of blob).
std::string PackDepthMap(const DepthMap& map);
// The same for "panorama/model/pano_map". Empty if the map doesn't fit: no entries or more than
// 256, an id (past entry 0) that isn't 22 ASCII characters, a blob above 140800 bytes.
std::string PackPanoMap(const spatial::PanoMap& map);

// Appends the children of the record's `panorama` element, all but `model`. `link_texts`, if
// given, holds the street name of each link in `connected_panos` order (missing or empty ones
// are left out).
void AppendPanoramaBody(const spatial::PanoramaData& record, const std::vector<std::string>* link_texts,
                        std::string* out);

// Appends `<panorama>`, the body, a `model` with the two map texts if either is not empty, and
// `</panorama>`.
void AppendPanoramaElement(std::string_view body, std::string_view depth_map_text, std::string_view pano_map_text,
                           std::string* out);

// A whole reply. One record gives a `panorama` document with the record's own maps (the only
// kind of reply whose maps the parser reads); any other number gives a `panoramas` document whose
// records go without maps.
std::string WriteMetadataReply(const std::vector<const spatial::PanoramaData*>& records);

}  // namespace vistara::cli::serve

#endif  // VISTARA_TOOLS_PANORAMA_XML_WRITER_H_
