// Planet: the feature that stands for one body of the solar system in the host's scene.
//
// It carries no geometry of its own: the body's position and orientation come from its orbit, and
// the feature gives the body a name that the scene and its documents can show. KML has no element
// for it, so a document writes it as a named <Placemark> without geometry.
#ifndef VISTARA_PLATFORM_ATLASDOC_PLANET_H_
#define VISTARA_PLATFORM_ATLASDOC_PLANET_H_

#include <QString>

#include "platform/atlasdoc/abstract_feature.h"
#include "platform/atlasdoc/kml_id.h"

namespace vistara::atlasdoc {

class Planet : public AbstractFeature {
 public:
  // `source_url` is the URL of the document the object came from (null for the library's own).
  Planet(const KmlId& id, const QString& source_url) : AbstractFeature(id, source_url) {}

  const char* kml_tag() const override { return "Placemark"; }

 protected:
  ~Planet() override = default;
};

}  // namespace vistara::atlasdoc

#endif  // VISTARA_PLATFORM_ATLASDOC_PLANET_H_
