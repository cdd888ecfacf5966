#include "panorama_xml_writer.h"

#include <zlib.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "platform/base64.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"

namespace vistara::cli::serve {
namespace {

void PutU16(std::string* s, int v) {
  s->push_back(static_cast<char>(v & 0xFF));
  s->push_back(static_cast<char>((v >> 8) & 0xFF));
}

void PutFloat(std::string* s, float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  for (int i = 0; i < 4; ++i) s->push_back(static_cast<char>((bits >> (8 * i)) & 0xFF));
}

// Both maps open with this header: size 8, a count, the width, the height, the offset 8.
std::string MapHeader(int count, int width, int height) {
  std::string s(1, '\x08');
  PutU16(&s, count);
  PutU16(&s, width);
  PutU16(&s, height);
  s.push_back('\x08');
  return s;
}

bool FitsHeader(int count, int width, int height) {
  return count >= 1 && count <= 256 && width >= 1 && width <= 0xFFFF && height >= 1 && height <= 0xFFFF;
}

// zlib, then base64: the form the decoders take. The maps are long runs of equal bytes, which
// zlib's run-length strategy finds at a fraction of the default's cost, and as small.
std::string Pack(const std::string& blob) {
  z_stream z{};
  if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15, 8, Z_RLE) != Z_OK) return std::string();
  std::string deflated(deflateBound(&z, static_cast<uLong>(blob.size())), '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(blob.data()));
  z.avail_in = static_cast<uInt>(blob.size());
  z.next_out = reinterpret_cast<Bytef*>(deflated.data());
  z.avail_out = static_cast<uInt>(deflated.size());
  const int result = deflate(&z, Z_FINISH);
  const size_t size = z.total_out;
  deflateEnd(&z);
  if (result != Z_STREAM_END) return std::string();
  return Base64Encode(deflated.data(), static_cast<int>(size)).toStdString();
}

void AppendNumber(double value, std::string* out) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out->append(buffer, result.ptr);
}

void AppendInt(long long value, std::string* out) {
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out->append(buffer, result.ptr);
}

// The degrees to write for a position coordinate (degrees / 180): of the doubles near
// unit * 180 whose division by 180, as the parser divides, gives `unit` back exactly, the one
// with the shortest text. Near unit * 180 the doubles are about 180 / 256 as dense as their
// quotients, so a few steps either way find one if any exists; if none does, unit * 180.
void AppendDegrees(double unit, std::string* out) {
  const double guess = unit * 180.0;
  char best[32], text[32];
  size_t best_size = 0;
  double value = guess;
  for (int i = 0; i < 4; ++i) value = std::nextafter(value, -std::numeric_limits<double>::infinity());
  for (int i = 0; i < 9; ++i, value = std::nextafter(value, std::numeric_limits<double>::infinity())) {
    if (value / 180.0 != unit) continue;
    const size_t size = std::to_chars(text, text + sizeof text, value).ptr - text;
    if (best_size == 0 || size < best_size) {
      std::memcpy(best, text, size);
      best_size = size;
    }
  }
  if (best_size == 0) best_size = std::to_chars(best, best + sizeof best, guess).ptr - best;
  out->append(best, best_size);
}

// UTF-8 text escaped for an attribute value or element text.
void AppendEscaped(const QString& text, std::string* out) {
  const QByteArray utf8 = text.toUtf8();
  const char* s = utf8.constData();
  const qsizetype n = utf8.size();
  for (qsizetype i = 0; i < n; ++i) {
    const char c = s[i];
    switch (c) {
      case '&': out->append("&amp;"); break;
      case '<': out->append("&lt;"); break;
      case '>': out->append("&gt;"); break;
      case '"': out->append("&quot;"); break;
      case '\'': out->append("&apos;"); break;
      // As references, so that a parser's normalisation of attribute blanks leaves them alone.
      case '\t': out->append("&#9;"); break;
      case '\n': out->append("&#10;"); break;
      case '\r': out->append("&#13;"); break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          out->append("\xEF\xBF\xBD");  // no other control character may appear in XML
        } else if (c == '\xEF' && i + 2 < n && s[i + 1] == '\xBF' && (s[i + 2] == '\xBE' || s[i + 2] == '\xBF')) {
          out->append("\xEF\xBF\xBD");  // nor may U+FFFE and U+FFFF
          i += 2;
        } else {
          out->push_back(c);
        }
    }
  }
}

void AppendAttribute(const char* name, const QString& value, std::string* out) {
  if (value.isNull()) return;
  out->append(" ").append(name).append("=\"");
  AppendEscaped(value, out);
  out->push_back('"');
}

void AppendNumberAttribute(const char* name, double value, std::string* out) {
  out->append(" ").append(name).append("=\"");
  AppendNumber(value, out);
  out->push_back('"');
}

void AppendIntAttribute(const char* name, long long value, std::string* out) {
  out->append(" ").append(name).append("=\"");
  AppendInt(value, out);
  out->push_back('"');
}

void AppendTextElement(const char* name, const QString& value, std::string* out) {
  if (value.isNull()) return;
  out->append("<").append(name).append(">");
  AppendEscaped(value, out);
  out->append("</").append(name).append(">");
}

}  // namespace

uint32_t SwapRedBlue(uint32_t color) {
  return (color & 0xFF00FF00u) | ((color & 0x00FF0000u) >> 16) | ((color & 0x000000FFu) << 16);
}

std::string PackDepthMap(const DepthMap& map) {
  if (!FitsHeader(map.num_planes, map.width, map.height) || !map.indices || !map.planes) return std::string();
  const size_t cells = static_cast<size_t>(map.width) * static_cast<size_t>(map.height);
  const size_t size = 8 + cells + 16 * static_cast<size_t>(map.num_planes);
  if (size > spatial::DepthMapXMLParser::kBufferSize) return std::string();
  std::string blob = MapHeader(map.num_planes, map.width, map.height);
  blob.reserve(size);
  blob.append(reinterpret_cast<const char*>(map.indices), cells);
  for (int i = 0; i < map.num_planes; ++i) {
    const Plane<double>& plane = map.planes[i];
    // Turned round as 0 - n, so that a zero component is stored as +0, not -0.
    PutFloat(&blob, static_cast<float>(0.0 - plane.normal.x));
    PutFloat(&blob, static_cast<float>(0.0 - plane.normal.y));
    PutFloat(&blob, static_cast<float>(0.0 - plane.normal.z));
    PutFloat(&blob, static_cast<float>(plane.distance));
  }
  return Pack(blob);
}

std::string PackPanoMap(const spatial::PanoMap& map) {
  const int count = static_cast<int>(map.ids.size());
  if (!FitsHeader(count, map.width, map.height) || !map.indices || map.positions.size() != map.ids.size()) {
    return std::string();
  }
  const size_t cells = static_cast<size_t>(map.width) * static_cast<size_t>(map.height);
  const size_t id_size = spatial::PanoMapXMLParser::kIdSize;
  const size_t size = 8 + cells + (id_size + 8) * static_cast<size_t>(count - 1);
  if (size > spatial::PanoMapXMLParser::kBufferSize) return std::string();
  std::string blob = MapHeader(count, map.width, map.height);
  blob.reserve(size);
  blob.append(reinterpret_cast<const char*>(map.indices), cells);
  for (int i = 1; i < count; ++i) {
    const QString& id = map.ids[i];
    if (static_cast<size_t>(id.size()) != id_size) return std::string();
    for (QChar c : id) {
      if (c.unicode() > 0x7F) return std::string();
      blob.push_back(static_cast<char>(c.unicode()));
    }
  }
  for (int i = 1; i < count; ++i) {
    PutFloat(&blob, map.positions[i].x);
    PutFloat(&blob, map.positions[i].y);
  }
  return Pack(blob);
}

void AppendPanoramaBody(const spatial::PanoramaData& record, const std::vector<std::string>* link_texts,
                        std::string* out) {
  out->append("<data_properties");
  AppendAttribute("pano_id", record.id.isNull() ? QString("") : record.id, out);
  // info_level's bits 1 and 6 become the two flags; only they come back.
  const uint32_t flags = record.info_flags;
  if (flags & 3u) AppendIntAttribute("info_level", ((flags & 1u) << 1) | (((flags >> 1) & 1u) << 6), out);
  if (record.info_value != 2000) AppendIntAttribute("info_value", record.info_value, out);
  out->append(" lat=\"");
  AppendDegrees(record.position.y, out);
  out->append("\" lng=\"");
  AppendDegrees(record.position.x, out);
  out->push_back('"');
  AppendIntAttribute("image_width", record.image_width, out);
  AppendIntAttribute("image_height", record.image_height, out);
  AppendIntAttribute("tile_width", record.tile_width, out);
  AppendIntAttribute("tile_height", record.tile_height, out);
  AppendAttribute("image_date", record.image_date, out);
  AppendIntAttribute("scene", record.scene, out);
  AppendAttribute("level_id", record.level_id, out);
  out->append(">");
  AppendTextElement("text", record.text, out);
  AppendTextElement("street_range", record.street_range, out);
  AppendTextElement("copyright", record.copyright, out);
  out->append("</data_properties><projection_properties projection_type=\"spherical\"");
  AppendNumberAttribute("pano_yaw_deg", record.pano_yaw_deg, out);
  AppendNumberAttribute("tilt_yaw_deg", record.tilt_yaw_deg, out);
  AppendNumberAttribute("tilt_pitch_deg", record.tilt_pitch_deg, out);
  out->append("/>");

  if (!record.connected_panos.empty()) {
    out->append("<annotation_properties>");
    for (size_t i = 0; i < record.connected_panos.size(); ++i) {
      const spatial::ConnectedPano& link = record.connected_panos[i];
      out->append("<link");
      AppendAttribute("pano_id", link.id, out);
      AppendNumberAttribute("yaw_deg", link.yaw_deg, out);
      char argb[9];
      std::snprintf(argb, sizeof argb, "%08x", SwapRedBlue(link.road_color));
      out->append(" road_argb=\"").append(argb).append("\"");
      if (link_texts && i < link_texts->size() && !(*link_texts)[i].empty()) {
        out->append("><link_text>");
        AppendEscaped(QString::fromStdString((*link_texts)[i]), out);
        out->append("</link_text></link>");
      } else {
        out->append("/>");
      }
    }
    out->append("</annotation_properties>");
  }

  if (!record.connected_levels.empty()) {
    out->append("<levels>");
    for (const spatial::ConnectedLevel& level : record.connected_levels) {
      out->append("<level");
      AppendAttribute("level_id", level.level_id, out);
      AppendAttribute("pano_id", level.pano_id, out);
      AppendIntAttribute("ordinal", level.ordinal, out);
      out->append(">");
      AppendTextElement("text", level.text, out);
      AppendTextElement("abbreviation", level.abbreviation, out);
      out->append("</level>");
    }
    out->append("</levels>");
  }

  if (!record.annotations.empty()) {
    out->append("<annotations>");
    for (const spatial::Annotation& annotation : record.annotations) {
      out->append("<annotation");
      AppendAttribute("id", annotation.id, out);
      AppendAttribute("title", annotation.title, out);
      // The parser reads the three numbers from the annotation's first child element.
      out->append("><position");
      AppendNumberAttribute("yaw", annotation.yaw, out);
      AppendNumberAttribute("pitch", annotation.pitch, out);
      AppendNumberAttribute("d", annotation.d, out);
      out->append("/></annotation>");
    }
    out->append("</annotations>");
  }
}

void AppendPanoramaElement(std::string_view body, std::string_view depth_map_text, std::string_view pano_map_text,
                           std::string* out) {
  out->append("<panorama>").append(body);
  if (!depth_map_text.empty() || !pano_map_text.empty()) {
    out->append("<model>");
    if (!depth_map_text.empty()) out->append("<depth_map>").append(depth_map_text).append("</depth_map>");
    if (!pano_map_text.empty()) out->append("<pano_map>").append(pano_map_text).append("</pano_map>");
    out->append("</model>");
  }
  out->append("</panorama>");
}

std::string WriteMetadataReply(const std::vector<const spatial::PanoramaData*>& records) {
  std::string out(kXmlDeclaration);
  std::string body;
  if (records.size() == 1) {
    const spatial::PanoramaData& record = *records[0];
    AppendPanoramaBody(record, nullptr, &body);
    AppendPanoramaElement(body, record.depth_map ? PackDepthMap(*record.depth_map) : std::string(),
                          record.pano_map ? PackPanoMap(*record.pano_map) : std::string(), &out);
    return out;
  }
  out.append("<panoramas>");
  for (const spatial::PanoramaData* record : records) {
    body.clear();
    AppendPanoramaBody(*record, nullptr, &body);
    AppendPanoramaElement(body, {}, {}, &out);
  }
  out.append("</panoramas>");
  return out;
}

}  // namespace vistara::cli::serve
