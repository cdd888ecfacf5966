#include "spatial/wayfare_spatial_options.h"

namespace vistara::spatial {

const char WayfareSpatialOptions::kDefaultServer[] = "http://panoramas.vistara.example/mlk";

// The highest priority a program may give: built before any other static object of the library
// (whatever the link order), and so destroyed after all of them.
__attribute__((init_priority(101))) WayfareSpatialOptions WayfareSpatialOptions::s_settings_;

WayfareSpatialOptions::WayfareSpatialOptions()
    : SettingGroup(QStringLiteral("WayfareSpatial")),
      numMetaDataPanoIdFetches(*this, QStringLiteral("numMetaDataPanoIdFetches"), 0, 2),
      numMetaDataPanoTileFetches(*this, QStringLiteral("numMetaDataPanoTileFetches"), 0, 2),
      numMetaDataPanoLatLonFetches(*this, QStringLiteral("numMetaDataPanoLatLonFetches"), 0, 2),
      numMetaDataPanosProcessed(*this, QStringLiteral("numMetaDataPanosProcessed"), 0, 1),
      metaDataFetchServer(*this, QStringLiteral("metaDataFetchServer"), QString::fromLatin1(kDefaultServer), 0),
      depthMapFetchServer(*this, QStringLiteral("depthMapFetchServer"), QString::fromLatin1(kDefaultServer), 0),
      maxImageryQps(*this, QStringLiteral("maxImageryQps"), 0.0f, 0),
      maxMetadataDepthmapQps(*this, QStringLiteral("maxMetadataDepthmapQps"), 0.0f, 0),
      defaultSearchRadiusMeters(*this, QStringLiteral("defaultSearchRadius(m)"), 50.0f, 0),
      metaDataTileZoomLevel(*this, QStringLiteral("MetaDataTileZoomLevel"), 16, 0),
      metaDataPrefetchDepth(*this, QStringLiteral("MetaDataPrefetchDepth"), 5, 0),
      fetchMetadataTiles(*this, QStringLiteral("fetch metadata tiles"), true, 0),
      maxAngularCorrectionPerSec(*this, QStringLiteral("maxAngularCorrectionPerSec"), 90.0f, 0),
      minAngularCorrectionPerSec(*this, QStringLiteral("minAngularCorrectionPerSec"), 2.0f, 0),
      angleOfMinCorrection(*this, QStringLiteral("angleOfMinCorrection"), 35.0f, 0),
      angleOfMaxCorrection(*this, QStringLiteral("angleOfMaxCorrection"), 5.0f, 0),
      maxPositionCorrectionPerSec(*this, QStringLiteral("maxPositionCorrectionPerSec"), 2.0f, 0),
      zoffsetForRoads(*this, QStringLiteral("zoffsetForRoads"), 5e-08, 0),
      roadDistanceThresholdSq(*this, QStringLiteral("road distance threshold (sq)"), 6.2e-11, 0),
      renderRoads(*this, QStringLiteral("render roads"), true, 0),
      renderRoadsAsPoints(*this, QStringLiteral("render roads as points"), false, 0),
      renderRoadLabels(*this, QStringLiteral("render road labels"), true, 0),
      filletWidthMult(*this, QStringLiteral("fillet width mult"), 2.0f, 0) {}

WayfareSpatialOptions::~WayfareSpatialOptions() = default;

}  // namespace vistara::spatial
