#include "spatial/panorama_xml_parser.h"

#include <QCoreApplication>
#include <charconv>
#include <limits>

#include "platform/xml/xml_path_finder.h"
#include "platform/xml/xml_reader.h"
#include "platform/xml/xml_tree.h"
#include "spatial/depth_map_fetcher.h"

namespace vistara::spatial {

namespace {

// Bit 0 of the flags is bit 1 of the service's info_level, bit 1 is its bit 6.
uint32_t InfoFlags(unsigned long long level) {
  return static_cast<uint32_t>(((level >> 1) & 1u) | (((level >> 6) & 1u) << 1));
}

// Qt 6 reads an overflowing number as an infinity with `ok` false; a failed conversion reads as
// 0 here, whatever the reason.
double ToDouble(const QString& text) {
  // Plain decimals ("-0.125", "51") take a short cut: from_chars rounds correctly, as Qt does, so
  // the value is the same. Everything else (blanks, exponents, "inf") goes through Qt.
  const qsizetype size = text.size();
  if (size > 0 && size <= 40) {
    char digits[40];
    const QChar* c = text.constData();
    qsizetype i = 0, dot = -1;
    bool plain = true;
    for (; i < size && plain; ++i) {
      const char16_t u = c[i].unicode();
      if (u >= '0' && u <= '9') {
      } else if (u == '-' && i == 0) {
      } else if (u == '.' && dot < 0 && i > 0 && c[i - 1].unicode() != '-') {
        dot = i;
      } else {
        plain = false;
      }
      digits[i] = static_cast<char>(u);
    }
    const bool digit_last = c[size - 1].unicode() >= '0' && c[size - 1].unicode() <= '9';
    if (plain && digit_last) {
      double value = 0;
      const auto result = std::from_chars(digits, digits + size, value);
      if (result.ec == std::errc() && result.ptr == digits + size) return value;
    }
  }
  bool ok = false;
  const double value = text.toDouble(&ok);
  return ok ? value : 0.0;
}

float ToFloat(const QString& text) {
  bool ok = false;
  const float value = text.toFloat(&ok);
  return ok ? value : 0.0f;
}

// A double narrowed to a float; values beyond float's range (undefined for a plain cast) become
// the infinity of their sign.
float NarrowToFloat(double value) {
  if (value > std::numeric_limits<float>::max()) return std::numeric_limits<float>::infinity();
  if (value < -std::numeric_limits<float>::max()) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

// Alpha-red-green-blue to alpha-blue-green-red.
uint32_t SwapRedBlue(uint32_t argb) {
  return (argb & 0xFF00FF00u) | ((argb & 0x00FF0000u) >> 16) | ((argb & 0x000000FFu) << 16);
}

void ReadLinks(XmlNode* node, PanoramaData* data) {
  const XmlPathFinder finder;
  XmlNode* properties = finder.Find(node, QStringLiteral("panorama/annotation_properties"));
  if (!properties) return;
  // The chain of siblings is walked whatever the elements are called.
  for (XmlNode* link = finder.Find(properties, QStringLiteral("annotation_properties/link")); link;
       link = link->GetNextSibling()) {
    ConnectedPano pano;
    const QString id = link->GetAttributeValue(QStringLiteral("pano_id"));
    const double yaw = ToDouble(link->GetAttributeValue(QStringLiteral("yaw_deg")));
    bool ok = false;
    uint32_t argb = link->GetAttributeValue(QStringLiteral("road_argb")).toUInt(&ok, 16);
    if (!ok) argb = 0xFFFFFFFFu;  // also for a missing attribute
    if (id.isEmpty()) continue;
    pano.id = id;
    pano.road_color = SwapRedBlue(argb);
    pano.yaw_deg = NarrowToFloat(yaw);
    data->connected_panos.push_back(pano);
  }
}

void ReadLevels(XmlNode* node, PanoramaData* data) {
  const XmlPathFinder finder;
  XmlNode* levels = finder.Find(node, QStringLiteral("panorama/levels"));
  if (!levels) return;
  for (XmlNode* level = finder.Find(levels, QStringLiteral("levels/level")); level; level = level->GetNextSibling()) {
    ConnectedLevel entry;
    entry.level_id = level->GetAttributeValue(QStringLiteral("level_id"));
    entry.pano_id = level->GetAttributeValue(QStringLiteral("pano_id"));
    entry.ordinal = level->GetAttributeValue(QStringLiteral("ordinal")).toInt();
    const XmlTree tree(level);
    entry.text = tree.GetValue(QStringLiteral("level/text"));
    entry.abbreviation = tree.GetValue(QStringLiteral("level/abbreviation"));
    if (!entry.level_id.isEmpty() && !entry.pano_id.isEmpty()) data->connected_levels.push_back(entry);
  }
}

}  // namespace

void PanoramaXMLParser::Parse(const QByteArray& xml, mmvector<RefPtr<PanoramaData>>* out) {
  XmlReader reader(xml);
  if (reader.GetErrorsOccurred()) return;
  const XmlPathFinder finder;
  XmlNode* node = finder.Find(reader.GetRoot(), QStringLiteral("/panoramas/panorama"));
  if (!node) node = finder.Find(reader.GetRoot(), QStringLiteral("/panorama"));
  // Every following sibling is tried, whatever its name: one that isn't a panorama yields nothing.
  for (; node; node = node->GetNextSibling()) {
    RefPtr<PanoramaData> data = ParsePanorama(node, xml);
    if (data) out->push_back(data);
  }
}

RefPtr<PanoramaData> PanoramaXMLParser::ParsePanorama(XmlNode* node, const QByteArray& xml) {
  const XmlPathFinder finder;
  XmlNode* properties = finder.Find(node, QStringLiteral("panorama/data_properties"));
  if (!properties) return RefPtr<PanoramaData>();

  RefPtr<PanoramaData> data(new (HeapManager::GetDynamicHeap())
                                PanoramaData(properties->GetAttributeValue(QStringLiteral("pano_id"))));
  const QString info_level = properties->GetAttributeValue(QStringLiteral("info_level"));
  if (!info_level.isEmpty()) data->info_flags = InfoFlags(info_level.toULongLong(nullptr, 10));
  const QString info_value = properties->GetAttributeValue(QStringLiteral("info_value"));
  if (!info_value.isEmpty()) data->info_value = info_value.toInt(nullptr, 10);
  data->position.y = ToDouble(properties->GetAttributeValue(QStringLiteral("lat"))) / 180.0;
  data->position.x = ToDouble(properties->GetAttributeValue(QStringLiteral("lng"))) / 180.0;
  data->position.z = 0;
  data->image_width = properties->GetAttributeValue(QStringLiteral("image_width")).toInt();
  data->image_height = properties->GetAttributeValue(QStringLiteral("image_height")).toInt();
  data->tile_width = properties->GetAttributeValue(QStringLiteral("tile_width")).toInt();
  data->tile_height = properties->GetAttributeValue(QStringLiteral("tile_height")).toInt();
  data->image_date = properties->GetAttributeValue(QStringLiteral("image_date"));
  data->scene = properties->GetAttributeValue(QStringLiteral("scene")).toInt();
  data->level_id = properties->GetAttributeValue(QStringLiteral("level_id"));

  const XmlTree tree(properties);
  data->text = tree.GetValue(QStringLiteral("data_properties/text"));
  data->street_range = tree.GetValue(QStringLiteral("data_properties/street_range"));
  const QString spacer = data->street_range.isEmpty() ? QString() : QStringLiteral(" ");
  // The placeholders are filled one after another, as a translation may reorder them.
  data->address = QCoreApplication::translate(
                      "QObject", "%1%2%3",
                      "Street address. VALUE_1 is the optional range, VALUE_2 is the optional spacer, and "
                      "VALUE_3 is the street name.")
                      .arg(data->street_range, 0, QLatin1Char(' '))
                      .arg(spacer, 0, QLatin1Char(' '))
                      .arg(data->text, 0, QLatin1Char(' '));
  data->copyright = tree.GetValue(QStringLiteral("data_properties/copyright"));

  if (XmlNode* projection = finder.Find(node, QStringLiteral("panorama/projection_properties"))) {
    data->pano_yaw_deg = ToDouble(projection->GetAttributeValue(QStringLiteral("pano_yaw_deg")));
    data->tilt_yaw_deg = ToDouble(projection->GetAttributeValue(QStringLiteral("tilt_yaw_deg")));
    data->tilt_pitch_deg = ToDouble(projection->GetAttributeValue(QStringLiteral("tilt_pitch_deg")));
  }
  ReadLinks(node, data.get());
  ReadLevels(node, data.get());
  // The maps are read from the whole document again, from its root: in a tile reply that search
  // fails, so its records stay without maps even where their elements hold them.
  if (finder.Find(node, QStringLiteral("panorama/model/depth_map"))) DepthMapFetcher::ParseDepthAndPano(xml, data.get());
  return data;
}

Annotation ExtractAnnotation(XmlNode* node) {
  Annotation annotation;
  annotation.id = node->GetAttributeValue(QStringLiteral("id"));
  annotation.title = node->GetAttributeValue(QStringLiteral("title"));
  if (XmlNode* child = node->GetFirstChild()) {
    annotation.yaw = ToFloat(child->GetAttributeValue(QStringLiteral("yaw")));
    annotation.pitch = ToFloat(child->GetAttributeValue(QStringLiteral("pitch")));
    annotation.d = ToFloat(child->GetAttributeValue(QStringLiteral("d")));
  }
  return annotation;
}

}  // namespace vistara::spatial
