#include "spatial/multi_constraint_builder.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "platform/fast_math.h"
#include "platform/geo.h"
#include "platform/spin_lock.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::spatial {
namespace {

using Lock = SpinLock::ScopedLock;

constexpr double kPi = std::numbers::pi;
constexpr double kTwoPi = 2 * std::numbers::pi;
// The widest sector that takes a fillet: 170 degrees.
constexpr double kMaxFilletSector = 2.9670597283903604;

const QString& NullString() {
  static const QString kNull;
  return kNull;
}

// Brings `a` into [lo, hi] (hi = lo + 2 pi) by whole turns, ceil of the excess in turns, the count
// cut to 32 bits. Angles inside are untouched, so both bounds can come out; NaN stays NaN. An
// angle so far out that its count of turns leaves the 32-bit range comes back as it is, since the
// cut would be undefined there.
double Wrap(double a, double lo, double hi) {
  constexpr double kMaxTurns = std::numeric_limits<int32_t>::max();
  if (a < lo) {
    const double turns = std::ceil((lo - a) / kTwoPi);
    if (turns <= kMaxTurns) a += static_cast<int32_t>(turns) * kTwoPi;
  } else if (a > hi) {
    const double turns = std::ceil((a - hi) / kTwoPi);
    if (turns <= kMaxTurns) a += -static_cast<int32_t>(turns) * kTwoPi;
  }
  return a;
}

// The angle of `v` counter-clockwise from +x in [0, 2 pi); 0 for a vector of (almost) no length.
double AngleOf(const Vec2<double>& v) {
  if (v.LengthSquared() < 1e-18) return 0;
  double a = std::atan2(v.y, v.x);
  if (a < 0) a += kTwoPi;
  return a;
}

double DegreesToRadians(double degrees) { return degrees * kPi / 180; }

Vec2<double> Ground(const Vec3<double>& p) { return Vec2<double>(p.x, p.y); }

}  // namespace

MultiConstraintBuilder::MultiConstraintBuilder(const PanoGraph& graph) : graph_(&graph) {}

MultiConstraintBuilder::~MultiConstraintBuilder() {
  // The builders are ours: deleted here so that an owner who forgets DeleteConstraintBuilders
  // leaks nothing. No result of the builder can be read after this anyway.
  DeleteConstraintBuilders();
}

void MultiConstraintBuilder::SetActivePano(const QString& id, double width_scale, double width_offset) {
  if (id == active_pano_id_) return;
  Lock lock(graph_->lock());
  DeleteConstraintBuilders();
  active_pano_id_ = id;
  active_pano_ = graph_->GetPanoramaData(id);
  // A host activates only panoramas whose record has arrived; without one there is no position to
  // take, and SetView stays idle until another panorama is activated.
  active_pano_position_ = active_pano_ ? Ground(active_pano_->position) : Vec2<double>();
  width_scale_ = width_scale;
  width_offset_ = width_offset;
  mmvector<PanoGraph::link> links(HeapManager::GetTransientHeap());
  graph_->GetLinks(id, 2, &links);
  for (const PanoGraph::link& link : links) CreateConstraint(link);
  SetView(position_, heading_);
}

void MultiConstraintBuilder::SetView(const Vec2<double>& position, double heading) {
  position_ = position;
  heading_ = heading;
  if (!active_pano_) return;
  Lock lock(graph_->lock());
  for (ConstraintBuilder* c : constraints_) {
    c->set_view(position_);
    c->OnUpdate();
  }
  active_constraint_ = nullptr;
  if (constraints_.empty()) {
    collision_depth_ = std::numeric_limits<double>::max();
    return;
  }
  // Strictly above: the first of equal depths stays, and a depth that is no number never wins.
  double best = std::numeric_limits<double>::lowest();
  for (ConstraintBuilder* c : constraints_) {
    if (!c->geometry_valid()) continue;
    const double depth = c->GetCollisionDepth(width_scale_, width_offset_);
    if (depth > best) {
      best = depth;
      active_constraint_ = c;
    }
  }
  if (!active_constraint_) {
    collision_depth_ = std::numeric_limits<double>::max();
    return;
  }
  collision_depth_ = best;
  collision_normal_ = active_constraint_->normal();
  collision_point_ = active_constraint_->GetCollisionPoint(width_scale_, width_offset_);

  AddCollisionFillet(active_pano_);
  graph_->GetLinks(active_pano_id_, &active_links_);
  for (const PanoGraph::link& link : active_links_) {
    const PanoramaData* far = graph_->GetPanoramaData(graph_->IdOf(link.m_target));
    if (far) AddCollisionFillet(far);
  }
}

Vec2<double> MultiConstraintBuilder::CalculateClosestPositionOnLink() const {
  return active_constraint_ ? active_constraint_->closest_point() : Vec2<double>();
}

double MultiConstraintBuilder::CalculateHeadingRestoreDelta() const {
  if (!active_constraint_) return 0;
  const WayfareSpatialOptions& options = WayfareSpatialOptions::s_settings_;
  const double link_heading =
      DegreesToRadians(ComputeFlatMapCompassHeading(active_constraint_->start(), active_constraint_->end()));
  double delta = Wrap(link_heading - heading_, -kPi, kPi);
  // Either direction of the link will do: beyond a right angle the other one is nearer.
  if (std::fabs(delta) > 1.5707963267948966) delta = Wrap(link_heading + kPi - heading_, -kPi, kPi);
  const double angle_min = DegreesToRadians(options.angleOfMinCorrection);
  const double angle_max = DegreesToRadians(options.angleOfMaxCorrection);
  // Comparisons rather than std::clamp: with equal angles f may be no number, and then the limit is
  // none either and delta comes back unclamped.
  double f = (std::fabs(delta) - angle_min) / (angle_max - angle_min);
  if (f < 0) f = 0;
  if (f > 1) f = 1;
  const double s = 3 * f * f - 2 * f * f * f;
  const double min_rate = DegreesToRadians(options.minAngularCorrectionPerSec);
  const double max_rate = DegreesToRadians(options.maxAngularCorrectionPerSec);
  const double limit = min_rate * (1 - s) + max_rate * s;
  if (delta < -limit) delta = -limit;
  if (delta > limit) delta = limit;
  return delta;
}

const QString& MultiConstraintBuilder::GetBestPano() const {
  if (!active_constraint_) return NullString();
  Lock lock(graph_->lock());
  const PanoGraph::link& link = active_constraint_->link();
  const PanoramaData* source = graph_->GetPanoramaData(graph_->IdOf(link.m_source));
  const PanoramaData* target = graph_->GetPanoramaData(graph_->IdOf(link.m_target));
  // Both were there when the link won; only a host that cleared them since finds them missing.
  if (!source || !target) return NullString();
  const double to_source = (Ground(source->position) - position_).LengthSquared();
  const double to_target = (Ground(target->position) - position_).LengthSquared();
  return to_target > to_source ? source->id : target->id;
}

void MultiConstraintBuilder::GetNearestAngleLinks(const PanoramaData* pano, QString* first,
                                                  QString* second) const {
  Lock lock(graph_->lock());
  // The viewer's bearing from the panorama by the formula of the graph's heading map, so that a
  // viewer exactly in a neighbour's direction meets its key exactly.
  const Vec2<double> d = position_ - Ground(pano->position);
  double bearing = kPi / 2;
  if (d.LengthSquared() >= 1e-18) {
    double a = std::atan2(d.y, d.x);
    if (a < 0) a += kTwoPi;
    bearing = Wrap(kPi / 2 - a, -kPi, kPi);
  }
  graph_->UpdateConnectionLookupMap(pano->id);
  if (pano->connection_lookup.empty()) {
    *first = NullString();
    *second = NullString();
    return;
  }
  pano->connection_lookup.GetCircularNearest(bearing, first, second);
}

void MultiConstraintBuilder::AddCollisionFillet(const PanoramaData* pano) {
  Lock lock(graph_->lock());
  if (pano->connected_panos.size() < 2) return;
  if (!fillets_enabled_) return;
  // r: the corridor's half-width at the corner; t: how far from the corner the fillet meets a link.
  const double r = width_scale_ * pano->corridor_width + width_offset_;
  const double t = WayfareSpatialOptions::s_settings_.filletWidthMult * r;
  const Vec2<double> corner = Ground(pano->position);
  if ((position_ - corner).LengthSquared() > t * t) return;

  QString first, second;
  GetNearestAngleLinks(pano, &first, &second);
  if (first.isEmpty() || second.isEmpty() || first == second) return;
  const PanoramaData* first_data = graph_->GetPanoramaData(first);
  const PanoramaData* second_data = graph_->GetPanoramaData(second);
  // The heading map names only neighbours with records, but one may have been cleared since.
  if (!first_data || !second_data) return;
  const Vec2<double> u1 = (Ground(first_data->position) - corner).GetNormalized();
  const Vec2<double> u2 = (Ground(second_data->position) - corner).GetNormalized();
  // The opening of the sector the viewer stands in: counter-clockwise from `second` to `first`.
  const double sector = Wrap(AngleOf(u1) - AngleOf(u2), 0, kTwoPi);
  if (sector > kMaxFilletSector) return;
  // The circle tangent to both links at the distance t from the corner has the radius c; the
  // forbidden disc is smaller by the half-width, so that it touches the corridors' edges.
  const double c = std::tan(sector / 2) * t;
  const Vec2<double> p = Vec2<double>(u1.y, -u1.x).GetNormalized();  // into the sector
  const double rho = c - r;
  if (rho < 0) return;
  const Vec2<double> centre = corner + u1 * t + p * c;
  const double depth = FastMath::sqrt((centre - position_).LengthSquared()) - rho;
  if (depth > collision_depth_) {
    collision_depth_ = depth;
    collision_normal_ = (position_ - centre).GetNormalized();
    collision_point_ = centre + collision_normal_ * rho;
  }
}

void MultiConstraintBuilder::CreateConstraint(const PanoGraph::link& link) {
  Lock lock(graph_->lock());
  ConstraintBuilder* builder = new ConstraintBuilder(graph_);
  builder->SetLink(link);
  constraints_.push_back(builder);
}

void MultiConstraintBuilder::DeleteConstraintBuilders() {
  for (ConstraintBuilder* c : constraints_) delete c;
  constraints_.clear();
  active_constraint_ = nullptr;
}

}  // namespace vistara::spatial
