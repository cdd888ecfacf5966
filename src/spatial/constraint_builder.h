// ConstraintBuilder: the viewer's place relative to one link of the graph.
//
// Given the viewer's ground position (`view`), it finds the nearest point of the link's segment, the
// distance to it, the corridor half-width at that spot (interpolated between the two panoramas'
// `corridor_width`) and from those the collision depth: positive inside the corridor. The
// MultiConstraintBuilder (multi_constraint_builder.h) keeps one per nearby link.
//
// Units: positions are the x and y of PanoramaData::position (longitude and latitude divided by 180
// degrees) and widths are the records' corridor_width (planet radii). Both enter the same formulas
// as they stand, with no conversion between the two; the owner's scale and offset are in the units
// of the widths.
//
// Ownership: the builder points at the graph and, once its geometry is worked out, at the link's two
// records; it owns neither. The records live while the graph holds them.
//
// Threads: no lock of its own. Its look-ups lock the graph each by itself; everything else reads the
// two records, so the owner holds the graph's lock (PanoGraph::lock()) around SetLink and OnUpdate
// while another thread may write the graph. MultiConstraintBuilder does.
//
// Failure: nothing is reported. Until both records exist the geometry is invalid, the outputs keep
// their last values and GetCollisionDepth gives the largest finite double; each update tries again,
// so a link to a panorama that has not arrived yet comes to life by itself. A link of length 0 has
// a fraction and a width that are not numbers, so its depth is no number and never wins a
// comparison.
#ifndef VISTARA_SPATIAL_CONSTRAINT_BUILDER_H_
#define VISTARA_SPATIAL_CONSTRAINT_BUILDER_H_

#include "platform/vec.h"
#include "spatial/pano_graph.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {

class ConstraintBuilder {
 public:
  // Empty: no link, all numbers 0.
  explicit ConstraintBuilder(const PanoGraph* graph) : graph_(graph) {}
  // Copies are member-wise, the record pointers as they are; a copy then has its own life.
  ConstraintBuilder(const ConstraintBuilder&) = default;
  ConstraintBuilder& operator=(const ConstraintBuilder&) = default;
  virtual ~ConstraintBuilder() = default;

  // Takes `link` and updates from the present view. A link with the EdgeData pointer already held
  // (the same link, in either direction) changes nothing.
  void SetLink(const PanoGraph::link& link);
  // Recomputes everything from view(); the owner calls set_view first. Nothing happens without a
  // link or while a record is missing.
  void OnUpdate();
  // Looks the two records up and works out start, end, direction and length, once; retried on each
  // call until both records exist.
  void EnsureLinkGeometryCalculated();
  // Makes `point` the closest point: normal is the unit vector from view towards it (0, 0 when the
  // viewer is on it), distance its length.
  void UpdateFromPoint(const Vec2<double>& point);

  // width - distance; the largest finite double while the geometry is invalid.
  double GetCollisionDepth() const;
  // offset + scale * width - distance: the depth in the corridor stretched by `scale` and widened
  // by `offset`; the largest finite double while the geometry is invalid.
  double GetCollisionDepth(double scale, double offset) const;
  // closest_point - normal * width: the corridor's edge on the viewer's side. Not tested against
  // geometry_valid.
  Vec2<double> GetCollisionPoint() const;
  // closest_point - normal * (scale * width + offset), consistent with the depth of the same pair:
  // view == point + normal * depth, wherever the viewer is not on the link itself.
  Vec2<double> GetCollisionPoint(double scale, double offset) const;

  const PanoGraph* graph() const { return graph_; }
  const PanoGraph::link& link() const { return link_; }
  bool has_link() const { return has_link_; }
  bool geometry_valid() const { return geometry_valid_; }
  const Vec2<double>& view() const { return view_; }
  void set_view(const Vec2<double>& view) { view_ = view; }
  const Vec2<double>& start() const { return start_; }  // source panorama's x, y
  const Vec2<double>& end() const { return end_; }      // target panorama's x, y
  const Vec2<double>& direction() const { return direction_; }  // unit, start to end; 0 if length 0
  double length() const { return length_; }
  const Vec2<double>& closest_point() const { return closest_point_; }
  const Vec2<double>& normal() const { return normal_; }  // unit, from view towards closest_point
  // Where the viewer's projection falls along the link: 0 at start, 1 at end, unclamped (negative
  // before start, above 1 beyond end).
  double fraction() const { return fraction_; }
  double width() const { return width_; }  // corridor half-width at the fraction clamped to [0, 1]
  double distance() const { return distance_; }  // from view to closest_point
  const PanoramaData* start_data() const { return start_data_; }
  const PanoramaData* end_data() const { return end_data_; }

 private:
  const PanoGraph* graph_;
  PanoGraph::link link_{};
  bool has_link_ = false;
  bool geometry_valid_ = false;
  Vec2<double> view_;
  Vec2<double> start_;
  Vec2<double> end_;
  Vec2<double> direction_;
  double length_ = 0;
  Vec2<double> closest_point_;
  Vec2<double> normal_;
  double fraction_ = 0;
  double width_ = 0;
  double distance_ = 0;
  const PanoramaData* start_data_ = nullptr;
  const PanoramaData* end_data_ = nullptr;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_CONSTRAINT_BUILDER_H_
