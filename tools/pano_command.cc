// vistara-spatial pano: the records of a panorama metadata reply, read from a file or stdin.
#include <cstdio>
#include <memory>
#include <sstream>

#include "cli.h"
#include "platform/xml/xml_reader.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map.h"
#include "spatial/panorama_xml_parser.h"

namespace vistara::cli {
namespace {

std::string Hex8(uint32_t v) {
  char text[9];
  std::snprintf(text, sizeof text, "%08x", v);
  return text;
}

// A QString as UTF-8, with "(none)" for the null string in the human output.
std::string Text(const QString& s) { return s.toStdString(); }
std::string Shown(const QString& s) {
  if (s.isNull()) return "(none)";
  std::string out(1, '"');
  out.append(s.toStdString()).push_back('"');
  return out;
}

Json::Value RecordJson(const spatial::PanoramaData& p) {
  Json::Value r(Json::objectValue);
  r["id"] = Text(p.id);
  r["lat"] = JsonNumber(p.position.y * 180.0);
  r["lng"] = JsonNumber(p.position.x * 180.0);
  r["address"] = p.address.isNull() ? Json::Value() : Json::Value(Text(p.address));
  r["text"] = p.text.isNull() ? Json::Value() : Json::Value(Text(p.text));
  r["street_range"] = p.street_range.isNull() ? Json::Value() : Json::Value(Text(p.street_range));
  r["copyright"] = p.copyright.isNull() ? Json::Value() : Json::Value(Text(p.copyright));
  r["image_date"] = p.image_date.isNull() ? Json::Value() : Json::Value(Text(p.image_date));
  r["level_id"] = p.level_id.isNull() ? Json::Value() : Json::Value(Text(p.level_id));
  r["scene"] = p.scene;
  r["image_width"] = p.image_width;
  r["image_height"] = p.image_height;
  r["tile_width"] = p.tile_width;
  r["tile_height"] = p.tile_height;
  r["pano_yaw_deg"] = JsonNumber(p.pano_yaw_deg);
  r["tilt_yaw_deg"] = JsonNumber(p.tilt_yaw_deg);
  r["tilt_pitch_deg"] = JsonNumber(p.tilt_pitch_deg);
  r["info_flags"] = p.info_flags;
  r["info_value"] = p.info_value;
  Json::Value& links = r["links"] = Json::Value(Json::arrayValue);
  for (const auto& link : p.connected_panos) {
    Json::Value l(Json::objectValue);
    l["id"] = Text(link.id);
    l["yaw_deg"] = JsonNumber(link.yaw_deg);
    l["road_color_abgr"] = Hex8(link.road_color);
    links.append(l);
  }
  Json::Value& levels = r["levels"] = Json::Value(Json::arrayValue);
  for (const auto& level : p.connected_levels) {
    Json::Value l(Json::objectValue);
    l["level_id"] = Text(level.level_id);
    l["pano_id"] = Text(level.pano_id);
    l["ordinal"] = level.ordinal;
    l["text"] = level.text.isNull() ? Json::Value() : Json::Value(Text(level.text));
    l["abbreviation"] = level.abbreviation.isNull() ? Json::Value() : Json::Value(Text(level.abbreviation));
    levels.append(l);
  }
  r["level_index"] = p.GetLevel();
  if (p.depth_map) {
    Json::Value d(Json::objectValue);
    d["width"] = p.depth_map->width;
    d["height"] = p.depth_map->height;
    d["planes"] = p.depth_map->num_planes;
    r["depth_map"] = d;
  } else {
    r["depth_map"] = Json::Value();
  }
  if (p.pano_map) {
    Json::Value m(Json::objectValue);
    m["width"] = p.pano_map->width;
    m["height"] = p.pano_map->height;
    m["entries"] = static_cast<Json::UInt>(p.pano_map->ids.size());
    r["pano_map"] = m;
  } else {
    r["pano_map"] = Json::Value();
  }
  return r;
}

void PrintRecord(std::ostream& out, int n, const spatial::PanoramaData& p) {
  out << "panorama " << n << ": " << Text(p.id) << "\n";
  out << "  position: lat " << ShownNumber(p.position.y * 180.0) << ", lng " << ShownNumber(p.position.x * 180.0) << " (degrees)\n";
  out << "  address: " << Shown(p.address) << ", copyright: " << Shown(p.copyright) << "\n";
  out << "  image: " << p.image_width << " x " << p.image_height << ", tiles " << p.tile_width << " x " << p.tile_height
      << ", date " << Shown(p.image_date) << ", scene " << p.scene << ", level " << Shown(p.level_id) << "\n";
  out << "  yaw " << ShownNumber(p.pano_yaw_deg) << ", tilt yaw " << ShownNumber(p.tilt_yaw_deg) << ", tilt pitch "
      << ShownNumber(p.tilt_pitch_deg) << " (degrees); info flags " << p.info_flags << ", info value " << p.info_value << "\n";
  for (const auto& link : p.connected_panos) {
    out << "  link " << Text(link.id) << ": yaw " << ShownNumber(link.yaw_deg) << ", colour abgr " << Hex8(link.road_color) << "\n";
  }
  for (const auto& level : p.connected_levels) {
    out << "  level " << Text(level.level_id) << ": pano " << Text(level.pano_id) << ", ordinal " << level.ordinal
        << ", " << Shown(level.text) << " " << Shown(level.abbreviation) << "\n";
  }
  out << "  depth map: ";
  if (p.depth_map) out << p.depth_map->width << " x " << p.depth_map->height << ", " << p.depth_map->num_planes << " planes\n";
  else out << "none\n";
  out << "  pano map: ";
  if (p.pano_map) out << p.pano_map->width << " x " << p.pano_map->height << ", " << p.pano_map->ids.size() << " entries\n";
  else out << "none\n";
}

int Run(Io& io, const std::string& file) {
  std::string bytes, error;
  if (!io.Read(file, &bytes, &error)) return io.Fail(error);
  const QByteArray xml = QByteArray::fromStdString(bytes);
  if (XmlReader(xml).GetErrorsOccurred()) return io.Fail("the reply is not well-formed XML");

  mmvector<RefPtr<spatial::PanoramaData>> records;
  spatial::PanoramaXMLParser::Parse(xml, &records);
  const mmvector<spatial::Annotation> annotations = spatial::DepthMapXMLParser::ParseAnnotations(xml);
  Json::Value root(Json::objectValue);
  Json::Value& list = root["panoramas"] = Json::Value(Json::arrayValue);
  std::ostringstream out;
  out << records.size() << (records.size() == 1 ? " panorama" : " panoramas") << "\n";
  for (size_t i = 0; i < records.size(); ++i) {
    list.append(RecordJson(*records[i]));
    PrintRecord(out, static_cast<int>(i + 1), *records[i]);
  }
  Json::Value& notes = root["annotations"] = Json::Value(Json::arrayValue);
  for (const auto& a : annotations) {
    Json::Value n(Json::objectValue);
    n["id"] = Text(a.id);
    n["title"] = a.title.isNull() ? Json::Value() : Json::Value(Text(a.title));
    n["yaw"] = JsonNumber(a.yaw);
    n["pitch"] = JsonNumber(a.pitch);
    n["d"] = JsonNumber(a.d);
    notes.append(n);
    out << "annotation " << Text(a.id) << ": " << Shown(a.title) << ", yaw " << ShownNumber(a.yaw) << ", pitch " << ShownNumber(a.pitch)
        << ", d " << ShownNumber(a.d) << "\n";
  }
  io.Print(root, out.str());
  return 0;
}

void Declare(CLI::App* command) {
  auto file = std::make_shared<std::string>("-");
  AddFile(command, "FILE", file.get(), "the reply; - or none: standard input");
  SetRun(command, [file](Io& io) { return Run(io, *file); });
}

const Registrar kRegistrar(
    "pano", "the panorama records of a metadata reply (XML), with their links, levels and maps",
    "Reads one metadata reply of the panorama service (a `panoramas` tile reply or a single\n"
    "`panorama`) and prints each record: id, position (degrees), address, image and tile sizes, yaw\n"
    "and tilt, info bits, links with the road colour as stored (alpha-blue-green-red), levels, and the\n"
    "sizes of the depth and pano maps if they decoded (maps are read only from a single-panorama\n"
    "reply). The annotations of a single-panorama reply follow. Panoramas without data_properties\n"
    "are skipped silently, as the library does; text that isn't well-formed XML is an error.\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
