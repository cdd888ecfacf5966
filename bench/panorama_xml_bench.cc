// Metadata replies into records, beside pugixml and zlib on the same bytes.
//
//   Parse/tile200         our PanoramaXMLParser::Parse of a tile reply of 200 panoramas
//   PugiParse/tile200     pugixml's bare parse of the same bytes
//   PugiExtract/tile200   pugixml's parse plus a plain extraction of every field the parser reads,
//                         into std::string and numbers: the peer of the target ratio
//   Parse/single_maps     Parse of one panorama with a 512 x 256 depth map and pano map (three
//                         parses of the document, as the parser is built: records, depth, pano)
//   PugiParse/single_maps pugixml's bare parse of that reply
//   Inflate/depth         our base64 + inflate + decode of the depth map text
//   ZlibUncompress/depth  zlib's bare uncompress of the same stream (already base64-decoded)
#include <benchmark/benchmark.h>
#include <pugixml.hpp>
#include <zlib.h>

#include <QByteArray>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "spatial/panorama_xml_parser.h"

namespace {

std::string Panorama(int i, const std::string& model) {
  const std::string id = "Pano" + std::to_string(100000 + i) + "_abcdefghijkl";
  std::string s = "  <panorama>\n    <data_properties image_width=\"13312\" image_height=\"6656\" tile_width=\"512\" "
                  "tile_height=\"512\" image_date=\"2024-05\" pano_id=\"" + id + "\" scene=\"" + std::to_string(i % 3) +
                  "\" level_id=\"L" + std::to_string(i % 4) + "\" info_level=\"66\" info_value=\"" + std::to_string(i) +
                  "\" lat=\"51.50" + std::to_string(i) + "\" lng=\"-0.12" + std::to_string(i) + "\">\n"
                  "      <copyright>(c) 2024 Vistara</copyright>\n      <text>Baker Street</text>\n"
                  "      <street_range>" + std::to_string(i) + "</street_range>\n    </data_properties>\n"
                  "    <projection_properties projection_type=\"spherical\" pano_yaw_deg=\"92.5\" tilt_yaw_deg=\"-1.25\" "
                  "tilt_pitch_deg=\"0.5\"/>\n    <annotation_properties>\n";
  for (int k = 0; k < 3; ++k) {
    s += "      <link yaw_deg=\"" + std::to_string(k * 120 + i % 7) + ".5\" pano_id=\"Pano" + std::to_string(100000 + i + k + 1) +
         "_abcdefghijkl\" road_argb=\"0x80" + std::to_string(112233 + k) + "\"/>\n";
  }
  s += "    </annotation_properties>\n    <levels>\n      <level level_id=\"L0\" pano_id=\"" + id +
       "\" ordinal=\"0\"><text>Ground</text><abbreviation>G</abbreviation></level>\n    </levels>\n" + model +
       "  </panorama>\n";
  return s;
}

std::string TileReply(int n) {
  std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<panoramas>\n";
  for (int i = 0; i < n; ++i) s += Panorama(i, "");
  return s + "</panoramas>\n";
}

// A 512 x 256 map with smooth regions, as real depth maps are: long runs of one index.
std::string MapBlob(int entries, bool pano) {
  std::string b(1, '\x08');
  auto u16 = [&](int v) { b.push_back(static_cast<char>(v & 0xFF)); b.push_back(static_cast<char>(v >> 8)); };
  u16(entries);
  u16(512);
  u16(256);
  b.push_back('\x08');
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < 512; ++x) b.push_back(static_cast<char>(((x / 23) * 7 + (y / 17) * 3) % entries));
  }
  auto f32 = [&](float f) { char c[4]; std::memcpy(c, &f, 4); b.append(c, 4); };
  if (pano) {
    for (int i = 1; i < entries; ++i) b += "Neighbour" + std::to_string(1000000000000 + i);
    for (int i = 1; i < entries; ++i) { f32(i * 0.5f); f32(-i * 0.25f); }
  } else {
    for (int i = 0; i < entries; ++i) { f32(0); f32(0.6f); f32(-0.8f); f32(3.0f + i); }
  }
  return b;
}

std::string Compress(const std::string& raw) {
  uLongf size = compressBound(static_cast<uLong>(raw.size()));
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(raw.data()), static_cast<uLong>(raw.size()));
  out.resize(size);
  return out;
}

std::string Base64(const std::string& bytes) { return QByteArray::fromStdString(bytes).toBase64().toStdString(); }

const std::string& Tile() { static const std::string s = TileReply(200); return s; }
const std::string& DepthStream() { static const std::string s = Compress(MapBlob(40, false)); return s; }
const std::string& Single() {
  static const std::string s = "<?xml version=\"1.0\"?>\n" +
      Panorama(0, "    <model>\n      <depth_map>" + Base64(DepthStream()) + "</depth_map>\n      <pano_map>" +
                      Base64(Compress(MapBlob(12, true))) + "</pano_map>\n    </model>\n").substr(2);
  return s;
}

void Bytes(benchmark::State& state, size_t size) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
  state.counters["bytes"] = static_cast<double>(size);
}

void BM_Parse(benchmark::State& state, const std::string& xml) {
  const QByteArray bytes = QByteArray::fromStdString(xml);
  size_t records = 0;
  for (auto _ : state) {
    vistara::mmvector<vistara::RefPtr<vistara::spatial::PanoramaData>> out;
    vistara::spatial::PanoramaXMLParser::Parse(bytes, &out);
    records = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["records"] = static_cast<double>(records);
  Bytes(state, xml.size());
}

void BM_PugiParse(benchmark::State& state, const std::string& xml) {
  for (auto _ : state) {
    pugi::xml_document doc;
    benchmark::DoNotOptimize(doc.load_buffer(xml.data(), xml.size()));
  }
  Bytes(state, xml.size());
}

struct PlainLink { std::string id; double yaw; unsigned long color; };
struct PlainLevel { std::string level_id, pano_id, text, abbreviation; long ordinal; };
struct PlainRecord {
  std::string id, image_date, level_id, text, street_range, copyright;
  double lat, lng, yaw, tilt_yaw, tilt_pitch;
  long info_level, info_value, image_width, image_height, tile_width, tile_height, scene;
  std::vector<PlainLink> links;
  std::vector<PlainLevel> levels;
};

void BM_PugiExtract(benchmark::State& state, const std::string& xml) {
  size_t records = 0;
  for (auto _ : state) {
    pugi::xml_document doc;
    doc.load_buffer(xml.data(), xml.size());
    std::vector<PlainRecord> out;
    for (pugi::xml_node p = doc.child("panoramas").child("panorama"); p; p = p.next_sibling()) {
      pugi::xml_node d = p.child("data_properties");
      if (!d) continue;
      PlainRecord r;
      r.id = d.attribute("pano_id").value();
      r.info_level = std::strtol(d.attribute("info_level").value(), nullptr, 10);
      r.info_value = std::strtol(d.attribute("info_value").value(), nullptr, 10);
      r.lat = std::strtod(d.attribute("lat").value(), nullptr);
      r.lng = std::strtod(d.attribute("lng").value(), nullptr);
      r.image_width = std::strtol(d.attribute("image_width").value(), nullptr, 10);
      r.image_height = std::strtol(d.attribute("image_height").value(), nullptr, 10);
      r.tile_width = std::strtol(d.attribute("tile_width").value(), nullptr, 10);
      r.tile_height = std::strtol(d.attribute("tile_height").value(), nullptr, 10);
      r.image_date = d.attribute("image_date").value();
      r.scene = std::strtol(d.attribute("scene").value(), nullptr, 10);
      r.level_id = d.attribute("level_id").value();
      r.text = d.child_value("text");
      r.street_range = d.child_value("street_range");
      r.copyright = d.child_value("copyright");
      pugi::xml_node pr = p.child("projection_properties");
      r.yaw = std::strtod(pr.attribute("pano_yaw_deg").value(), nullptr);
      r.tilt_yaw = std::strtod(pr.attribute("tilt_yaw_deg").value(), nullptr);
      r.tilt_pitch = std::strtod(pr.attribute("tilt_pitch_deg").value(), nullptr);
      for (pugi::xml_node l = p.child("annotation_properties").child("link"); l; l = l.next_sibling()) {
        r.links.push_back({l.attribute("pano_id").value(), std::strtod(l.attribute("yaw_deg").value(), nullptr),
                           std::strtoul(l.attribute("road_argb").value(), nullptr, 16)});
      }
      for (pugi::xml_node l = p.child("levels").child("level"); l; l = l.next_sibling()) {
        r.levels.push_back({l.attribute("level_id").value(), l.attribute("pano_id").value(), l.child_value("text"),
                            l.child_value("abbreviation"), std::strtol(l.attribute("ordinal").value(), nullptr, 10)});
      }
      out.push_back(std::move(r));
    }
    records = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["records"] = static_cast<double>(records);
  Bytes(state, xml.size());
}

void BM_Inflate(benchmark::State& state) {
  const QByteArray text = QByteArray::fromStdString(Base64(DepthStream()));
  for (auto _ : state) {
    std::unique_ptr<vistara::DepthMap> map(vistara::spatial::DepthMapXMLParser::ReadCompressedDepthMapData(text));
    if (!map) state.SkipWithError("depth map did not decode");
    benchmark::DoNotOptimize(map.get());
  }
  state.counters["stream_bytes"] = static_cast<double>(DepthStream().size());
}

void BM_ZlibUncompress(benchmark::State& state) {
  const std::string& stream = DepthStream();
  std::vector<Bytef> out(vistara::spatial::DepthMapXMLParser::kBufferSize);
  for (auto _ : state) {
    uLongf size = static_cast<uLongf>(out.size());
    if (uncompress(out.data(), &size, reinterpret_cast<const Bytef*>(stream.data()), static_cast<uLong>(stream.size())) != Z_OK) {
      state.SkipWithError("uncompress failed");
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["stream_bytes"] = static_cast<double>(stream.size());
}

BENCHMARK_CAPTURE(BM_Parse, tile200, Tile());
BENCHMARK_CAPTURE(BM_PugiParse, tile200, Tile());
BENCHMARK_CAPTURE(BM_PugiExtract, tile200, Tile());
BENCHMARK_CAPTURE(BM_Parse, single_maps, Single());
BENCHMARK_CAPTURE(BM_PugiParse, single_maps, Single());
BENCHMARK(BM_Inflate);
BENCHMARK(BM_ZlibUncompress);

}  // namespace

BENCHMARK_MAIN();
