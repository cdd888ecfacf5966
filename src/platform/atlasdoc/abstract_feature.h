// AbstractFeature: the base of every KML feature the library makes (planets now; placemarks,
// overlays and containers as they come).
//
// Features are reference counted: they derive from vistara::Referent, are held through
// RefPtr<T>, and delete themselves when the last reference goes, so the destructor is protected
// and a feature is never a stack object. A feature is used by one thread at a time.
#ifndef VISTARA_PLATFORM_ATLASDOC_ABSTRACT_FEATURE_H_
#define VISTARA_PLATFORM_ATLASDOC_ABSTRACT_FEATURE_H_

#include <QString>

#include "platform/atlasdoc/kml_id.h"
#include "platform/referent.h"

namespace vistara::atlasdoc {

class AbstractFeature : public Referent {
 public:
  AbstractFeature(const AbstractFeature&) = delete;
  AbstractFeature& operator=(const AbstractFeature&) = delete;

  const KmlId& kml_id() const { return kml_id_; }
  // The URL of the document the feature came from; null for features the library makes.
  const QString& source_url() const { return source_url_; }

  // The feature's <name>; null until set.
  const QString& name() const { return name_; }
  void SetName(const QString& name) { name_ = name; }

  // The KML element the feature is written as ("Placemark", "PhotoOverlay", ...).
  virtual const char* kml_tag() const = 0;

 protected:
  AbstractFeature(const KmlId& id, const QString& source_url) : kml_id_(id), source_url_(source_url) {}
  ~AbstractFeature() override = default;

 private:
  KmlId kml_id_;
  QString source_url_;
  QString name_;
};

}  // namespace vistara::atlasdoc

#endif  // VISTARA_PLATFORM_ATLASDOC_ABSTRACT_FEATURE_H_
