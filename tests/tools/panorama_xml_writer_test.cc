// The metadata writer read back by the library's parsers field for field, and its map blobs
// against zlib's own inflate and the documented worked example. (The service's tests decode
// full-size maps.)
#include "panorama_xml_writer.h"

#include <zlib.h>

#include <gtest/gtest.h>

#include <memory>

#include "platform/base64.h"
#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "street_panoramas_test_util.h"
#include "test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PackDepthMap;
using cli::serve::PackPanoMap;
using cli::serve::WriteMetadataReply;
using spatial::PanoMap;
using spatial::PanoramaData;

DepthMap* NewDepthMap(int width, int height, std::vector<uint8_t> cells, std::vector<Plane<double>> planes) {
  auto* map = new (HeapManager::GetDynamicHeap()) DepthMap;
  map->width = width;
  map->height = height;
  map->indices = new uint8_t[cells.size()];
  std::copy(cells.begin(), cells.end(), map->indices);
  map->num_planes = static_cast<int>(planes.size());
  map->planes = new Plane<double>[planes.size()];
  std::copy(planes.begin(), planes.end(), map->planes);
  return map;
}

PanoMap* NewPanoMap(int width, int height, const std::vector<uint8_t>& cells, std::vector<QString> ids,
                    std::vector<Vec2<float>> positions) {
  auto* copy = static_cast<uint8_t*>(AllocFrom(HeapManager::GetDynamicHeap(), cells.size()));
  std::copy(cells.begin(), cells.end(), copy);
  return new (HeapManager::GetDynamicHeap()) PanoMap(copy, width, height, mmvector<QString>(ids.begin(), ids.end()),
                                                     mmvector<Vec2<float>>(positions.begin(), positions.end()));
}

TEST(PanoramaXmlWriterTest, RecordsComeBackFieldForField) {
  const RefPtr<PanoramaData> r(new (HeapManager::GetDynamicHeap()) PanoramaData("Abcdefghijklmnopqrstu_"));
  r->position = Vec3<double>(-122.3006059 / 180, 37.8073779 / 180, 0);
  r->pano_yaw_deg = 285.58055118058763;
  r->tilt_yaw_deg = 0.1;
  r->tilt_pitch_deg = -1e-300;
  r->image_date = "2013-05";
  r->street_range = "221b";
  r->text = "Rue <d'Alésia> & \"Co\"\tone\ntwo\r";
  r->copyright = "© contributors";
  r->level_id = "L1";
  r->scene = -7;
  r->image_width = 13312;
  r->tile_height = 512;
  r->info_flags = 3;
  r->info_value = 7;
  r->connected_panos.push_back({"Far_end_of_the_link_00", 0x80112233u, 359.999f});
  r->connected_panos.push_back({"Another", 0xFFFFFFFFu, -0.0f});
  r->connected_levels.push_back({"L1", "Level_pano", 2, "Upper deck", ""});
  r->annotations.push_back({"Café & bar", "a1", 1.5f, -0.25f, 1e-20f});
  r->set_depthmap(NewDepthMap(2, 2, {0, 1, 1, 0}, {{{0, 0, 1}, 2.5}, {{-1, 0, 0}, 6}}));
  r->set_panomap(NewPanoMap(3, 1, {0, 1, 0}, {"", "Neighbour_id_is_22_chr"}, {{0, 0}, {0.5f, 10.25f}}));

  const std::string xml = WriteMetadataReply({r.get()});
  const auto parsed = ParseReply(xml);
  ASSERT_EQ(1u, parsed.size()) << xml;
  const PanoramaData& p = *parsed[0];
  EXPECT_EQ(Fields(*r), Fields(p));
  EXPECT_EQ("221b " + r->text, p.address);
  EXPECT_NE(std::string::npos, xml.find("lat=\"37.8073779\" lng=\"-122.3006059\""));  // the shortest text
  EXPECT_NE(std::string::npos, xml.find("road_argb=\"80332211\""));
  // Writing what was read, with the annotations the depth-map parser reads, changes nothing: the
  // annotations and the maps came back whole (the numbers in full, the cells as the service's tests show).
  const auto annotations = spatial::DepthMapXMLParser::ParseAnnotations(QByteArray::fromStdString(xml));
  ASSERT_EQ(1u, annotations.size());
  EXPECT_EQ(std::vector<float>({1.5f, -0.25f, 1e-20f}),
            std::vector<float>({annotations[0].yaw, annotations[0].pitch, annotations[0].d}));
  parsed[0]->annotations = annotations;
  ASSERT_TRUE(p.depth_map && p.pano_map);
  EXPECT_EQ(xml, WriteMetadataReply({&p}));

  // A control character can't travel in XML: it comes back as U+FFFD. Several records make a
  // tile document, without maps.
  r->text = QString("a") + QChar(1) + "b";
  const auto two = ParseReply(WriteMetadataReply({r.get(), &p}));
  ASSERT_EQ(2u, two.size());
  EXPECT_EQ(QString("a") + QChar(0xFFFD) + "b", two[0]->text);
  EXPECT_FALSE(two[0]->depth_map || two[1]->pano_map);
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
  // The worked example of docs/panorama-metadata.md (2 x 1 cells on one plane, normal (0, 0, 1) and
  // distance 5, stored turned round), and the pano-map golden of the decoder's tests.
  EXPECT_EQ("08 01 00 02 00 01 00 08 00 00 00 00 00 00 00 00 00 00 00 00 80 BF 00 00 A0 40",
            ToHex(Inflate(PackDepthMap(*std::unique_ptr<DepthMap>(NewDepthMap(2, 1, {0, 0}, {{{0, 0, 1}, 5}}))))));
  EXPECT_EQ("08 02 00 02 00 01 00 08 00 01 41 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74 75 76 "
            "00 00 C0 3F 00 00 00 C0",
            ToHex(Inflate(PackPanoMap(*std::unique_ptr<PanoMap>(
                NewPanoMap(2, 1, {0, 1}, {"", "Abcdefghijklmnopqrstuv"}, {{0, 0}, {1.5f, -2.0f}}))))));

  // Maps the format or the decoders' buffers can't hold are not written.
  EXPECT_EQ("", PackDepthMap(*std::unique_ptr<DepthMap>(NewDepthMap(1, 1, {0}, std::vector(257, Plane<double>({0, 0, 1}, 1))))));
  EXPECT_EQ("", PackDepthMap(*std::unique_ptr<DepthMap>(NewDepthMap(1024, 600, std::vector<uint8_t>(1024 * 600), {{{0, 0, 1}, 1}}))));
  EXPECT_EQ("", PackPanoMap(*std::unique_ptr<PanoMap>(NewPanoMap(1, 1, {0}, {"", "short"}, {{0, 0}, {0, 0}}))));
  EXPECT_EQ("", PackPanoMap(*std::unique_ptr<PanoMap>(NewPanoMap(1, 1, {0}, {"", QString(21, 'a') + QChar(0xE9)}, {{0, 0}, {0, 0}}))));
  EXPECT_EQ("", PackPanoMap(*std::unique_ptr<PanoMap>(NewPanoMap(400, 400, std::vector<uint8_t>(160000), {""}, {{0, 0}}))));
}

}  // namespace
}  // namespace vistara::testing
