// KmlId: the identity of a KML object, its `id` attribute and its `targetId` attribute.
//
// An object made by the library rather than read from a file usually has an empty id; a
// `targetId` names the object that an update or an override applies to. Both are plain values.
#ifndef VISTARA_PLATFORM_ATLASDOC_KML_ID_H_
#define VISTARA_PLATFORM_ATLASDOC_KML_ID_H_

#include <QString>

namespace vistara::atlasdoc {

class KmlId {
 public:
  KmlId() = default;
  explicit KmlId(const QString& id, const QString& target_id = QString()) : id_(id), target_id_(target_id) {}

  const QString& id() const { return id_; }
  const QString& target_id() const { return target_id_; }
  // True when neither attribute is set; such an object is written without them.
  bool empty() const { return id_.isEmpty() && target_id_.isEmpty(); }

  bool operator==(const KmlId& o) const { return id_ == o.id_ && target_id_ == o.target_id_; }

 private:
  QString id_;
  QString target_id_;
};

}  // namespace vistara::atlasdoc

#endif  // VISTARA_PLATFORM_ATLASDOC_KML_ID_H_
