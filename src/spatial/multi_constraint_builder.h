// MultiConstraintBuilder: holds a street-level viewer to the links around the panorama it stands at.
//
// The host activates a panorama when the viewer arrives at it (SetActivePano) and reports the
// viewer's ground position and heading on every change of the view (SetView). The builder keeps one
// ConstraintBuilder per link within two links of the active panorama and finds the corridor the
// viewer is deepest in; at corners of the road net it rounds the inside of the corner with a fillet
// (a disc that stays forbidden), so that the allowed area has no sharp inner corner. The host then
// reads:
// - GetCollisionDepth: positive inside the allowed area, negative outside it; the largest finite
//   double when no link applies (no active panorama with links, or none whose records arrived);
// - GetCollisionNormal and GetCollisionPoint: the direction in which the depth grows, and the
//   nearest point of the area's boundary, with view == point + normal * depth;
// - CalculateHeadingRestoreDelta: the turn towards the active link's direction (radians per second);
// - GetBestPano: the end of the active link nearer the viewer, the panorama to step to.
// How the host moves its camera with these is its own affair.
//
// Units: positions are the x and y of PanoramaData::position (longitude and latitude divided by 180
// degrees); corridor widths, width_scale's product and width_offset are planet radii, mixed with the
// positions as they stand (no conversion). Headings are radians in the compass sense (0 along +y,
// growing clockwise). The tuning comes from WayfareSpatialOptions::s_settings_: "fillet width mult"
// and the four angular-correction settings, read on every call.
//
// Ownership: the graph is the caller's and must outlive the builder. The builder owns its
// ConstraintBuilders and deletes them on a change of panorama and in its destructor. It keeps plain
// pointers to records (the active one, and the two ends of each link); they stay valid while the
// graph holds those records. After ClearPanoData or Clear of a panorama in use, activate another
// panorama (an unknown id will do) before calling SetView again.
//
// Threads: the builder belongs to one thread, the host's object-model thread. Each call that reads
// records holds the graph's lock (PanoGraph::lock(), recursive) for its whole length, so the fetch
// worker can add panoramas meanwhile.
//
// Failure: nothing is reported. Links whose far record has not arrived take no part until it does;
// a panorama activated without a record (which a host should not do) leaves the builder idle.
#ifndef VISTARA_SPATIAL_MULTI_CONSTRAINT_BUILDER_H_
#define VISTARA_SPATIAL_MULTI_CONSTRAINT_BUILDER_H_

#include <QString>

#include "platform/inlined_vector.h"
#include "platform/memory.h"
#include "platform/vec.h"
#include "spatial/constraint_builder.h"
#include "spatial/pano_graph.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {

class MultiConstraintBuilder {
 public:
  explicit MultiConstraintBuilder(const PanoGraph& graph);
  // Deletes the ConstraintBuilders it still holds.
  virtual ~MultiConstraintBuilder();
  MultiConstraintBuilder(const MultiConstraintBuilder&) = delete;
  MultiConstraintBuilder& operator=(const MultiConstraintBuilder&) = delete;

  // Moves to the panorama `id`: builds one constraint per link within two links of it and evaluates
  // the last view. The same id again returns at once, keeping the old scale and offset.
  // `width_scale` multiplies every corridor half-width and `width_offset` (planet radii) is added.
  void SetActivePano(const QString& id, double width_scale, double width_offset);
  // Stores the viewer's position (x, y of a panorama position) and heading (radians), then, if a
  // panorama is active, evaluates the constraints and the fillets of the active panorama and its
  // direct neighbours. Without an active panorama the collision fields keep their values.
  void SetView(const Vec2<double>& position, double heading);

  // The signed depth of the last evaluation; the largest finite double if no link applied.
  double GetCollisionDepth() const { return collision_depth_; }
  const Vec2<double>& GetCollisionNormal() const { return collision_normal_; }
  Vec2<double> GetCollisionPoint() const { return collision_point_; }

  // The next three follow the winning link of the last evaluation, which a fillet never changes.
  // They are meant for when GetCollisionDepth is not the largest finite double; otherwise they give
  // (0, 0), 0 and the null string.
  //
  // The nearest point of the winning link to the viewer.
  Vec2<double> CalculateClosestPositionOnLink() const;
  // The heading correction, radians per second, signed as heading changes: the difference to the
  // nearer of the link's two directions, clamped to a limit that runs smoothly from
  // "maxAngularCorrectionPerSec" (looking within "angleOfMaxCorrection" of the road) down to
  // "minAngularCorrectionPerSec" (beyond "angleOfMinCorrection").
  double CalculateHeadingRestoreDelta() const;
  // The id of the winning link's end nearer the viewer; on a tie the link's target. The reference
  // lives in the record: don't keep it across a change of the graph.
  const QString& GetBestPano() const;

  // The ids of the two neighbours of `pano` either side of the viewer's bearing from it: `first`
  // before it clockwise, `second` at or after it (the same id if there is one neighbour); both the
  // null string if the record's heading map is empty. Rebuilds that map when it is out of date.
  void GetNearestAngleLinks(const PanoramaData* pano, QString* first, QString* second) const;
  // Lets the fillet in the sector of `pano` where the viewer stands improve the collision fields.
  void AddCollisionFillet(const PanoramaData* pano);
  // Appends a ConstraintBuilder for `link`.
  void CreateConstraint(const PanoGraph::link& link);
  // Deletes every ConstraintBuilder and frees the list's heap storage; no link is active then.
  void DeleteConstraintBuilders();

  const PanoGraph* graph() const { return graph_; }
  const Vec2<double>& position() const { return position_; }
  double heading() const { return heading_; }
  const QString& active_pano_id() const { return active_pano_id_; }
  const PanoramaData* active_pano() const { return active_pano_; }
  const Vec2<double>& active_pano_position() const { return active_pano_position_; }
  const InlinedVector<ConstraintBuilder*, 10>& constraints() const { return constraints_; }
  // The winning builder of the last evaluation; null if none won or after DeleteConstraintBuilders.
  const ConstraintBuilder* active_constraint() const { return active_constraint_; }
  double width_scale() const { return width_scale_; }
  double width_offset() const { return width_offset_; }
  bool fillets_enabled() const { return fillets_enabled_; }
  void set_fillets_enabled(bool enabled) { fillets_enabled_ = enabled; }

 private:
  const PanoGraph* graph_;
  Vec2<double> position_;
  double heading_ = 0;
  QString active_pano_id_;
  const PanoramaData* active_pano_ = nullptr;
  Vec2<double> active_pano_position_;
  InlinedVector<ConstraintBuilder*, 10> constraints_;  // owned
  // The winning element of constraints_, held as the builder itself: the builders stay put when
  // the list grows, so this can't dangle until they are deleted (which resets it).
  ConstraintBuilder* active_constraint_ = nullptr;
  double width_scale_ = 1.0;
  double width_offset_ = 1.0;
  bool fillets_enabled_ = true;
  Vec2<double> collision_normal_;
  double collision_depth_ = 0;
  Vec2<double> collision_point_;
  // The active panorama's links, refilled by each SetView; kept to reuse its storage.
  mmvector<PanoGraph::link> active_links_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_MULTI_CONSTRAINT_BUILDER_H_
