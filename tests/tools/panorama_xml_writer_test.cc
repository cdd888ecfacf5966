// The metadata writer read back by the library's parsers field for field, and its map blobs
// against zlib's own inflate and the documented worked example.
#include "panorama_xml_writer.h"

#include <zlib.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "platform/base64.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "spatial/panorama_xml_parser.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PackDepthMap;
using cli::serve::PackPanoMap;
using cli::serve::WriteMetadataReply;
using spatial::PanoramaData;

RefPtr<PanoramaData> NewRecord(const QString& id) {
  return RefPtr<PanoramaData>(new (HeapManager::GetDynamicHeap()) PanoramaData(id));
}

DepthMap* NewDepthMap(int width, int height, std::vector<uint8_t> indices, std::vector<Plane<double>> planes) {
  auto* map = new (HeapManager::GetDynamicHeap()) DepthMap;
  map->width = width;
  map->height = height;
  map->indices = new uint8_t[indices.size()];
  std::copy(indices.begin(), indices.end(), map->indices);
  map->num_planes = static_cast<int>(planes.size());
  map->planes = new Plane<double>[planes.size()];
  std::copy(planes.begin(), planes.end(), map->planes);
  return map;
}

spatial::PanoMap* NewPanoMap(int width, int height, const std::vector<uint8_t>& indices, std::vector<QString> ids,
                             std::vector<Vec2<float>> positions) {
  auto* cells = static_cast<uint8_t*>(AllocFrom(HeapManager::GetDynamicHeap(), indices.size()));
  std::copy(indices.begin(), indices.end(), cells);
  return new (HeapManager::GetDynamicHeap())
      spatial::PanoMap(cells, width, height, mmvector<QString>(ids.begin(), ids.end()),
                       mmvector<Vec2<float>>(positions.begin(), positions.end()));
}

std::vector<RefPtr<PanoramaData>> Parse(const std::string& xml) {
  mmvector<RefPtr<PanoramaData>> out;
  spatial::PanoramaXMLParser::Parse(QByteArray::fromStdString(xml), &out);
  return std::vector<RefPtr<PanoramaData>>(out.begin(), out.end());
}

TEST(PanoramaXmlWriterTest, RecordsComeBackFieldForField) {
  const RefPtr<PanoramaData> r = NewRecord("Abcdefghijklmnopqrstu_");
  r->position = Vec3<double>(-122.3006059 / 180, 37.8073779 / 180, 0);
  r->pano_yaw_deg = 285.58055118058763;
  r->image_date = "2013-05";
  r->street_range = "221b";
  r->text = "Rue <d'Alésia> & \"Co\"\tone\ntwo\r";
  r->copyright = "© contributors";
  r->level_id = "L1";
  r->scene = -7;
  r->image_width = 13312;
  r->image_height = 6656;
  r->tile_width = r->tile_height = 512;
  r->tilt_yaw_deg = 0.1;
  r->tilt_pitch_deg = -1e-300;
  r->info_flags = 3;
  r->info_value = 7;
  r->connected_panos.push_back({"Far_end_of_the_link_00", 0x80112233u, 359.999f});
  r->connected_panos.push_back({"Another", 0xFFFFFFFFu, -0.0f});
  r->connected_levels.push_back({"L1", "Level_pano", 2, "Upper deck", ""});
  r->annotations.push_back({"Café & bar", "a1", 1.5f, -0.25f, 1e-20f});
  r->set_depthmap(NewDepthMap(2, 2, {0, 1, 1, 0}, {{{0, 0, 1}, 2.5}, {{-1, 0, 0}, 6}}));
  r->set_panomap(NewPanoMap(3, 1, {0, 1, 0}, {"", "Neighbour_id_is_22_chr"}, {{0, 0}, {0.5f, 10.25f}}));

  const std::string xml = WriteMetadataReply({r.get()});
  const auto parsed = Parse(xml);
  ASSERT_EQ(1u, parsed.size()) << xml;
  const PanoramaData& p = *parsed[0];
  EXPECT_EQ(r->id, p.id);
  EXPECT_EQ(r->position, p.position);
  EXPECT_NE(std::string::npos, xml.find("lat=\"37.8073779\" lng=\"-122.3006059\""));  // the shortest text
  EXPECT_EQ(r->pano_yaw_deg, p.pano_yaw_deg);
  EXPECT_EQ(r->image_date, p.image_date);
  EXPECT_EQ(r->street_range, p.street_range);
  EXPECT_EQ(r->text, p.text);
  EXPECT_EQ("221b " + r->text, p.address);
  EXPECT_EQ(r->copyright, p.copyright);
  EXPECT_EQ(r->level_id, p.level_id);
  EXPECT_EQ(r->scene, p.scene);
  EXPECT_EQ(r->image_width, p.image_width);
  EXPECT_EQ(r->image_height, p.image_height);
  EXPECT_EQ(r->tile_width, p.tile_width);
  EXPECT_EQ(r->tile_height, p.tile_height);
  EXPECT_EQ(r->tilt_yaw_deg, p.tilt_yaw_deg);
  EXPECT_EQ(r->tilt_pitch_deg, p.tilt_pitch_deg);
  EXPECT_EQ(r->info_flags, p.info_flags);
  EXPECT_EQ(r->info_value, p.info_value);
  ASSERT_EQ(2u, p.connected_panos.size());
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(r->connected_panos[i].id, p.connected_panos[i].id);
    EXPECT_EQ(r->connected_panos[i].road_color, p.connected_panos[i].road_color);
    EXPECT_EQ(r->connected_panos[i].yaw_deg, p.connected_panos[i].yaw_deg);
  }
  EXPECT_NE(std::string::npos, xml.find("road_argb=\"80332211\""));
  ASSERT_EQ(1u, p.connected_levels.size());
  EXPECT_EQ(r->connected_levels[0].level_id, p.connected_levels[0].level_id);
  EXPECT_EQ(r->connected_levels[0].pano_id, p.connected_levels[0].pano_id);
  EXPECT_EQ(2, p.connected_levels[0].ordinal);
  EXPECT_EQ(r->connected_levels[0].text, p.connected_levels[0].text);
  const auto annotations = spatial::DepthMapXMLParser::ParseAnnotations(QByteArray::fromStdString(xml));
  ASSERT_EQ(1u, annotations.size());
  EXPECT_EQ(r->annotations[0].title, annotations[0].title);
  EXPECT_EQ(r->annotations[0].id, annotations[0].id);
  EXPECT_EQ(r->annotations[0].yaw, annotations[0].yaw);
  EXPECT_EQ(r->annotations[0].pitch, annotations[0].pitch);
  EXPECT_EQ(r->annotations[0].d, annotations[0].d);

  ASSERT_TRUE(p.depth_map && p.pano_map);
  EXPECT_EQ(std::vector<uint8_t>({0, 1, 1, 0}), std::vector<uint8_t>(p.depth_map->indices, p.depth_map->indices + 4));
  for (int k = 0; k < 2; ++k) {
    EXPECT_EQ(r->depth_map->planes[k].normal, p.depth_map->planes[k].normal);
    EXPECT_EQ(r->depth_map->planes[k].distance, p.depth_map->planes[k].distance);
  }
  EXPECT_EQ(r->pano_map->ids[1], p.pano_map->ids[1]);
  EXPECT_EQ(r->pano_map->positions[1], p.pano_map->positions[1]);
  EXPECT_EQ(std::vector<uint8_t>({0, 1, 0}), std::vector<uint8_t>(p.pano_map->indices, p.pano_map->indices + 3));

  // A control character can't travel in XML; it comes back as U+FFFD. Several records make a
  // tile document, without maps; none, an empty one.
  r->text = QString("a") + QChar(1) + "b";
  const auto two = Parse(WriteMetadataReply({r.get(), parsed[0].get()}));
  ASSERT_EQ(2u, two.size());
  EXPECT_EQ(QString("a") + QChar(0xFFFD) + "b", two[0]->text);
  EXPECT_EQ(r->id, two[1]->id);
  EXPECT_FALSE(two[0]->depth_map || two[0]->pano_map);
  EXPECT_TRUE(Parse(WriteMetadataReply({})).empty());

  // Any position made from degrees comes back exactly.
  SeededRandom random;
  for (int i = 0; i < 2000; ++i) {
    const RefPtr<PanoramaData> q = NewRecord("x");
    q->position = Vec3<double>(random.Double(-180, 180) / 180, random.Double(-90, 90) / 180, 0);
    const auto back = Parse(WriteMetadataReply({q.get()}));
    ASSERT_EQ(1u, back.size());
    EXPECT_EQ(q->position, back[0]->position);
  }
}

std::string Inflate(const std::string& text) {
  const QByteArray deflated = Base64Decode(text.c_str());
  std::string out(1 << 20, '\0');
  uLongf size = out.size();
  EXPECT_EQ(Z_OK, uncompress(reinterpret_cast<Bytef*>(out.data()), &size,
                             reinterpret_cast<const Bytef*>(deflated.constData()), deflated.size()));
  out.resize(size);
  return out;
}

TEST(PanoramaXmlWriterTest, MapBlobs) {
  // The worked example of docs/panorama-metadata.md: 2 x 1 cells on one plane, normal (0, 0, 1)
  // and distance 5, stored turned round.
  const std::unique_ptr<DepthMap> example(NewDepthMap(2, 1, {0, 0}, {{{0, 0, 1}, 5}}));
  EXPECT_EQ("08 01 00 02 00 01 00 08 00 00 00 00 00 00 00 00 00 00 00 00 80 BF 00 00 A0 40",
            ToHex(Inflate(PackDepthMap(*example))));
  const std::unique_ptr<spatial::PanoMap> pano(
      NewPanoMap(2, 1, {0, 1}, {"", "Abcdefghijklmnopqrstuv"}, {{0, 0}, {1.5f, -2.0f}}));
  EXPECT_EQ("08 02 00 02 00 01 00 08 00 01 41 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 75 76 "
            "00 00 C0 3F 00 00 00 C0",
            ToHex(Inflate(PackPanoMap(*pano))));

  // Random maps of every size class read back as written.
  SeededRandom random;
  for (int round = 0; round < 30; ++round) {
    const int w = random.Int(1, 600), h = random.Int(1, 300), planes = random.Int(1, 256);
    std::vector<uint8_t> cells(w * h);
    for (auto& c : cells) c = static_cast<uint8_t>(random.Int(0, planes - 1));
    std::vector<Plane<double>> list;
    for (int k = 0; k < planes; ++k) {
      const int axis = random.Int(0, 2);
      Vec3<double> n(0, 0, 0);
      (axis == 0 ? n.x : axis == 1 ? n.y : n.z) = random.Int(0, 1) ? 1 : -1;
      list.emplace_back(n, static_cast<float>(random.Double(0, 100)));
    }
    const std::unique_ptr<DepthMap> map(NewDepthMap(w, h, cells, list));
    const std::unique_ptr<DepthMap> back(
        spatial::DepthMapXMLParser::ReadCompressedDepthMapData(QByteArray::fromStdString(PackDepthMap(*map))));
    ASSERT_TRUE(back);
    EXPECT_EQ(cells, std::vector<uint8_t>(back->indices, back->indices + w * h));
    for (int k = 0; k < planes; ++k) {
      EXPECT_EQ(list[k].normal, back->planes[k].normal);
      EXPECT_EQ(list[k].distance, back->planes[k].distance);
    }

    const int entries = random.Int(1, 256);
    std::vector<QString> ids{""};
    std::vector<Vec2<float>> positions{{0, 0}};
    for (int e = 1; e < entries; ++e) {
      ids.push_back(QString(22, QChar('A' + e % 26)));
      positions.emplace_back(static_cast<float>(random.Double(-30, 30)), static_cast<float>(random.Double(-30, 30)));
    }
    const int pw = random.Int(1, 400), ph = random.Int(1, 300);
    std::vector<uint8_t> entry_cells(pw * ph);
    for (auto& c : entry_cells) c = static_cast<uint8_t>(random.Int(0, entries - 1));
    const std::unique_ptr<spatial::PanoMap> pm(NewPanoMap(pw, ph, entry_cells, ids, positions));
    const std::unique_ptr<spatial::PanoMap> pm_back(
        spatial::PanoMapXMLParser::ReadCompressedPanoMapData(QByteArray::fromStdString(PackPanoMap(*pm))));
    ASSERT_TRUE(pm_back);
    EXPECT_EQ(entry_cells, std::vector<uint8_t>(pm_back->indices, pm_back->indices + pw * ph));
    EXPECT_EQ(std::vector<QString>(pm->ids.begin(), pm->ids.end()), std::vector<QString>(pm_back->ids.begin(), pm_back->ids.end()));
    EXPECT_TRUE(std::equal(pm->positions.begin(), pm->positions.end(), pm_back->positions.begin()));
  }

  // Maps the format or the decoder's buffer can't hold are not written.
  std::vector<Plane<double>> too_many(257, Plane<double>({0, 0, 1}, 1));
  EXPECT_EQ("", PackDepthMap(*std::unique_ptr<DepthMap>(NewDepthMap(1, 1, {0}, too_many))));
  EXPECT_EQ("", PackDepthMap(*std::unique_ptr<DepthMap>(NewDepthMap(1024, 600, std::vector<uint8_t>(1024 * 600), {{{0, 0, 1}, 1}}))));
  EXPECT_EQ("", PackPanoMap(*std::unique_ptr<spatial::PanoMap>(NewPanoMap(1, 1, {0}, {"", "short"}, {{0, 0}, {0, 0}}))));
  EXPECT_EQ("", PackPanoMap(*std::unique_ptr<spatial::PanoMap>(
                    NewPanoMap(1, 1, {0}, {"", QString(21, 'a') + QChar(0xE9)}, {{0, 0}, {0, 0}}))));
  EXPECT_EQ("", PackPanoMap(*std::unique_ptr<spatial::PanoMap>(NewPanoMap(400, 400, std::vector<uint8_t>(160000), {""}, {{0, 0}}))));
}

}  // namespace
}  // namespace vistara::testing
