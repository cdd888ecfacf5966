// WayfareSpatialOptions: every tunable of the spatial library, in the settings group
// "WayfareSpatial", plus four running fetch counters.
//
// There is one instance, s_settings_. It is the first static object of the library to be built
// and the last to be destroyed, so every other part of the library may read it at any time. The
// library reads the members as plain values, with no lock; the host's settings machinery finds
// them through the group by name and key. The members, their order (the group's order) and their
// keys are part of the interface.
#ifndef VISTARA_SPATIAL_WAYFARE_SPATIAL_OPTIONS_H_
#define VISTARA_SPATIAL_WAYFARE_SPATIAL_OPTIONS_H_

#include "platform/setting.h"

namespace vistara::spatial {

class WayfareSpatialOptions : public SettingGroup {
 public:
  WayfareSpatialOptions();
  ~WayfareSpatialOptions() override;

  static WayfareSpatialOptions s_settings_;

  // The panorama service's address, path "/mlk", when nobody has set one.
  static const char kDefaultServer[];

  CountSetting numMetaDataPanoIdFetches;      // metadata requests by id
  CountSetting numMetaDataPanoTileFetches;    // metadata requests by tile
  CountSetting numMetaDataPanoLatLonFetches;  // metadata requests by position
  CountSetting numMetaDataPanosProcessed;     // records added to the graph
  StringSetting metaDataFetchServer;          // base URL of metadata and depth-map requests
  StringSetting depthMapFetchServer;          // kept for the host; depth maps use metaDataFetchServer
  FloatSetting maxImageryQps;
  FloatSetting maxMetadataDepthmapQps;        // requests per second; 0 means no spacing
  FloatSetting defaultSearchRadiusMeters;     // metres
  IntSetting metaDataTileZoomLevel;
  IntSetting metaDataPrefetchDepth;
  BoolSetting fetchMetadataTiles;
  FloatSetting maxAngularCorrectionPerSec;    // degrees per second
  FloatSetting minAngularCorrectionPerSec;    // degrees per second
  FloatSetting angleOfMinCorrection;          // degrees; the larger angle, on purpose
  FloatSetting angleOfMaxCorrection;          // degrees
  FloatSetting maxPositionCorrectionPerSec;
  DoubleSetting zoffsetForRoads;              // planet radii
  DoubleSetting roadDistanceThresholdSq;      // squared position units
  BoolSetting renderRoads;
  BoolSetting renderRoadsAsPoints;
  BoolSetting renderRoadLabels;
  FloatSetting filletWidthMult;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_WAYFARE_SPATIAL_OPTIONS_H_
