// Prints the group name and one default: proof that the installed headers and library work.
#include <cstdio>

#include "vistara_spatial.h"

int main() {
  vistara::InitializeSpatialAPI();
  auto& settings = vistara::spatial::WayfareSpatialOptions::s_settings_;
  std::printf("%s %d %s\n", qPrintable(settings.GetName()), settings.GetSettingCount(),
              qPrintable(settings.metaDataTileZoomLevel.toString()));
  return settings.GetSettingCount() == 23 ? 0 : 1;
}
