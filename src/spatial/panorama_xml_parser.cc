#include "spatial/panorama_xml_parser.h"

#include <QCoreApplication>
#include <charconv>
#include <cstring>
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

// Plain decimals ("-0.125", "51"): from_chars rounds correctly, as Qt does, so the value is the
// one Qt gives. False for any other text (blanks, exponents, "inf", a sign alone, ".5", "5.").
bool ReadPlainDecimal(const char* s, size_t n, double* value) {
  if (n == 0 || n > 40) return false;
  size_t i = s[0] == '-' ? 1 : 0;
  const size_t digits_start = i;
  while (i < n && s[i] >= '0' && s[i] <= '9') ++i;
  if (i == digits_start) return false;
  if (i < n && s[i] == '.') {
    const size_t fraction_start = ++i;
    while (i < n && s[i] >= '0' && s[i] <= '9') ++i;
    if (i == fraction_start) return false;
  }
  if (i != n) return false;
  const auto result = std::from_chars(s, s + n, *value);
  return result.ec == std::errc() && result.ptr == s + n;
}

// The readers below take an attribute's raw UTF-8 text (null when it is absent, which Qt reads as
// the null string, that is 0). Plain digits are read here, with the results Qt gives them; any
// other text goes through QString and Qt's own conversion.

bool AllDigits(const char* s, size_t n, int base) {
  if (n == 0) return false;
  for (size_t i = 0; i < n; ++i) {
    const char c = s[i];
    const bool digit = (c >= '0' && c <= '9') ||
                       (base == 16 && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')));
    if (!digit) return false;
  }
  return true;
}

// Qt 6 reads an overflowing number as an infinity with `ok` false; a failed conversion reads as
// 0 here, whatever the reason.
double ReadDouble(XmlNode* node, const char* name) {
  const char* raw = node->GetAttributeUtf8(name);
  if (!raw) return 0.0;
  double value = 0;
  if (ReadPlainDecimal(raw, std::strlen(raw), &value)) return value;
  bool ok = false;
  value = QString::fromUtf8(raw).toDouble(&ok);
  return ok ? value : 0.0;
}

// Decimal int, as QString::toInt(nullptr, 10).
int ReadInt(XmlNode* node, const char* name) {
  const char* raw = node->GetAttributeUtf8(name);
  if (!raw) return 0;
  const size_t n = std::strlen(raw);
  const bool negative = n > 1 && raw[0] == '-';
  // Up to 9 digits can't overflow an int.
  if (n - negative <= 9 && AllDigits(raw + negative, n - negative, 10)) {
    int value = 0;
    for (size_t i = negative; i < n; ++i) value = value * 10 + (raw[i] - '0');
    return negative ? -value : value;
  }
  return QString::fromUtf8(raw).toInt(nullptr, 10);
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
    const double yaw = ReadDouble(link, "yaw_deg");
    const char* raw = link->GetAttributeUtf8("road_argb");
    bool ok = false;
    uint32_t argb = 0;
    if (raw) {
      const size_t n = std::strlen(raw);
      if (n <= 8 && AllDigits(raw, n, 16)) {
        argb = static_cast<uint32_t>(std::strtoul(raw, nullptr, 16));
        ok = true;
      } else {
        argb = QString::fromUtf8(raw).toUInt(&ok, 16);
      }
    }
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
    entry.ordinal = ReadInt(level, "ordinal");
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
  const char* info_level = properties->GetAttributeUtf8("info_level");
  if (info_level && *info_level) {
    const size_t n = std::strlen(info_level);
    // Up to 18 digits can't overflow 64 bits.
    const unsigned long long v = n <= 18 && AllDigits(info_level, n, 10)
                                     ? std::strtoull(info_level, nullptr, 10)
                                     : QString::fromUtf8(info_level).toULongLong(nullptr, 10);
    data->info_flags = InfoFlags(v);
  }
  const char* info_value = properties->GetAttributeUtf8("info_value");
  if (info_value && *info_value) data->info_value = ReadInt(properties, "info_value");
  data->position.y = ReadDouble(properties, "lat") / 180.0;
  data->position.x = ReadDouble(properties, "lng") / 180.0;
  data->position.z = 0;
  data->image_width = ReadInt(properties, "image_width");
  data->image_height = ReadInt(properties, "image_height");
  data->tile_width = ReadInt(properties, "tile_width");
  data->tile_height = ReadInt(properties, "tile_height");
  data->image_date = properties->GetAttributeValue(QStringLiteral("image_date"));
  data->scene = ReadInt(properties, "scene");
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
    data->pano_yaw_deg = ReadDouble(projection, "pano_yaw_deg");
    data->tilt_yaw_deg = ReadDouble(projection, "tilt_yaw_deg");
    data->tilt_pitch_deg = ReadDouble(projection, "tilt_pitch_deg");
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
